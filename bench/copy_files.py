#!/usr/bin/env python3
"""Times writing a complete copy of the largest files: `quillet in out` against `qpdf in out`.

Usage: bench/copy_files.py [path/to/quillet] [runs]
Reads the forms of ../shared/bench/ and the six largest unencrypted files of ../shared/corpus/
(beside the checkout). Prints, per file: size, the size of each copy, the best wall time of each
tool over the runs, the ratio quillet / qpdf, each tool's peak resident memory (measured by
/usr/bin/time when installed), and whether quillet's peak stays within twice the input plus 8 MiB.
"""
import os
import shutil
import subprocess
import sys
import tempfile
import time

from bench_files import aes_i485, arguments, bench_and_largest

binary, runs = arguments(10)


def files():
    return bench_and_largest(6, 5)


def run_once(argv):
    """Wall time in seconds and exit status of one run."""
    start = time.perf_counter()
    status = subprocess.run(argv, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode
    return time.perf_counter() - start, status


def peak_kib(argv):
    """Peak resident memory of one run, in KiB. A child of this Python process inherits the
    parent's high-water mark across exec, so the figure comes from /usr/bin/time when installed."""
    if os.path.exists('/usr/bin/time'):
        with tempfile.NamedTemporaryFile('r') as report:
            subprocess.run(['/usr/bin/time', '-f', '%M', '-o', report.name] + argv,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            return int(report.read().split()[-1])
    child = subprocess.Popen(argv, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return os.wait4(child.pid, 0)[2].ru_maxrss


def best(argv, out):
    """Best wall time (ms), peak memory (MiB) and output size; None when the tool fails."""
    times = []
    for _ in range(runs):
        if os.path.exists(out):
            os.remove(out)
        t, status = run_once(argv)
        if status != 0 or not os.path.exists(out):
            return None
        times.append(t * 1000)
    return min(times), peak_kib(argv) / 1024, os.path.getsize(out)


def cell(result, fmt):
    return fmt % result if result is not None else 'failed'


def main():
    if not os.path.exists(binary):
        sys.exit('no binary at %s (cmake --workflow --preset release)' % binary)
    qpdf = shutil.which('qpdf')
    print('%-40s %9s | %9s %9s %7s | %9s %9s %7s | %6s %s' % (
        'file', 'bytes', 'quillet', 'ms', 'MiB', 'qpdf', 'ms', 'MiB', 'ratio', 'memory'))
    with tempfile.TemporaryDirectory() as tmp:
        out = os.path.join(tmp, 'out.pdf')
        for path in files():
            ours = best([binary, path, out], out)
            theirs = best([qpdf, path, out], out) if qpdf else None
            ratio = '%6.2f' % (ours[0] / theirs[0]) if ours and theirs else '     -'
            budget = (2 * os.path.getsize(path) + 8 * (1 << 20)) / (1 << 20)
            memory = ('ok' if ours[1] <= budget else 'OVER') if ours else '-'
            print('%-40s %9d | %9s %9s %7s | %9s %9s %7s | %s %s' % (
                os.path.basename(path)[:40], os.path.getsize(path),
                cell(ours and ours[2], '%d'), cell(ours and ours[0], '%.2f'),
                cell(ours and ours[1], '%.1f'),
                cell(theirs and theirs[2], '%d'), cell(theirs and theirs[0], '%.2f'),
                cell(theirs and theirs[1], '%.1f'), ratio, memory))
        encrypted_copy(out, tmp)
    if not qpdf:
        print('qpdf is not installed: no comparison')


def encrypted_copy(out, tmp):
    """The AES-128 I-485 against the plain one, both copied in this run (aim: at most 1.3)."""
    pair = aes_i485(tmp)
    if pair is None:
        return
    plain, locked = (best([binary, path, out], out) for path in pair)
    ratio = '%.2f' % (locked[0] / plain[0]) if plain and locked else '-'
    print('AES-128 i485 copy: %s ms against %s ms plain, ratio %s (aim: at most 1.3)' % (
        cell(locked and locked[0], '%.2f'), cell(plain and plain[0], '%.2f'), ratio))


if __name__ == '__main__':
    main()
