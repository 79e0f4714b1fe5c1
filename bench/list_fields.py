#!/usr/bin/env python3
"""Times `quillet -l` on the largest forms and prints the figures.

Usage: bench/list_fields.py [path/to/quillet] [runs]
Reads the forms of ../shared/bench/ and the five largest forms of ../shared/corpus/ (beside the
checkout). Prints, per file: size, widgets listed, best and median wall time, peak memory.
"""
import os
import resource
import statistics
import subprocess
import sys
import time

here = os.path.dirname(os.path.abspath(__file__))
root = os.path.dirname(here)
shared = os.path.join(root, '..', 'shared')
binary = sys.argv[1] if len(sys.argv) > 1 else os.path.join(root, 'build', 'release', 'quillet')
runs = int(sys.argv[2]) if len(sys.argv) > 2 else 20


def forms():
    found = []
    bench = os.path.join(shared, 'bench')
    if os.path.isdir(bench):
        found += [os.path.join(bench, f) for f in sorted(os.listdir(bench)) if f.endswith('.pdf')]
    manifest = os.path.join(shared, 'corpus', 'MANIFEST.tsv')
    if os.path.exists(manifest):
        rows = [l.rstrip('\n').split('\t') for l in open(manifest)][1:]
        rows = [r for r in rows if r[9] == 'none' and int(r[11] or 0) > 0]
        rows.sort(key=lambda r: -int(r[11]))
        found += [os.path.join(shared, 'corpus', r[0]) for r in rows[:5]]
    return found


def run_once(path):
    start = time.perf_counter()
    out = subprocess.run([binary, '-l', path, 'unused.pdf'], stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL, check=False).stdout
    return time.perf_counter() - start, out.count(b'\n')


def main():
    if not os.path.exists(binary):
        sys.exit('no binary at %s (cmake --workflow --preset release)' % binary)
    print('%-48s %9s %7s %9s %9s' % ('file', 'bytes', 'lines', 'best ms', 'median ms'))
    for path in forms():
        times, lines = [], 0
        for _ in range(runs):
            t, lines = run_once(path)
            times.append(t * 1000)
        print('%-48s %9d %7d %9.2f %9.2f' % (os.path.basename(path)[:48], os.path.getsize(path),
                                             lines, min(times), statistics.median(times)))
    peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
    print('peak resident memory of any run: %.1f MiB' % (peak / 1024))


if __name__ == '__main__':
    main()
