#include "ai/PromptBackup.h"

#include "ai/AILog.h"
#include "platform/Trash.h"
#include "store/NoteFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace PromptBackup {

namespace {

bool writeAndTrash(const QString &noteTitle, const QString &content, QString *error)
{
    // Not the system's temporary folder: /tmp is often a file system of its own, and a file trashed from there
    // goes to /tmp/.Trash-<uid>, where no file manager shows it. The cache folder lies in the home folder, whose
    // Trash is the one the user looks in.
    const QString parent = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    if (!QDir().mkpath(parent)) {
        *error = QStringLiteral("cannot create %1").arg(parent);
        return false;
    }
    QTemporaryDir folder(parent + QLatin1String("/before-ai-XXXXXX"));
    if (!folder.isValid()) {
        *error = folder.errorString();
        return false;
    }
    const QString path = folder.filePath(fileName(noteTitle));
    return NoteFiles::writeNew(path, content.toUtf8(), error) && Trash::moveToTrash(path, error);
}

} // namespace

QString fileName(const QString &noteTitle)
{
    return QCoreApplication::translate("PromptBackup", "%1 (before AI)").arg(noteTitle) + QLatin1String(".md");
}

bool moveToTrash(const QString &noteTitle, const QString &content, QString *error)
{
    QString reason;
    if (writeAndTrash(noteTitle, content, &reason))
        return true;
    qCWarning(lcAI).noquote() << QStringLiteral("TackPad: pre-AI backup failed: ") + reason;
    if (error)
        *error = reason;
    return false;
}

} // namespace PromptBackup
