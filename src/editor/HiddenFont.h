#pragma once

#include <QFont>
#include <QString>

// The font that hides Markdown markers: with font merging off, every character drawn in it is one empty glyph with
// no advance, so hidden markers keep their characters (and caret positions) but take no room on the line. It maps no
// real character, so it is never chosen as the fallback for characters the visible fonts lack.
namespace HiddenFont {

// The family name, registering the bundled font with the font database on first use.
QString family();

// The hidden font at a given point size, with font merging off so that no other font fills in a character.
QFont font(qreal pointSize);

} // namespace HiddenFont
