#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Writing whole files so that a failure at any point - a full disk, a quota, a file-size limit, an I/O error, a
// read-only mount, a kill - leaves the old file byte for byte, and a kill never loses the newest text.
//
// Every write goes to a temporary file next to the target, checked write by write, synced to the disk, and only
// then moved into place. The temporary file is hidden (never listed as a note), names the file it is for, and is
// locked while it is being written, so that a scan can tell a leftover of an interrupted save from a save still
// under way. QSaveFile is not used: Qt 6.4's commit() renames a file whose buffered flush failed over the target,
// and its temporary names are Qt's internals, which a scan could not recognise.
namespace AtomicFile {

enum class Mode {
    // Replace the file if it exists (or create it). A file marked read-only is left alone, and so is the name of a
    // file that was deleted or renamed while it was being written (ENOENT).
    Replace,
    // Create the file; fail if the name exists, also when another program creates it meanwhile.
    CreateNew,
};

struct Outcome {
    bool ok = false;
    QString error;
    int errorCode = 0; // errno, where the system said why
    // Replace only: the text that stood at the path at the very moment the new file took its place. Differs from
    // what the caller last read when another program wrote in between; nothing when the file did not exist or the
    // file system cannot swap files atomically.
    std::optional<QByteArray> displaced;
};

Outcome write(const QString &path, const QByteArray &data, Mode mode);

// Copies a file into a new name with the same guarantees as CreateNew.
Outcome copyNew(const QString &source, const QString &target);

// The hidden name of the temporary file for a file name: "." + name + ".tackpad-" + six characters, the name
// shortened on a character boundary so that the whole stays within the file system's 255 bytes.
QString temporaryPrefix(const QString &fileName);
bool isTemporaryName(const QString &name);
// The file name a temporary file was written for (perhaps shortened, see temporaryPrefix).
QString targetOfTemporary(const QString &temporaryName);
// A temporary file that nobody is writing any more: its writer finished badly or was killed.
bool isAbandoned(const QString &temporaryPath);

} // namespace AtomicFile
