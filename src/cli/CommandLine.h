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

// The same on the process's standard output and error. Output that could not be written (a full disk, a closed
// pipe, /dev/full) is reported on standard error and ends the command with writeFailedStatus: a script must never
// take a cut-off list for the whole one.
std::optional<int> runOnStandardStreams(const QStringList &arguments);

constexpr int writeFailedStatus = 74; // the usual status for an output error

} // namespace CommandLine
