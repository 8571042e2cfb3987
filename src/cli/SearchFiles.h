#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

// The note files of a workspace as `tackpad search` reads them: the same files, and the same messages for the ones
// that cannot be read, as NoteFiles::listNoteFiles and NoteFiles::readText give, with as few system calls as the file
// system allows. Over a large workspace those calls, not the search, are most of the command's cost: the folder's own
// entry types spare a stat per file, and reading to the end spares another.
//
// Listing is split in two so that only its least part runs alone: `list` reads the folder, and `resolve` makes of
// each entry what the store's listing makes of it, a batch of entries at a time on every core.
namespace SearchFiles {

// An entry of the folder whose name may be a note file name, as the folder tells it.
struct Entry {
    QByteArray name; // as the file system has it
    bool regular = false; // the folder says it is a regular file; otherwise it is a link or of an untold type
};

// The entries that may be note files, in the folder's own order, directories and other non-files left out; nothing
// when the folder cannot be listed, and `error` then says why.
std::optional<std::vector<Entry>> list(const QString &folder, QString *error);

// An entry that has a note file name.
struct NoteFile {
    QString name;
    QByteArray encodedName;
    QString skipped; // why the entry is not a note file after all, as the store's listing says it; empty for a note
    bool typeFromStat = false; // a stat found it regular
};

// The entry (of the folder open as folderFd) as the store's listing takes it: nothing when that leaves it out
// without a word (a name that is no note file name, a link to a folder).
std::optional<NoteFile> resolve(int folderFd, Entry entry);

enum class Outcome {
    Read, // the file's bytes are in the buffer
    NotNote, // the file is gone or is not a regular file any more: as the listing would have left it out
    Unusual, // anything else (an error, a file too large): NoteFiles::readText tells the outcome
};

struct ReadBytes {
    Outcome outcome = Outcome::Unusual;
    QString skipped; // for NotNote, the message the listing would have given; may be empty
};

// The bytes of a note file into buffer, which one note after another reuses.
ReadBytes read(int folderFd, const NoteFile &file, QByteArray &buffer);

} // namespace SearchFiles
