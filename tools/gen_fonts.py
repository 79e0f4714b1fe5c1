#!/usr/bin/env python3
"""Writes fonts/pdfont_tables.cpp: the glyph list, the built-in code-to-name tables, the glyph-code
table and the built-in width tables, from the reference data folder (glyphlist-1253.txt,
encodings.tsv, afm/*.afm).

Usage: tools/gen_fonts.py [path/to/data] > fonts/pdfont_tables.cpp

Readings taken here, each the plainest fit of the data:
- The glyph list is glyphlist-1253.txt as it stands (a name with two values appears twice, the
  preferred value first), so its values run up to U+FB4B.
- The default text table is the Windows ANSI column from code 32 to 255.
- The differences base table is the Standard column (the built-in encoding of the text fonts, which
  a /Differences array without /BaseEncoding modifies), from code 32 to its last named code.
- The glyph-code table holds the distinct Windows ANSI names, the two irregular rows "Lslash" 149
  and "infinity" 160, and five names other writers use for Windows ANSI glyphs: minus (taken as
  the hyphen, as name look-ups do), nbspace, sfthyphen, middot and overscore.
"""
import csv
import os
import sys

here = os.path.dirname(os.path.abspath(__file__))
data = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, '..', '..', 'shared', 'data')


def read_glyph_list():
    entries = []
    with open(os.path.join(data, 'glyphlist-1253.txt')) as f:
        for line in f:
            line = line.strip()
            if not line or line.startswith('#'):
                continue
            name, value = line.split(';')
            entries.append((name, int(value, 16)))
    assert len(entries) == 1253
    # Byte order, the preferred value of a name first (the file's own order for equal names).
    entries = sorted(enumerate(entries), key=lambda e: (e[1][0].encode(), e[0]))
    return [e for _, e in entries]


def read_encodings():
    cols = {}
    with open(os.path.join(data, 'encodings.tsv'), newline='') as f:
        for row in csv.DictReader(f, delimiter='\t'):
            code = int(row['code'])
            for key in ('winansi', 'standard', 'macroman', 'symbol', 'zapfdingbats'):
                cols.setdefault(key, [''] * 256)[code] = row[key]
    return cols


def read_afm(name):
    widths, bbox = {}, None
    with open(os.path.join(data, 'afm', name + '.afm')) as f:
        for line in f:
            line = line.strip()
            if line.startswith('FontBBox'):
                bbox = [int(v) for v in line.split()[1:5]]
            elif line.startswith('C '):
                fields = dict(p.strip().split(' ', 1) for p in line.split(';') if p.strip())
                widths[fields['N']] = int(fields['WX'])
    return widths, bbox


def c_str(name):
    return '"%s"' % name


def emit_array(out, decl, items, per_line):
    out.append(decl + ' = {')
    for i in range(0, len(items), per_line):
        out.append('    ' + ', '.join(items[i:i + per_line]) + ',')
    out.append('};')


glyphs = read_glyph_list()
first_value = {}
values_of = {}
for name, value in glyphs:
    first_value.setdefault(name, value)
    values_of.setdefault(name, []).append(value)
cols = read_encodings()


def code_range(col, first):
    last = max(c for c in range(256) if col[c])
    return first, last - first + 1


def emit_table(out, ident, col, first):
    first, count = code_range(col, first)
    names = col[first:first + count]
    emit_array(out, 'const char* const k%sNames[%d]' % (ident, count),
               [c_str(n) if n else 'nullptr' for n in names], 6)
    named = sorted((n.encode(), c) for c, n in enumerate(col) if n and c >= first)
    emit_array(out, 'const uint8_t k%sByName[%d]' % (ident, len(named)),
               [str(c) for _, c in named], 16)
    # The value each code shows: the n-th use of a name in the table takes the name's n-th value,
    # so that 160 shows U+00A0 and 173 U+00AD where the names repeat.
    seen, unicodes = {}, []
    for n in names:
        if not n:
            unicodes.append(0)
            continue
        vals = values_of.get(n, [0])
        unicodes.append(vals[min(seen.get(n, 0), len(vals) - 1)])
        seen[n] = seen.get(n, 0) + 1
    emit_array(out, 'const uint16_t k%sUnicode[%d]' % (ident, count),
               ['0x%04X' % v for v in unicodes], 8)
    return 'const PDCodeTable kPD%sTable = {%d, %d, k%sNames, k%sByName, %d, k%sUnicode};' % (
        ident, count, first, ident, ident, len(named), ident)


# Width tables: (set name, AFM, encoding column, fallback, departure).
SETS = [
    ('Courier', 'Courier', 'winansi', 600, None),
    ('Symbol', 'Symbol', 'symbol', 600, None),
    ('Helvetica', 'Helvetica', 'winansi', 750, None),
    ('Helvetica-Bold', 'Helvetica-Bold', 'winansi', 750, None),
    ('Helvetica-Italic', 'Helvetica', 'winansi', 750, 'narrow'),
    ('Times', 'Times-Roman', 'winansi', 778, None),
    ('Times-Italic', 'Times-Italic', 'winansi', 746, None),
    ('Times-Bold', 'Times-Bold', 'winansi', 746, None),
    ('Times-BoldItalic', 'Times-BoldItalic', 'winansi', 746, 'cut'),
    ('ZapfDingbats', 'ZapfDingbats', 'zapfdingbats', 750, None),
    ('Courier-BoldOblique', 'Courier-Bold', 'winansi', 610, 'flat'),
]
ENCODING_OF = {'winansi': 'kPDEncodingDefault', 'symbol': 'kPDEncodingSymbol',
               'zapfdingbats': 'kPDEncodingZapfDingbats'}
# Standard names in look-up order, with the width table each measures with.
STD = [('Helvetica', 'Helvetica'), ('Helvetica-Oblique', 'Helvetica-Italic'),
       ('Helvetica-Bold', 'Helvetica-Bold'), ('Helvetica-BoldOblique', 'Helvetica-Bold'),
       ('Times-Roman', 'Times'), ('Times-Italic', 'Times-Italic'), ('Times-Bold', 'Times-Bold'),
       ('Times-BoldItalic', 'Times-BoldItalic'), ('Courier', 'Courier'),
       ('Courier-Oblique', 'Courier'), ('Courier-Bold', 'Courier'),
       ('Courier-BoldOblique', 'Courier-BoldOblique'), ('ZapfDingbats', 'ZapfDingbats'),
       ('Symbol', 'Symbol')]
# Kept from the Times-BoldItalic widths between 128 and 181; the rest of that block is 250.
BOLD_ITALIC_KEPT = {162, 163, 169, 177, 181}


def widths_of(afm, col, fallback, departure):
    afm_widths, _ = read_afm(afm)
    table = [afm_widths.get(cols[col][c], fallback) if cols[col][c] else fallback
             for c in range(256)]
    if departure == 'narrow':  # a set of its own, one percent narrower, truncated
        table = [w * 99 // 100 for w in table]
        table[255] = 0
    elif departure == 'cut':
        table = [table[c] if c < 128 or c in BOLD_ITALIC_KEPT else 250 if c < 182 else 0
                 for c in range(256)]
    elif departure == 'flat':
        table = [fallback] * 256
    return table


out = ['// Generated by tools/gen_fonts.py from the glyph list, encodings and AFM metrics. Do not edit.',
       '// The AFM metrics are Adobe\'s, used under the terms of their MustRead.html notice;',
       '// the glyph list carries Adobe\'s BSD licence.',
       '#include "fonts/pdfont_tables.h"', '', '// clang-format off', '']

emit_array(out, 'const PDGlyphEntry kPDGlyphList[%d]' % len(glyphs),
           ['{%s, 0x%04X}' % (c_str(n), v) for n, v in glyphs], 4)
out.append('const int kPDGlyphCount = %d;' % len(glyphs))
rev = sorted(((v, i) for i, (_, v) in enumerate(glyphs)))
emit_array(out, 'const PDUnicodeEntry kPDUnicodeIndex[%d]' % len(rev),
           ['{0x%04X, %d}' % r for r in rev], 6)
out.append('')

out.append('namespace {')
records = [emit_table(out, 'Default', cols['winansi'], 32),
           emit_table(out, 'Symbol', cols['symbol'], 32),
           emit_table(out, 'ZapfDingbats', cols['zapfdingbats'], 32),
           emit_table(out, 'Standard', cols['standard'], 32),
           emit_table(out, 'MacRoman', cols['macroman'], 32)]
out.append('} // namespace')
out.append('// The Standard table is the base of differences encodings: the text fonts\' own encoding.')
out.extend(records)
out.append('')

codes = {}
for c in range(256):
    n = cols['winansi'][c]
    if n:
        codes.setdefault(n, c)
codes.update({'Lslash': 149, 'infinity': 160, 'minus': 45, 'nbspace': 160, 'sfthyphen': 173,
              'middot': 183, 'overscore': 175})
rows = sorted(codes.items(), key=lambda r: r[0].encode())
assert len(rows) == 223
emit_array(out, 'const PDGlyphCodeEntry kPDGlyphCodes[%d]' % len(rows),
           ['{%s, %d}' % (c_str(n), c) for n, c in rows], 4)
out.append('const int kPDGlyphCodeCount = %d;' % len(rows))
out.append('')

out.append('namespace {')
for name, afm, col, fallback, departure in SETS:
    ident = name.replace('-', '')
    emit_array(out, 'const int32_t k%sWidths[256]' % ident,
               [str(w) for w in widths_of(afm, col, fallback, departure)], 16)
out.append('} // namespace')
emit_array(out, 'const PDMetricSetEntry kPDMetricSets[%d]' % len(SETS),
           ['{"%s", k%sWidths, %s}' % (s[0], s[0].replace('-', ''), ENCODING_OF[s[2]])
            for s in SETS], 1)
out.append('const int kPDMetricSetCount = %d;' % len(SETS))
set_index = {s[0]: i for i, s in enumerate(SETS)}
std_rows = []
for name, metric in STD:
    bbox = read_afm(name)[1]
    std_rows.append('{"%s", %d, {%d, %d, %d, %d}}' % ((name, set_index[metric]) + tuple(bbox)))
emit_array(out, 'const PDStdFontEntry kPDStdFonts[%d]' % len(STD), std_rows, 1)
out.append('const int kPDStdFontCount = %d;' % len(STD))
out.append('// clang-format on')
print('\n'.join(out))
