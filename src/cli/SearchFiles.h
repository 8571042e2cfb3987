#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

// The note files of a workspace as `tackpad search` reads them: the same files, and the same messages for the ones
// that cannot be read, as NoteFiles::listNoteFiles and NoteFiles::readText give, with as few system calls as the file
// system allows. Over a large workspace those calls, not the search, are most of the command's cost: the folder's own
// entry types spare a stat per file, and reading to the end spares another.
namespace SearchFiles {

// An entry of the folder with a note file name.
struct Listed {
    QString name;
    QString skipped; // why the entry is not a note file after all, as the listing says it; empty for a note file
    bool typeFromStat = false; // a stat found it regular (a link, or a file system that tells no types)
};

// The folder's entries with note file names, in the folder's own order, directories and other non-files left out;
// nothing when the folder cannot be listed, and `error` then says why.
std::optional<std::vector<Listed>> list(const QString &folder, QString *error);

enum class Outcome {
    Read, // the file's bytes are in the buffer
    NotNote, // the file is gone or is not a regular file any more: as the listing would have left it out
    Unusual, // anything else (an error, a file too large): NoteFiles::readText tells the outcome
};

struct ReadBytes {
    Outcome outcome = Outcome::Unusual;
    QString skipped; // for NotNote, the message the listing would have given; may be empty
};

// The bytes of a listed note file (of the folder open as folderFd) into buffer, which one note after another reuses.
ReadBytes read(int folderFd, const Listed &file, QByteArray &buffer);

} // namespace SearchFiles
