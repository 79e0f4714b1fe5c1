#!/usr/bin/env python3
"""Times `quillet -l` on the largest forms against `qpdf --json` and prints the figures.

Usage: bench/list_fields.py [path/to/quillet] [runs]
Reads the forms of ../shared/bench/ and the five largest forms of ../shared/corpus/ (beside the
checkout). Prints, per file: size, widgets listed, best and median wall time, the best time of
`qpdf --json` on the same file (when qpdf is installed) and the ratio of the two best times.
"""
import os
import resource
import shutil
import statistics
import subprocess
import sys
import time

from bench_files import arguments, bench_and_largest

binary, runs = arguments(20)


def forms():
    return bench_and_largest(5, 11, lambda r: int(r[11] or 0) > 0)


def run_once(path):
    start = time.perf_counter()
    out = subprocess.run([binary, '-l', path, 'unused.pdf'], stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL, check=False).stdout
    return time.perf_counter() - start, out.count(b'\n')


def qpdf_json(path, qpdf):
    """Best wall time (ms) of `qpdf --json` over the runs (at most five)."""
    times = []
    for _ in range(min(runs, 5)):
        start = time.perf_counter()
        subprocess.run([qpdf, '--json', path], stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=False)
        times.append((time.perf_counter() - start) * 1000)
    return min(times)


def main():
    if not os.path.exists(binary):
        sys.exit('no binary at %s (cmake --workflow --preset release)' % binary)
    qpdf = shutil.which('qpdf')
    print('%-40s %9s %7s %9s %9s %9s %6s' % ('file', 'bytes', 'lines', 'best ms', 'median ms',
                                             'qpdf ms', 'ratio'))
    for path in forms():
        times, lines = [], 0
        for _ in range(runs):
            t, lines = run_once(path)
            times.append(t * 1000)
        theirs = qpdf_json(path, qpdf) if qpdf else None
        print('%-40s %9d %7d %9.2f %9.2f %9s %6s' % (
            os.path.basename(path)[:40], os.path.getsize(path), lines, min(times),
            statistics.median(times), '%.2f' % theirs if theirs else '-',
            '%.3f' % (min(times) / theirs) if theirs else '-'))
    peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
    print('peak resident memory of any run: %.1f MiB' % (peak / 1024))


if __name__ == '__main__':
    main()
