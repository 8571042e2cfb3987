#pragma once

#include <QByteArray>
#include <QCollator>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

// File-system work of the note store, kept free of store state: which names are note files, listing the folder,
// telling whether a file changed since it was last looked at, reading note text and writing files atomically.
namespace NoteFiles {

// A note file larger than this is never read. The editor lays out a whole note before its window shows, at about
// 3 MB a second; a larger note would hold up every window of the workspace for seconds (a 50 MB file for minutes).
inline constexpr qint64 maxNoteFileSize = 4 * 1024 * 1024;

// What a stat call says about a file; equal stamps mean the file was not written in between.
struct FileStamp {
    qint64 size = -1;
    qint64 modifiedNs = 0;
    qint64 changedNs = 0;
    quint64 inode = 0;

    friend bool operator==(const FileStamp &, const FileStamp &) = default;
};

// Which directory a path names (device and inode): a folder replaced at the same path is another directory.
struct FolderIdentity {
    quint64 device = 0;
    quint64 inode = 0;
    friend bool operator==(const FolderIdentity &, const FolderIdentity &) = default;
};
std::optional<FolderIdentity> folderIdentity(const QString &path);

struct Entry {
    QString name;
    FileStamp stamp;
};

// Not hidden, and ending in ".md" in any letter case ("Note.MD" counts, "note.markdown" does not).
bool isNoteFileName(const QString &name);

// An entry with a note file name that is not a note file: a dangling or looping link, or one that cannot be stat'ed.
struct Skipped {
    QString name;
    QString reason;
};

// The folder's direct entries that are regular files (symbolic links followed) with note file names, unsorted.
// Entries that cannot be looked at are left out (and named in `skipped`); nothing when the folder itself cannot be
// listed, and `error` then says why.
// `temporaries` receives the names of hidden temporary files of this application's atomic writes (AtomicFile).
std::optional<std::vector<Entry>> listNoteFiles(const QString &folder, QString *error = nullptr,
    std::vector<Skipped> *skipped = nullptr, QStringList *temporaries = nullptr);

// The stamp of a regular file; nothing for a missing file, a folder or anything else.
std::optional<FileStamp> stampOf(const QString &path);

enum class ReadStatus { Ok, Unreadable, NotUtf8, TooLarge };

struct ReadResult {
    ReadStatus status = ReadStatus::Unreadable;
    QString text; // with every CR LF turned into LF, without a byte-order mark
    bool byteOrderMark = false;
    QString error;
};

// Reads a whole file as UTF-8 text, refusing files that are too large or not valid UTF-8.
ReadResult readText(const QString &path);
ReadResult decodeText(const QByteArray &bytes);
QString normaliseLineEnds(QString text);
// The bytes of a note's text, with the byte-order mark its file had.
QByteArray encodeText(const QString &text, bool byteOrderMark);

// Replaces (or creates) the file atomically: readers see the old or the new text, never half of it, and a failure
// leaves the old file as it was (see AtomicFile). A file without any write permission is left alone, also for a user
// whom the system would let replace it.
bool writeReplacing(const QString &path, const QByteArray &data, QString *error);

// Creates the file with the data, atomically, and fails if the name exists - also when another program created it
// while the data was being written. Nothing is left behind on failure.
bool writeNew(const QString &path, const QByteArray &data, QString *error);

// Copies a file into a new name with the same guarantees as `writeNew`.
bool copyNew(const QString &source, const QString &target, QString *error);

// Name order, as file managers sort: case ignored, numbers inside names compared by value ("Note 2" before "Note 10").
// One collator per thread, built once: opening an ICU collator costs more than sorting a handful of names.
const QCollator &nameCollator();
void sortByName(QStringList &names);

} // namespace NoteFiles
