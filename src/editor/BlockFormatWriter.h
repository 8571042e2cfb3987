#pragma once

#include <QTextBlock>
#include <QTextBlockFormat>

// Gives a paragraph a new format without recording an undo step.
namespace BlockFormatWriter {

// Returns whether the format changed. The caller marks the paragraph's contents dirty so that it is laid out again.
bool apply(QTextBlock block, const QTextBlockFormat &format);

} // namespace BlockFormatWriter
