#pragma once

#include <QStringList>

#include <optional>

class QIODevice;
class QTextStream;

// The console side of the `tackpad` binary: commands that need no display and print to the terminal.
namespace CommandLine {

// The exit status when the arguments are a console command (or a request for help or the version) that was
// handled here; nothing when the arguments ask for the application itself. `input` is where "new -" reads the
// note's text (standard input when null).
std::optional<int> run(const QStringList &arguments, QTextStream &out, QTextStream &err, QIODevice *input = nullptr);

} // namespace CommandLine
