#pragma once

#include <QString>
#include <QStringView>

// Text from notes (titles, file names, snippets) on its way to a terminal. A note may hold anything another program
// wrote into it, and control characters printed raw would be obeyed by the terminal: clear the screen, recolour or
// hide the rest of the output, retitle the window, or reorder what is shown (the bidirectional overrides).
namespace TerminalText {

// The text with every C0 and C1 control character, DEL and bidirectional embedding, override or isolate written
// as a visible escape: "\x1b", "\u202e".
QString escaped(QStringView text);

} // namespace TerminalText
