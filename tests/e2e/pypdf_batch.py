#!/usr/bin/python3
"""Reads back the outputs of a batch with pypdf and compares their fields with the CSV records.

Usage: pypdf_batch.py records.csv outdir column
Every record whose output outdir/<column value>.pdf exists is checked; prints the number checked.
Exit status 1 on the first field whose value differs from its cell (empty cells are not checked).
"""
import csv
import os
import sys

from pypdf import PdfReader


def main():
    records, outdir, column = sys.argv[1:4]
    checked = 0
    with open(records, newline='') as f:
        for row in csv.DictReader(f):
            path = os.path.join(outdir, row[column] + '.pdf')
            if not os.path.exists(path):
                continue
            fields = PdfReader(path).get_fields()
            for name, cell in row.items():
                if name == column or cell == '':
                    continue
                value = fields[name].get('/V')
                if str(value).lstrip('/') != cell:
                    print('%s: %s is %r, not %r' % (path, name, value, cell))
                    return 1
            checked += 1
    print(checked)
    return 0


if __name__ == '__main__':
    sys.exit(main())
