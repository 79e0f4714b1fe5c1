#!/usr/bin/python3
"""Independent oracle for filling: with "values", prints a control file that gives every text
field of the form a value of its own; with "check", reads the filled file and prints one line per
text field whose /V is not its value, or whose value pdftotext does not find on the pages.

Usage: pypdf_fill.py values form.pdf [password] > values.ctl
       pypdf_fill.py check filled.pdf values.ctl
Comb fields, fields on turned pages or in turned appearances, and fields that are hidden, or have no widget of some size on a page, are given
values but not looked for in the text, since the text of a comb is spread over its cells.
"""
import subprocess
import sys

from pypdf import PdfReader


def inherited(f, key):
    seen = 0
    while f is not None and seen < 100:
        if key in f:
            return f[key]
        f = f.get('/Parent')
        f = f.get_object() if f is not None else None
        seen += 1
    return None


def text_fields(reader):
    fields = reader.get_fields() or {}
    return {name: f for name, f in fields.items()
            if f.get('/FT') == '/Tx' and '/Kids' not in f.indirect_reference.get_object()
            or f.get('/FT') == '/Tx' and all('/T' not in k.get_object()
                                             for k in f.indirect_reference.get_object().get('/Kids', []))}


def shown_widgets(reader):
    """Names of the text fields with a visible widget of some size on a page."""
    names = set()
    for page in reader.pages:
        if int(page.get('/Rotate', 0)) % 360:
            continue  # pdftotext does not put turned text back together
        annots = page.get('/Annots')
        for a in (annots.get_object() if annots is not None else []):
            a = a.get_object()
            if a.get('/Subtype') != '/Widget' or int(a.get('/F', 0)) & (2 | 32):
                continue
            normal = a.get('/AP', {}).get('/N')
            normal = normal.get_object() if normal is not None else {}
            if '/Matrix' in normal and [float(x) for x in normal['/Matrix']] != [1, 0, 0, 1, 0, 0]:
                continue
            r = [float(x) for x in a.get('/Rect', [0, 0, 0, 0])]
            if abs(r[2] - r[0]) < 30 or abs(r[3] - r[1]) < 8:
                continue
            f, parts = a, []
            while f is not None:
                if '/T' in f:
                    parts.append(str(f['/T']))
                f = f.get('/Parent')
                f = f.get_object() if f is not None else None
            comb = int(inherited(a, '/Ff') or 0) & (1 << 24)
            if not comb:
                names.add('.'.join(reversed(parts)))
    return names


def main():
    mode, path = sys.argv[1], sys.argv[2]
    if mode == 'values':
        reader = PdfReader(path, password=(sys.argv[3] if len(sys.argv) > 3 else '') or None)
        for i, name in enumerate(sorted(text_fields(reader))):
            if '\n' not in name and '=' not in name:
                print('%s=Q%dZ' % (name, i))
        return
    reader = PdfReader(path)
    want = dict(line.rstrip('\n').split('=', 1) for line in open(sys.argv[3], encoding='utf-8'))
    fields = reader.get_fields() or {}
    text = subprocess.run(['pdftotext', path, '-'], capture_output=True, text=True).stdout
    shown = shown_widgets(reader)
    for name, value in want.items():
        got = fields.get(name, {}).get('/V')
        if got != value:
            print('%s: /V is %r, not %r' % (name, got, value))
        elif name in shown and value not in text:
            print('%s: %r is not in the text of the pages' % (name, value))


main()
