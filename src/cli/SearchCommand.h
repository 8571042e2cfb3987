#pragma once

#include <QStringList>

class QTextStream;
class Settings;

// `tackpad search [--workspace DIR] [--json] QUERY`: the notes of a workspace that hold QUERY, found and ordered
// exactly as the search panel finds them, printed without any window or display.
//
// Plain output is the title of each note (" (hidden)" after hidden ones) with its snippet indented on the next
// line; --json prints an array of objects with the keys file, title, snippet, hidden and titleMatch.
// Exit status: 0 when notes were found, 1 when none were (as grep), 2 for a usage error or a folder that cannot be
// read, with one line on `err`.
namespace SearchCommand {

// `args` are the words after "search". Without --workspace the workspace is the one opened last.
int run(const QStringList &args, QTextStream &out, QTextStream &err);
// The same, with the settings that name the workspace opened last handed in.
int run(const QStringList &args, QTextStream &out, QTextStream &err, const Settings &settings);

} // namespace SearchCommand
