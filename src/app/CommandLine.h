#pragma once

#include <QStringList>

#include <optional>

class QTextStream;

// The console side of the `tackpad` binary: commands that need no display and print to the terminal.
namespace CommandLine {

// The exit status when the arguments are a console command (or a request for help or the version) that was
// handled here; nothing when the arguments ask for the application itself.
std::optional<int> run(const QStringList &arguments, QTextStream &out, QTextStream &err);

QString usage();

} // namespace CommandLine
