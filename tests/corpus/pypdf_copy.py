#!/usr/bin/python3
"""Independent oracle for a copied file: compares what pypdf reads from a template and from its
copy: the terminal fields with their values (as pypdf_fields.py lists them), the outline item
titles with their depth (an outline whose root counts no items is expected to be dropped),
and the names of the named destinations.

Usage: pypdf_copy.py template.pdf copy.pdf [password of the template]
Prints one line per kind that differs. Exit status 0 when both agree, 1 when they differ, 3 when
pypdf cannot read the template (nothing to compare against).
"""
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from pypdf import PdfReader  # noqa: E402
from pypdf_fields import obj, walk  # noqa: E402


def fields(reader):
    form = obj(reader.trailer["/Root"].get("/AcroForm"))
    out = []
    for f in (obj(form.get("/Fields")) if form is not None else None) or []:
        walk(f, out, 0, set())
    return ["%s\t%s" % pair for pair in out]


def outline(reader):
    out = []

    def visit(items, depth):
        for item in items:
            if isinstance(item, list):
                visit(item, depth + 1)
            else:
                out.append("%d %s" % (depth, item.title))

    visit(reader.outline, 0)
    return out


def has_items(reader):
    root = obj(reader.trailer["/Root"].get("/Outlines"))
    if root is None:
        return False
    count = obj(root.get("/Count"))
    return "/First" in root if count is None else int(count) != 0


def destinations(reader):
    # A destination is carried only when it leads to a page of the document; one that names some
    # other object (or nothing) is dropped on purpose.
    pages = {p.indirect_reference.idnum for p in reader.pages if p.indirect_reference}
    names = []
    for name, dest in reader.named_destinations.items():
        page = dest.get("/Page") if hasattr(dest, "get") else None
        ref = getattr(page, "indirect_reference", None) or page
        if getattr(ref, "idnum", None) in pages:
            names.append(name)
    return sorted(names)


def read(path, password, is_template):
    reader = PdfReader(path, strict=False)
    if reader.is_encrypted and not reader.decrypt(password):
        raise ValueError("password not accepted")
    # Deliberate: a template outline whose root counts no items is not carried over; a closed one
    # (negative /Count) is.
    carried = not is_template or has_items(reader)
    return {
        "fields": fields(reader),
        "outline": outline(reader) if carried else [],
        "destinations": destinations(reader),
    }


def first_difference(a, b):
    for i, (x, y) in enumerate(zip(a, b)):
        if x != y:
            return "item %d: template %r, copy %r" % (i, x, y)
    return "template has %d items, copy %d" % (len(a), len(b))


def main():
    try:
        template = read(sys.argv[1], sys.argv[3] if len(sys.argv) > 3 else "", True)
    except Exception as e:  # the oracle cannot judge this file
        print("template unreadable: %s" % e)
        return 3
    try:
        copy = read(sys.argv[2], "", False)
    except Exception as e:
        print("copy unreadable: %s" % e)
        return 1
    status = 0
    for kind in template:
        if template[kind] != copy[kind]:
            print("%s differ: %s" % (kind, first_difference(template[kind], copy[kind])))
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main())
