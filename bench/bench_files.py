"""What the benchmark scripts share: where things are, and which files they time."""
import os
import shutil
import subprocess
import sys

here = os.path.dirname(os.path.abspath(__file__))
root = os.path.dirname(here)
shared = os.path.join(root, '..', 'shared')


def arguments(default_runs):
    """The binary and the number of runs from the command line."""
    binary = sys.argv[1] if len(sys.argv) > 1 else os.path.join(root, 'build', 'release', 'quillet')
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else default_runs
    return binary, runs


def aes_i485(folder):
    """An AES-128 copy of the bench I-485 (empty user password) made by qpdf in folder, and the
    plain I-485 it was made from; None when qpdf or the form is missing."""
    plain = os.path.join(shared, 'bench', 'i485.pdf')
    if not shutil.which('qpdf') or not os.path.exists(plain):
        return None
    locked = os.path.join(folder, 'i485-aes128.pdf')
    subprocess.run(['qpdf', '--encrypt', '', 'owner', '128', '--use-aes=y', '--', plain, locked],
                   check=True)
    return plain, locked


def bench_and_largest(count, column, keep=lambda row: True):
    """The forms of ../shared/bench/, then the `count` unencrypted corpus files largest by the
    manifest's `column` (5: bytes, 11: fields) among the rows `keep` accepts."""
    found = []
    bench = os.path.join(shared, 'bench')
    if os.path.isdir(bench):
        found += [os.path.join(bench, f) for f in sorted(os.listdir(bench)) if f.endswith('.pdf')]
    manifest = os.path.join(shared, 'corpus', 'MANIFEST.tsv')
    if os.path.exists(manifest):
        rows = [l.rstrip('\n').split('\t') for l in open(manifest)][1:]
        rows = [r for r in rows if r[9] == 'none' and keep(r)]
        rows.sort(key=lambda r: -int(r[column] or 0))
        found += [os.path.join(shared, 'corpus', r[0]) for r in rows[:count]]
    return found
