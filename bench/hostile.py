#!/usr/bin/env python3
"""Lists and copies small hostile files, each also scaled up ten times, and every file of the fuzz
corpus, so that the work per input byte can be seen to stay bounded.

Usage: bench/hostile.py [path/to/quillet]
The hostile files are built here, in a temporary folder. Per file and operation it prints the
input size, the wall time, the time per MB, the peak resident memory (from /usr/bin/time when
installed), the output size and whether the run met the targets: under 1 s per MB of input (with
a 0.2 s floor for process start), peak memory at most 16 times the input plus 64 MiB, and an
output at most 10 times the input.
"""
import glob
import os
import subprocess
import sys
import tempfile
import time
import zlib

from bench_files import arguments, root

binary, _ = arguments(1)
MIB = 1 << 20


def pdf(objects, root_num=1, extra_trailer=b''):
    """A classic file from (number, body) pairs; bodies are written between obj and endobj."""
    out = bytearray(b'%PDF-1.5\n%\xe2\xe3\xcf\xd3\n')
    offsets = {}
    for num, body in objects:
        offsets[num] = len(out)
        out += b'%d 0 obj\n%s\nendobj\n' % (num, body)
    size = max(offsets) + 1
    xref = len(out)
    out += b'xref\n0 %d\n0000000000 65535 f \n' % size
    for num in range(1, size):
        out += (b'%010d 00000 n \n' % offsets[num]) if num in offsets else b'0000000000 65535 f \n'
    out += b'trailer\n<< /Size %d /Root %d 0 R %s >>\nstartxref\n%d\n%%%%EOF\n' % (
        size, root_num, extra_trailer, xref)
    return bytes(out)


def page_objects(contents=b'', annots=b''):
    return [(1, b'<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [%s] >> >>' % annots),
            (2, b'<< /Type /Pages /Kids [3 0 R] /Count 1 >>'),
            (3, b'<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents [%s] '
                b'/Annots [%s] >>' % (contents, annots))]


def stream(dictionary, data):
    return b'<< %s /Length %d >>\nstream\n%s\nendstream' % (dictionary, len(data), data)


def no_endstream(scale):
    """Streams whose /Length is wrong and whose data never meet an "endstream"."""
    count = 1500 * scale
    first = 10
    refs = b' '.join(b'%d 0 R' % n for n in range(first, first + count))
    objects = page_objects(contents=refs)
    for n in range(first, first + count):
        objects.append((n, b'<< /Length 999999 >>\nstream\n' + b'q 1 0 0 1 0 0 cm Q\n' * 2))
    return pdf(objects)


def shared_xrefstm(scale):
    """Many classic sections whose trailers all name one large cross-reference stream."""
    rows = 400000
    data = zlib.compress(b'\0' * (7 * rows), 9)
    objects = page_objects()
    base = pdf(objects)
    out = bytearray(base[:base.rindex(b'xref\n')])
    stm = len(out)
    out += b'9 0 obj\n' + stream(b'/Type /XRef /Size %d /W [1 4 2] /Filter /FlateDecode' % rows,
                                 data) + b'\nendobj\n'
    table = bytes(base[base.rindex(b'xref\n'):base.rindex(b'trailer')])
    prev = 0
    for _ in range(600 * scale):
        at = len(out)
        out += table + b'trailer\n<< /Size 10 /Root 1 0 R /XRefStm %d %s >>\n' % (
            stm, b'/Prev %d' % prev if prev else b'')
        prev = at
    out += b'startxref\n%d\n%%%%EOF\n' % prev
    return bytes(out)


def object_stream(number, members):
    header = b''
    body = b''
    for num, text in members:
        header += b'%d %d ' % (num, len(body))
        body += text + b'\n'
    data = zlib.compress(header + body, 9)
    return (number, stream(b'/Type /ObjStm /N %d /First %d /Filter /FlateDecode' % (
        len(members), len(header)), data))


def xref_stream_file(objects, packed, root_num=1):
    """Objects at offsets, others packed, indexed by one cross-reference stream."""
    out = bytearray(b'%PDF-1.5\n')
    rows = {}
    for num, body in objects:
        rows[num] = (1, len(out), 0)
        out += b'%d 0 obj\n%s\nendobj\n' % (num, body)
    for num, (stm, index) in packed.items():
        rows[num] = (2, stm, index)
    size = max(rows) + 2
    rows[size - 1] = (1, len(out), 0)
    data = b''.join(bytes([t]) + a.to_bytes(4, 'big') + b.to_bytes(2, 'big')
                    for t, a, b in (rows.get(n, (0, 0, 0)) for n in range(size)))
    at = len(out)
    out += b'%d 0 obj\n%s\nendobj\nstartxref\n%d\n%%%%EOF\n' % (
        size - 1, stream(b'/Type /XRef /Size %d /W [1 4 2] /Root %d 0 R' % (size, root_num), data),
        at)
    return bytes(out)


def hopping_object_streams(scale):
    """Fields taken in turn from more object streams than a small cache would hold."""
    streams, per = 40, 100 * scale
    first = 100
    members = {s: [] for s in range(streams)}
    packed = {}
    count = streams * per
    for i in range(count):
        s = i % streams
        packed[first + i] = (first + count + s, len(members[s]))
        members[s].append((first + i, b'<< /FT /Tx /T (f%d) /Subtype /Widget /Rect [0 0 1 1] '
                                      b'/P 3 0 R /Pad <%s> >>' % (i, os.urandom(24).hex().encode())))
    refs = b' '.join(b'%d 0 R' % (first + i) for i in range(count))
    objects = page_objects(annots=refs)
    objects += [object_stream(first + count + s, members[s]) for s in range(streams)]
    return xref_stream_file(objects, packed)


def flate_bomb(scale):
    """An object stream that inflates about a thousand times beyond its encoded size."""
    zeros = b'\0' * MIB
    packer = zlib.compressobj(9)
    data = b''.join(packer.compress(zeros) for _ in range(300 * scale)) + packer.flush()
    header = b'10 0 '
    objects = page_objects(annots=b'10 0 R')
    objects.append((11, stream(b'/Type /ObjStm /N 1 /First %d /Filter /FlateDecode' % len(header),
                               data)))
    return xref_stream_file(objects, {10: (11, 0)})


HOSTILE = [no_endstream, shared_xrefstm, hopping_object_streams, flate_bomb]


def run(argv, out):
    """Wall time (s), peak memory (KiB) and output size of one run."""
    if out and os.path.exists(out):
        os.remove(out)
    with tempfile.NamedTemporaryFile('r') as report:
        timer = ['/usr/bin/time', '-f', '%M', '-o', report.name] if os.path.exists(
            '/usr/bin/time') else []
        start = time.perf_counter()
        subprocess.run(timer + argv, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        elapsed = time.perf_counter() - start
        text = report.read().split()
    peak = int(text[-1]) if text and text[-1].isdigit() else 0
    size = os.path.getsize(out) if out and os.path.exists(out) else 0
    return elapsed, peak, size


def row(name, path, tmp):
    size = os.path.getsize(path)
    mb = size / 1e6
    for op, argv, out in (('list', [binary, path], None),
                          ('copy', [binary, path, os.path.join(tmp, 'out.pdf')],
                           os.path.join(tmp, 'out.pdf'))):
        t, peak, out_size = run(argv, out)
        ok = (t <= max(mb, 0.2) and peak * 1024 <= 16 * size + 64 * MIB and
              out_size <= 10 * size)
        print('%-34s %-4s %10d %9.3f %9.3f %9.1f %11d  %s' % (
            name[:34], op, size, t, t / mb if mb else 0, peak / 1024, out_size,
            'ok' if ok else 'OVER'))


def main():
    if not os.path.exists(binary):
        sys.exit('no binary at %s (cmake --workflow --preset release)' % binary)
    print('%-34s %-4s %10s %9s %9s %9s %11s' % ('file', 'op', 'bytes', 's', 's/MB', 'MiB',
                                                 'out bytes'))
    with tempfile.TemporaryDirectory() as tmp:
        for make in HOSTILE:
            for scale in (1, 10):
                path = os.path.join(tmp, '%s-x%d.pdf' % (make.__name__, scale))
                with open(path, 'wb') as f:
                    f.write(make(scale))
                row(os.path.basename(path), path, tmp)
        for path in sorted(glob.glob(os.path.join(root, 'fuzz', 'corpus', '*', '*'))):
            row(os.path.relpath(path, os.path.join(root, 'fuzz', 'corpus')), path, tmp)


if __name__ == '__main__':
    main()
