#include "store/RecoveryFolder.h"

#include "store/AtomicFile.h"
#include "store/NoteNaming.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>
#include <cstdio>

namespace {

QString dataHome()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
}

} // namespace

QString RecoveryFolder::path()
{
    return dataHome() + QLatin1String("/Tackpad/Recovered");
}

std::optional<QString> RecoveryFolder::freeName(
    const QString &workspaceFolder, const QString &fileName, const QDateTime &when, QString *error)
{
    if (!QDir().mkpath(path())) {
        *error = QStringLiteral("cannot create the folder %1").arg(path());
        return std::nullopt;
    }
    // The time sorts the copies; the workspace's folder name tells same-named notes of two workspaces apart.
    const QString base = when.toString(QStringLiteral("yyyy-MM-dd HH.mm.ss")) + QLatin1Char(' ')
        + QFileInfo(workspaceFolder).fileName() + QLatin1Char(' ') + QFileInfo(fileName).completeBaseName();
    const QString fitted = NoteNaming::sanitizeTitle(base).value_or(QStringLiteral("note"));
    for (int n = 0; n < 1000; n = n == 0 ? 2 : n + 1) {
        const QString candidate = path() + QLatin1Char('/') + NoteNaming::numberedName(fitted, n, QStringLiteral("md"));
        const QFileInfo info(candidate);
        if (!info.exists() && !info.isSymLink())
            return candidate;
    }
    *error = QStringLiteral("no free file name in %1").arg(path());
    return std::nullopt;
}

std::optional<QString> RecoveryFolder::keep(const QString &workspaceFolder, const QString &fileName,
    const QByteArray &bytes, const QDateTime &when, QString *error)
{
    for (int attempt = 0; attempt < 3; ++attempt) {
        const std::optional<QString> target = freeName(workspaceFolder, fileName, when, error);
        if (!target)
            return std::nullopt;
        const AtomicFile::Outcome outcome = AtomicFile::write(*target, bytes, AtomicFile::Mode::CreateNew);
        if (outcome.ok)
            return target;
        *error = outcome.error;
        if (outcome.errorCode != EEXIST)
            return std::nullopt;
    }
    return std::nullopt;
}

std::optional<QString> RecoveryFolder::moveIn(const QString &sourcePath, const QString &workspaceFolder,
    const QString &fileName, const QDateTime &when, QString *error)
{
    const std::optional<QString> target = freeName(workspaceFolder, fileName, when, error);
    if (!target)
        return std::nullopt;
    // A rename keeps the very bytes; across file systems the copy is written and synced before the source goes.
    if (::rename(QFile::encodeName(sourcePath).constData(), QFile::encodeName(*target).constData()) == 0)
        return target;
    const AtomicFile::Outcome copied = AtomicFile::copyNew(sourcePath, *target);
    if (!copied.ok) {
        *error = copied.error;
        return std::nullopt;
    }
    QFile::remove(sourcePath);
    return target;
}

void RecoveryFolder::takeOverOldFolder()
{
    const QString old = dataHome() + QLatin1String("/Tackpad/Tackpad/Unsaved");
    const QDir oldDir(old);
    if (!oldDir.exists() || !QDir().mkpath(path()))
        return;
    for (const QString &name : oldDir.entryList(QDir::Files | QDir::Hidden)) {
        const QString target = path() + QLatin1Char('/') + name;
        if (!QFileInfo::exists(target))
            QFile::rename(old + QLatin1Char('/') + name, target);
    }
    // Only an emptied folder goes; anything that could not be moved stays where it was.
    QDir().rmdir(old);
    QDir().rmdir(QFileInfo(old).absolutePath());
}
