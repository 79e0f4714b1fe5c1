#!/usr/bin/env python3
"""Writes examples/example-form.pdf: a one-page form with text fields (single-line, multi-line and
comb), a check box without appearances, a radio group with them, an outline item leading to a named
destination, and document information.

The file is written by hand (no PDF library), with a classic cross-reference table.
Usage: tools/make_example.py > examples/example-form.pdf
"""
import sys

content = (b"BT /Helv 14 Tf 72 760 Td (Membership application) Tj ET\n"
           b"BT /Helv 10 Tf 72 712 Td (Name) Tj 0 -40 Td (Street) Tj 0 -40 Td (City) Tj"
           b" 0 -40 Td (Member since) Tj 0 -40 Td (Newsletter) Tj 0 -40 Td (Plan) Tj"
           b" 0 -40 Td (Notes) Tj ET\n"
           b"BT /Helv 10 Tf 204 512 Td (basic) Tj 80 0 Td (full) Tj ET\n")

objects = [
    b"<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [4 0 R 5 0 R 8 0 R 9 0 R 18 0 R 17 0 R]"
    b" /DA (/Helv 0 Tf 0 g) /DR << /Font << /Helv 11 0 R /ZaDb 12 0 R >> >> >>"
    b" /Outlines 13 0 R /Names << /Dests 14 0 R >> >>",
    b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
    b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 10 0 R"
    b" /Resources << /Font << /Helv 11 0 R >> >> /Annots [4 0 R 6 0 R 7 0 R 8 0 R 9 0 R 19 0 R 20 0 R 17 0 R] >>",
    b"<< /FT /Tx /T (name) /TU (Full name) /F 4 /P 3 0 R /Type /Annot /Subtype /Widget"
    b" /Rect [180 700 500 724] /DA (/Helv 12 Tf 0 g) /V (Ada Lovelace) >>",
    b"<< /FT /Tx /T (address) /Kids [6 0 R 7 0 R] >>",
    b"<< /T (street) /Parent 5 0 R /F 4 /P 3 0 R /Type /Annot /Subtype /Widget"
    b" /Rect [180 660 500 684] /DA (/Helv 10 Tf 0 g) >>",
    b"<< /T (city) /Parent 5 0 R /F 4 /P 3 0 R /Type /Annot /Subtype /Widget"
    b" /Rect [180 620 500 644] /DA (/Cour 10 Tf 0 g) >>",
    b"<< /FT /Tx /T (since) /Ff 16777216 /F 4 /P 3 0 R /Type /Annot /Subtype /Widget"
    b" /Rect [180 580 260 604] /MaxLen 4 >>",
    b"<< /FT /Btn /T (newsletter) /V /Off /F 4 /P 3 0 R /Type /Annot /Subtype /Widget"
    b" /Rect [180 540 196 556] /DA (/ZaDb 0 Tf 0 g) /MK << /CA (4) >> >>",
    b"<< /Length %d >>\nstream\n" % len(content) + content + b"endstream",
    b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>",
    b"<< /Type /Font /Subtype /Type1 /BaseFont /ZapfDingbats >>",
    b"<< /Type /Outlines /First 15 0 R /Last 15 0 R /Count 1 >>",
    b"<< /Names [(application) [3 0 R /XYZ 0 792 0]] >>",
    b"<< /Title (Membership application) /Parent 13 0 R /Dest (application) >>",
    b"<< /Title (Membership application) /Producer (tools/make_example.py) >>",
    b"<< /FT /Tx /T (notes) /Ff 4096 /F 4 /P 3 0 R /Type /Annot /Subtype /Widget"
    b" /Rect [180 404 500 484] /DA (/Helv 0 Tf 0 g) /MK << /BC [0.5] >> >>",
    b"<< /FT /Btn /Ff 49152 /T (plan) /V /Off /Kids [19 0 R 20 0 R] >>",
    b"<< /Parent 18 0 R /F 4 /P 3 0 R /Type /Annot /Subtype /Widget /Rect [180 508 196 524]"
    b" /AS /Off /AP << /N << /basic 21 0 R /Off 22 0 R >> >> >>",
    b"<< /Parent 18 0 R /F 4 /P 3 0 R /Type /Annot /Subtype /Widget /Rect [260 508 276 524]"
    b" /AS /Off /AP << /N << /full 21 0 R /Off 22 0 R >> >> >>",
    b"<< /Type /XObject /Subtype /Form /BBox [0 0 16 16] /Length 35 >>\nstream\n"
    b"0 G 1 1 14 14 re S 0 g 4 4 8 8 re f\nendstream",
    b"<< /Type /XObject /Subtype /Form /BBox [0 0 16 16] /Length 18 >>\nstream\n"
    b"0 G 1 1 14 14 re S\nendstream",
]

out = bytearray(b"%PDF-1.4\n%\xe2\xe3\xcf\xd3\n")
offsets = []
for i, body in enumerate(objects, start=1):
    offsets.append(len(out))
    out += b"%d 0 obj\n" % i + body + b"\nendobj\n"
xref = len(out)
out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
for off in offsets:
    out += b"%010d 00000 n \n" % off
out += b"trailer\n<< /Size %d /Root 1 0 R /Info 16 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (
    len(objects) + 1, xref)
sys.stdout.buffer.write(bytes(out))
