#!/usr/bin/env python3
"""Times a batch of fills of the 1040 against the same fills as single runs of the tool.

Usage: bench/batch_fill.py [path/to/quillet] [records]
Makes a CSV of `records` (default 1000) records from ../shared/bench/values/f1040.ctl (each record
changes one text field, so no two outputs are alike), then times
`quillet --batch records.csv f1040.pdf out/{#}.pdf` against `records` runs of
`quillet f1040.pdf out/N.pdf @values` one after another. Prints both wall times, their ratio
(aim: at most 0.5), the same for processor time (steadier on a busy machine) and the batch's peak resident memory for the records and for ten times as many
(flat memory: the two peaks stay close).
"""
import csv
import resource
import os
import subprocess
import sys
import tempfile
import time

from bench_files import arguments, shared
from copy_files import peak_kib

binary, records = arguments(1000)


def cpu():
    """Processor time (user + system) of the children that ended so far, in seconds."""
    r = resource.getrusage(resource.RUSAGE_CHILDREN)
    return r.ru_utime + r.ru_stime


def values():
    pairs = []
    for line in open(os.path.join(shared, 'bench', 'values', 'f1040.ctl'), encoding='utf-8'):
        line = line.rstrip('\n')
        if line and not line.startswith('#'):
            name, _, value = line.partition('=')
            pairs.append((name, value))
    return pairs


def write_records(path, pairs, count):
    with open(path, 'w', newline='', encoding='utf-8') as f:
        out = csv.writer(f)
        out.writerow([n for n, _ in pairs])
        for i in range(1, count + 1):
            out.writerow([v if k else '%s %d' % (v, i) for k, (_, v) in enumerate(pairs)])


def main():
    form = os.path.join(shared, 'bench', 'f1040.pdf')
    pairs = values()
    with tempfile.TemporaryDirectory() as tmp:
        table = os.path.join(tmp, 'records.csv')
        write_records(table, pairs, records)
        os.mkdir(os.path.join(tmp, 'batch'))
        pattern = os.path.join(tmp, 'batch', '{#}.pdf')
        start, cpu0 = time.perf_counter(), cpu()
        status = subprocess.run([binary, '--batch', table, form, pattern]).returncode
        batch, batch_cpu = time.perf_counter() - start, cpu() - cpu0
        written = len(os.listdir(os.path.join(tmp, 'batch')))

        os.mkdir(os.path.join(tmp, 'single'))
        rows = list(csv.reader(open(table, newline='', encoding='utf-8')))[1:]
        for i, row in enumerate(rows, 1):
            with open(os.path.join(tmp, 'single', '%d.ctl' % i), 'w', encoding='utf-8') as f:
                f.writelines('%s=%s\n' % (n, v) for (n, _), v in zip(pairs, row))
        start, cpu0 = time.perf_counter(), cpu()
        for i in range(1, len(rows) + 1):
            ctl = os.path.join(tmp, 'single', '%d.ctl' % i)
            subprocess.run([binary, form, os.path.join(tmp, 'single', '%d.pdf' % i), '@' + ctl],
                           stderr=subprocess.DEVNULL)
        single, single_cpu = time.perf_counter() - start, cpu() - cpu0

        peaks = []
        for count in (records, 10 * records):
            write_records(table, pairs, count)
            peaks.append(peak_kib([binary, '--batch', table, form, pattern]) / 1024.0)
    print('records %d, batch exit %d, %d written' % (records, status, written))
    print('wall: batch %.2f s, single runs %.2f s, ratio %.2f (aim <= 0.5)'
          % (batch, single, batch / single))
    print('processor: batch %.2f s, single runs %.2f s, ratio %.2f'
          % (batch_cpu, single_cpu, batch_cpu / single_cpu))
    print('batch peak memory: %.1f MiB for %d records, %.1f MiB for %d'
          % (peaks[0], records, peaks[1], 10 * records))


if __name__ == '__main__':
    main()
