#!/usr/bin/env python3
"""Times filling every field of the bench forms from their control files against a plain rewrite.

Usage: bench/fill_forms.py [path/to/quillet] [runs]
For each form of ../shared/bench/ with a control file in ../shared/bench/values/, prints the best
wall time of `quillet form out @values.ctl` (and of the same with -flatten) and of `qpdf form out`
over the runs, the ratio of each to qpdf's (aim: at most 0.2), quillet's peak resident memory and
whether it stays within twice the input plus 8 MiB.
"""
import os
import shutil
import sys
import tempfile

from bench_files import aes_i485, arguments, shared
from copy_files import best, cell

binary, runs = arguments(10)


def main():
    if not os.path.exists(binary):
        sys.exit('no binary at %s (cmake --workflow --preset release)' % binary)
    qpdf = shutil.which('qpdf')
    bench = os.path.join(shared, 'bench')
    print('%-22s %9s | %9s %7s | %9s | %6s %s' % (
        'file', 'bytes', 'ms', 'MiB', 'qpdf ms', 'ratio', 'memory'))
    with tempfile.TemporaryDirectory() as tmp:
        out = os.path.join(tmp, 'out.pdf')
        for name in sorted(os.listdir(os.path.join(bench, 'values'))):
            form = os.path.join(bench, name[:-4] + '.pdf')
            if not name.endswith('.ctl') or not os.path.exists(form):
                continue
            values = '@' + os.path.join(bench, 'values', name)
            theirs = best([qpdf, form, out], out) if qpdf else None
            for label, extra in (('', []), (' -flatten', ['-flatten'])):
                ours = best([binary] + extra + [form, out, values], out)
                ratio = '%6.2f' % (ours[0] / theirs[0]) if ours and theirs else '     -'
                budget = (2 * os.path.getsize(form) + 8 * (1 << 20)) / (1 << 20)
                memory = ('ok' if ours[1] <= budget else 'OVER') if ours else '-'
                print('%-22s %9d | %9s %7s | %9s | %s %s' % (
                    os.path.basename(form) + label, os.path.getsize(form),
                    cell(ours and ours[0], '%.2f'), cell(ours and ours[1], '%.1f'),
                    cell(theirs and theirs[0], '%.2f'), ratio, memory))
        encrypted_fill(bench, out, tmp)


def encrypted_fill(bench, out, tmp):
    """Filling the AES-128 I-485 against the plain one in this run (aim: at most 1.3)."""
    pair = aes_i485(tmp)
    values = os.path.join(bench, 'values', 'i485.ctl')
    if pair is None or not os.path.exists(values):
        return
    plain, locked = (best([binary, path, out, '@' + values], out) for path in pair)
    ratio = '%.2f' % (locked[0] / plain[0]) if plain and locked else '-'
    print('AES-128 i485 fill: %s ms against %s ms plain, ratio %s (aim: at most 1.3)' % (
        cell(locked and locked[0], '%.2f'), cell(plain and plain[0], '%.2f'), ratio))

if __name__ == '__main__':
    main()
