#!/usr/bin/env python3
"""Copies 1, 10 and 100 concatenated I-485 forms and shows how time and memory grow with the input.

Usage: bench/scale.py [path/to/quillet] [runs] [counts...]
The inputs are built here, in a temporary folder, with `qpdf --empty --pages` from copies of
../shared/bench/i485.pdf under distinct names (so that qpdf copies every page anew), with object
streams as the original has them. Per input it prints the size, quillet's best wall time and peak
resident memory for `quillet in out`, and qpdf's for `qpdf in out`; then the growth from the
smallest to the largest input per MB of input, against the targets: memory at most 3 MB per MB,
and time per MB of the largest at most twice that of the smallest (linear growth).
"""
import os
import shutil
import subprocess
import sys
import tempfile
import time

from bench_files import arguments, shared

binary, runs = arguments(3)
COUNTS = [int(c) for c in sys.argv[3:]] or [1, 10, 100]
MB = 1e6


def build(tmp, count):
    """A file holding `count` copies of the I-485, built with qpdf."""
    source = os.path.join(shared, 'bench', 'i485.pdf')
    copies = []
    for i in range(count):
        name = os.path.join(tmp, 'copy%03d.pdf' % i)
        if not os.path.exists(name):
            shutil.copyfile(source, name)
        copies.append(name)
    out = os.path.join(tmp, 'i485x%d.pdf' % count)
    subprocess.run(['qpdf', '--object-streams=generate', '--empty', '--pages'] + copies +
                   ['--', out], check=False, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return out if os.path.exists(out) else None


def measure(argv, out):
    """Best wall time (s) over the runs and peak resident memory (MiB) of one run."""
    times = []
    for _ in range(runs):
        if os.path.exists(out):
            os.remove(out)
        start = time.perf_counter()
        subprocess.run(argv, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        times.append(time.perf_counter() - start)
    with tempfile.NamedTemporaryFile('r') as report:
        subprocess.run(['/usr/bin/time', '-f', '%M', '-o', report.name] + argv,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        peak = int(report.read().split()[-1]) / 1024
    return min(times), peak


def main():
    if not os.path.exists(binary):
        sys.exit('no binary at %s (cmake --workflow --preset release)' % binary)
    if not shutil.which('qpdf') or not os.path.exists('/usr/bin/time'):
        sys.exit('scale.py needs qpdf and /usr/bin/time')
    print('%6s %12s | %9s %9s %9s | %9s %9s' % ('copies', 'bytes', 'quillet s', 's/MB',
                                                 'MiB', 'qpdf s', 'MiB'))
    rows = []
    with tempfile.TemporaryDirectory() as tmp:
        out = os.path.join(tmp, 'out.pdf')
        for count in COUNTS:
            path = build(tmp, count)
            if path is None:
                print('%6d qpdf could not build the input' % count)
                continue
            size = os.path.getsize(path)
            ours = measure([binary, path, out], out)
            theirs = measure(['qpdf', path, out], out)
            rows.append((count, size, ours))
            print('%6d %12d | %9.3f %9.3f %9.1f | %9.3f %9.1f' % (
                count, size, ours[0], ours[0] / (size / MB), ours[1], theirs[0], theirs[1]))
            os.remove(path)
    if len(rows) < 2:
        return
    (_, small, (t0, m0)), (_, large, (t1, m1)) = rows[0], rows[-1]
    per_mb = (m1 - m0) * (1 << 20) / (large - small)
    growth = (t1 / (large / MB)) / (t0 / (small / MB))
    print('memory per MB of input: %.2f MB (target at most 3): %s' % (
        per_mb, 'ok' if per_mb <= 3 else 'OVER'))
    print('time per MB, largest / smallest: %.2f (target at most 2): %s' % (
        growth, 'ok' if growth <= 2 else 'OVER'))


if __name__ == '__main__':
    main()
