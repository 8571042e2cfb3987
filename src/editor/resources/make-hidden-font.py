#!/usr/bin/env python3
"""Writes the editor's "hidden" font: one empty glyph with no advance, and (almost) no character map.

The editor hides Markdown markers by giving them this font with font merging off. Qt then uses the font for every
character of such a run even though the font claims none of them (with merging off, a requested font that lacks
a script is used all the same), and each character falls to the empty, zero-advance glyph 0. So a hidden marker
keeps its characters and caret positions but takes no room.

The character map is deliberately (almost) empty: a font that claimed every character would also become the
fallback for characters the visible fonts lack, and emoji or CJK text would vanish everywhere in the application.
Only the noncharacter U+FDD0 is mapped, because a font needs a character map at all.

The vertical metrics are a little smaller than those of ordinary text faces, so hidden markers never make a line
taller, while a line made only of hidden markers keeps most of a line's height instead of collapsing.

Usage: make-hidden-font.py OUTPUT.ttf   (needs fontTools: Debian's python3-fonttools)
"""
import sys

from fontTools.fontBuilder import FontBuilder
from fontTools.pens.ttGlyphPen import TTGlyphPen

FAMILY = "Tackpad Hidden"
UNITS_PER_EM = 1000
ASCENT = 750
DESCENT = 150


def build(path):
    glyph_order = [".notdef", "blank"]
    fb = FontBuilder(UNITS_PER_EM, isTTF=True)
    fb.setupGlyphOrder(glyph_order)
    fb.setupCharacterMap({0xFDD0: "blank"})
    empty = TTGlyphPen(None).glyph()
    fb.setupGlyf({name: empty for name in glyph_order})
    fb.setupHorizontalMetrics({name: (0, 0) for name in glyph_order})
    fb.setupHorizontalHeader(ascent=ASCENT, descent=-DESCENT, lineGap=0)
    fb.setupNameTable({"familyName": FAMILY, "styleName": "Regular", "uniqueFontIdentifier": FAMILY,
                       "fullName": FAMILY, "psName": "TackpadHidden-Regular", "version": "Version 1.0"})
    fb.setupOS2(sTypoAscender=ASCENT, sTypoDescender=-DESCENT, sTypoLineGap=0, usWinAscent=ASCENT,
                usWinDescent=DESCENT, achVendID="TKPD", usWeightClass=400, xAvgCharWidth=0)
    fb.setupPost(keepGlyphNames=False)
    fb.save(path)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    build(sys.argv[1])
