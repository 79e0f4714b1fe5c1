#!/usr/bin/python3
"""Independent check of `quillet --json`: runs the tool on a file and compares every field it
reports with what pypdf reads from the same file.

Usage: pypdf_json.py quillet file.pdf [password]
Prints one line per difference; exit status 1 when there is any, 3 when pypdf cannot read the file.
"""
import json
import subprocess
import sys

from pypdf import PdfReader

sys.path.insert(0, __file__.rsplit('/', 1)[0])
from pypdf_fields import full_name, is_widget, obj, text  # noqa: E402


def walk(node, out, depth, seen):
    node = obj(node)
    if node is None or depth > 1000 or id(node) in seen:
        return False
    seen.add(id(node))
    kids = obj(node.get('/Kids'))
    counted = False
    for k in kids or []:
        counted = walk(k, out, depth + 1, seen) or counted
    if counted or '/T' not in node:
        return counted
    widgets = [node] if kids is None and is_widget(node) else []
    for k in kids or []:
        if not is_widget(obj(k)):
            break
        widgets.append(obj(k))
    out.append((node, widgets))
    return True


def terminals(reader):
    form = obj(reader.trailer['/Root'].get('/AcroForm'))
    out = []
    for f in (obj(form.get('/Fields')) if form is not None else None) or []:
        walk(f, out, 0, set())
    return out


def inherited(f, key):
    seen = set()
    while f is not None and id(f) not in seen:
        seen.add(id(f))
        if key in f:
            return obj(f[key])
        f = obj(f.get('/Parent'))
    return None


def kind(f):
    ft, ff = inherited(f, '/FT'), int(inherited(f, '/Ff') or 0)
    if ft == '/Btn':
        return 'button' if ff & (1 << 16) else 'radio' if ff & (1 << 15) else 'checkbox'
    if ft == '/Ch':
        return 'combo' if ff & (1 << 17) else 'list'
    return 'signature' if ft == '/Sig' else 'text'


def expected(f, widgets):
    v = inherited(f, '/V')
    value = [text(e) for e in v] if isinstance(v, list) else text(v) if isinstance(v, str) else None
    maxlen = inherited(f, '/MaxLen')
    e = {'name': full_name(f), 'kind': kind(f), 'value': value,
         'alternate_name': text(f.get('/TU')), 'ff': int(inherited(f, '/Ff') or 0),
         'max_length': int(maxlen) if isinstance(maxlen, int) else None,
         'pages+rects': len(widgets)}
    if e['kind'] in ('checkbox', 'radio'):
        states = []
        for w in widgets:
            for which in ('/N', '/D'):
                n = obj((obj(w.get('/AP')) or {}).get(which))
                for k in (n.keys() if hasattr(n, 'keys') else []):
                    if k != '/Off' and k[1:] not in states:
                        states.append(k[1:])
        e['on_states'] = states
    if e['kind'] in ('combo', 'list'):
        opts = []
        for o in obj(inherited(f, '/Opt')) or []:
            o = obj(o)
            pair = [text(o[0]), text(o[1])] if isinstance(o, list) else [text(o), text(o)]
            opts.append({'export': pair[0], 'text': pair[1]})
        e['options'] = opts
    return e


def main():
    tool, path = sys.argv[1], sys.argv[2]
    password = sys.argv[3] if len(sys.argv) > 3 else ''
    try:
        reader = PdfReader(path)
        if reader.is_encrypted:
            reader.decrypt(password)
        fields = [(f, ws) for f, ws in terminals(reader) if ws]
    except Exception as exc:  # the oracle cannot read the file: nothing to compare
        print('pypdf: %s' % exc)
        sys.exit(3)
    args = [tool, '--json'] + (['-pw', password] if password else []) + [path]
    ours = json.loads(subprocess.run(args, capture_output=True, check=True).stdout)
    bad = 0
    if len(ours) != len(fields):
        print('%d fields, pypdf finds %d' % (len(ours), len(fields)))
        sys.exit(1)
    for got, (f, widgets) in zip(ours, fields):
        want = expected(f, widgets)
        got = dict(got, **{'pages+rects': len(got['widgets'])})
        for key, value in want.items():
            if got.get(key) != value:
                print('%s: %s is %r, pypdf reads %r' % (want['name'], key, got.get(key), value))
                bad += 1
    sys.exit(1 if bad else 0)


if __name__ == '__main__':
    main()
