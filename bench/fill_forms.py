#!/usr/bin/env python3
"""Times filling every field of the bench forms from their control files against a plain rewrite.

Usage: bench/fill_forms.py [path/to/quillet] [runs]
For each form of ../shared/bench/ with a control file in ../shared/bench/values/, prints the best
wall time of `quillet form out @values.ctl` (and of the same with -flatten) and of `qpdf form out`
over the runs, the ratio of each to qpdf's (aim: at most 0.2), quillet's peak resident memory and
whether it stays within twice the input plus 8 MiB. Then the 1040 once more with every text field
in Cyrillic and once with every text field in Chinese (a few dozen characters in all): time against
the Latin fill of the same run (aim: at most 1.5 times) and against qpdf (aim: at most 0.3), the
growth of the output over the Latin one (aim: under 40 KB for Cyrillic, 150 KB for Chinese) and the
peak memory.
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

CYRILLIC = ['Иванова', 'Ольга', 'Петрович', 'Жуковский', 'Щербакова', 'Юрьевна']
CHINESE = '王李张刘陈杨黄赵吴周徐孙马朱胡郭何高林罗郑梁谢宋唐许韩冯邓曹彭曾萧田董袁潘于蒋蔡余杜叶'


def scripted(control, path, values):
    """The control file with every text field (the checkboxes stay) given a value of values."""
    with open(control, encoding='utf-8') as src, open(path, 'w', encoding='utf-8') as dst:
        for i, line in enumerate(src):
            name, _, value = line.rstrip('\n').partition('=')
            if name.split('.')[-1].startswith('f'):
                value = values(i)
            dst.write('%s=%s\n' % (name, value))


def scripts():
    form = os.path.join(shared, 'bench', 'f1040.pdf')
    control = os.path.join(shared, 'bench', 'values', 'f1040.ctl')
    if not os.path.exists(form) or not os.path.exists(control):
        return
    qpdf = shutil.which('qpdf')
    print()
    print('%-22s | %9s %7s %9s | %6s %6s | %s' % (
        'f1040 text fields', 'ms', 'MiB', 'KB', 'xLatin', 'xqpdf', 'growth KB'))
    with tempfile.TemporaryDirectory() as tmp:
        out = os.path.join(tmp, 'out.pdf')
        theirs = best([qpdf, form, out], out) if qpdf else None
        runs = [('Latin', lambda i: None),
                ('Cyrillic', lambda i: CYRILLIC[i % len(CYRILLIC)]),
                ('Chinese', lambda i: CHINESE[(2 * i) % len(CHINESE)] + CHINESE[(2 * i + 1) % len(CHINESE)])]
        latin = None
        for label, values in runs:
            ctl = control
            if label != 'Latin':
                ctl = os.path.join(tmp, label + '.ctl')
                scripted(control, ctl, values)
            ours = best([binary, form, out, '@' + ctl], out)
            if ours is None:
                print('%-22s | failed' % label)
                continue
            latin = latin or ours
            print('%-22s | %9.2f %7.1f %9.1f | %6.2f %6s | %9.1f' % (
                label, ours[0], ours[1], ours[2] / 1024, ours[0] / latin[0],
                '%.2f' % (ours[0] / theirs[0]) if theirs else '-', (ours[2] - latin[2]) / 1024))


if __name__ == '__main__':
    main()
    scripts()
