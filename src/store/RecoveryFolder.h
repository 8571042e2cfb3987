#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

// The one folder where text that could not stay in its note file is kept: a note that could not be saved when its
// workspace closed, a note whose file was deleted or became unusable elsewhere while it had unsaved text, and the
// leftovers of saves that were interrupted. `$XDG_DATA_HOME/Tackpad/Recovered/` on Linux. Nothing in it is ever
// overwritten; every copy is a new file named after the time, the workspace and the note.
class RecoveryFolder {
public:
    // The folder (not created).
    static QString path();

    // Keeps `bytes` as a new file "<time> <workspace> <file name>". Returns its path, or nothing with `error` set.
    static std::optional<QString> keep(const QString &workspaceFolder, const QString &fileName, const QByteArray &bytes,
        const QDateTime &when, QString *error);

    // Moves an existing file (a leftover of an interrupted save) into the folder under the same kind of name.
    static std::optional<QString> moveIn(const QString &sourcePath, const QString &workspaceFolder,
        const QString &fileName, const QDateTime &when, QString *error);

    // Earlier versions kept such copies in ".../Tackpad/Tackpad/Unsaved/"; they are moved here once.
    static void takeOverOldFolder();

private:
    static std::optional<QString> freeName(
        const QString &workspaceFolder, const QString &fileName, const QDateTime &when, QString *error);
};
