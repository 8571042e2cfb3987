#!/usr/bin/env python3
"""Writes the editor's "hidden" font: every Unicode code point maps to one empty glyph with zero advance.

The editor hides Markdown markers by giving them this font (with font merging off), so a hidden marker keeps its
characters and caret positions but takes no room on the line. A format 13 cmap ("many code points to one glyph")
keeps the file tiny while covering every script, which matters because Qt only picks a font for a run of text when
the font claims the run's writing system. The vertical metrics are deliberately a little smaller than those of
ordinary text faces, so hidden markers never make a line taller, while a line made only of hidden markers keeps
most of a line's height instead of collapsing.

Usage: make-hidden-font.py OUTPUT.ttf   (needs fontTools: Debian's python3-fonttools)
"""
import sys

from fontTools.fontBuilder import FontBuilder
from fontTools.pens.ttGlyphPen import TTGlyphPen
from fontTools.ttLib.tables._c_m_a_p import cmap_format_12_or_13, CmapSubtable

FAMILY = "Tackpad Hidden"
UNITS_PER_EM = 1000
ASCENT = 750
DESCENT = 150

# Planes that hold assigned characters (BMP, SMP, SIP, TIP), without the surrogate block. Unassigned planes and the
# private-use planes are left out: they would only slow down the font cache's coverage scan.
RANGES = [(0x0000, 0xD7FF), (0xE000, 0xFFFD), (0x10000, 0x3FFFD), (0xE0000, 0xE01EF)]


def build(path):
    glyph_order = [".notdef", "blank"]
    fb = FontBuilder(UNITS_PER_EM, isTTF=True)
    fb.setupGlyphOrder(glyph_order)
    fb.setupCharacterMap({0x20: "blank"})
    empty = TTGlyphPen(None).glyph()
    fb.setupGlyf({name: empty for name in glyph_order})
    fb.setupHorizontalMetrics({name: (0, 0) for name in glyph_order})
    fb.setupHorizontalHeader(ascent=ASCENT, descent=-DESCENT, lineGap=0)
    fb.setupNameTable({"familyName": FAMILY, "styleName": "Regular", "uniqueFontIdentifier": FAMILY,
                       "fullName": FAMILY, "psName": "TackpadHidden-Regular", "version": "Version 1.0"})
    fb.setupOS2(sTypoAscender=ASCENT, sTypoDescender=-DESCENT, sTypoLineGap=0, usWinAscent=ASCENT,
                usWinDescent=DESCENT, ulUnicodeRange1=0xFFFFFFFF, ulUnicodeRange2=0xFFFFFFFF,
                ulUnicodeRange3=0xFFFFFFFF, ulUnicodeRange4=0x7FFFFFF, ulCodePageRange1=0xFFFFFFFF,
                ulCodePageRange2=0xFFFFFFFF, achVendID="TKPD", usWeightClass=400, xAvgCharWidth=0)
    fb.setupPost(keepGlyphNames=False)

    # Replace the placeholder cmap with one format 13 subtable (Windows, UCS-4): each group maps a whole range to
    # the single blank glyph.
    subtable = CmapSubtable.newSubtable(13)
    subtable.platformID, subtable.platEncID, subtable.language = 3, 10, 0
    subtable.cmap = {}
    for first, last in RANGES:
        for code in range(first, last + 1):
            subtable.cmap[code] = "blank"
    fb.font["cmap"].tables = [subtable]
    fb.save(path)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    build(sys.argv[1])
