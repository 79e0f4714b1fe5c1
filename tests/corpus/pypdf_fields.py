#!/usr/bin/python3
"""Independent oracle for the field listing: prints one line per widget of every terminal field,
"<fully qualified name>\t<value>", reading the file with pypdf.

Usage: pypdf_fields.py file.pdf [password]
Exit status 3 when the file cannot be opened or decrypted; 4 when a name does not match pypdf's
own field table.
"""
import sys

from pypdf import PdfReader
from pypdf.generic import ByteStringObject, NameObject, TextStringObject


def obj(v):
    return v.get_object() if v is not None else None


def text(v):
    v = obj(v)
    if isinstance(v, NameObject):
        return str(v)[1:]
    if isinstance(v, (TextStringObject, ByteStringObject)):
        return str(v) if isinstance(v, TextStringObject) else v.decode("latin-1")
    return ""


def full_name(f):
    parts, seen = [], set()
    while f is not None and id(f) not in seen:
        seen.add(id(f))
        if "/T" in f:
            parts.append(text(f["/T"]))
        f = obj(f.get("/Parent"))
    return ".".join(reversed(parts))


def is_widget(d):
    return d is not None and d.get("/Subtype") == "/Widget"


def walk(node, out, depth, seen):
    node = obj(node)
    if node is None or depth > 1000 or id(node) in seen:
        return False
    seen.add(id(node))
    counted = False
    for k in obj(node.get("/Kids")) or []:
        counted = walk(k, out, depth + 1, seen) or counted
    if counted or "/T" not in node:
        return counted
    kids = obj(node.get("/Kids"))
    widgets = 0
    if kids is None:
        widgets = 1 if is_widget(node) else 0
    else:
        for k in kids:
            if not is_widget(obj(k)):
                break
            widgets += 1
    out.extend([(full_name(node), text(node.get("/V")))] * widgets)
    return True


def main():
    try:
        reader = PdfReader(sys.argv[1], strict=False)
        if reader.is_encrypted and not reader.decrypt(sys.argv[2] if len(sys.argv) > 2 else ""):
            return 3
        form = obj(reader.trailer["/Root"].get("/AcroForm"))
        fields = obj(form.get("/Fields")) if form is not None else None
        known = set((reader.get_fields() or {}).keys())
    except Exception as e:  # an unreadable file is a result too
        print("error: %s" % e, file=sys.stderr)
        return 3
    out = []
    for f in fields or []:
        walk(f, out, 0, set())
    for name, value in out:
        if name not in known:
            print("name not in pypdf's field table: %s" % name, file=sys.stderr)
            return 4
        sys.stdout.write("%s\t%s\n" % (name, value))
    return 0


if __name__ == "__main__":
    sys.exit(main())
