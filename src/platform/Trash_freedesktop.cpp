// The freedesktop side of Trash: Qt 6.4 moves a file to the home Trash only when its folders exist already, which
// they do not on a fresh account or a minimal desktop.
#include "platform/Trash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QUrl>

#include <algorithm>

bool Trash::prepareFolders(QString *error)
{
    const QString trash
        = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QLatin1String("/Trash");
    constexpr auto ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;
    QDir().mkpath(QFileInfo(trash).absolutePath());
    for (const QString &folder : {trash, trash + QLatin1String("/files"), trash + QLatin1String("/info")}) {
        if (!QFileInfo(folder).isDir() && !QDir().mkdir(folder, ownerOnly)) {
            *error = QStringLiteral("cannot create the Trash folder %1").arg(folder);
            return false;
        }
    }
    return true;
}

namespace {

// The line of a .trashinfo file that names where the file came from.
constexpr QLatin1String pathKey("Path=");

} // namespace

// Qt 6.4 writes the original location into the .trashinfo file as it is, but the freedesktop Trash format wants it
// escaped as in a URL: file managers decode it, so a note named "a%41b.md" came back as "aAb.md" and a name that
// is not valid in a URL could not be restored at all. The line is rewritten escaped when it holds the original
// location unescaped (absolute, or relative to the top of another volume); a later Qt that escapes it itself
// writes something else, which is left alone.
bool Trash::repairRecord(const QString &originalPath, const QString &trashedPath, QString *error)
{
    const QFileInfo original(originalPath);
    const QString folder = original.absolutePath();
    const QStringList originals
        = {original.absoluteFilePath(), QDir(folder).canonicalPath() + QLatin1Char('/') + original.fileName()};
    const auto isUnescapedOriginal = [&originals](const QString &value) {
        return !value.isEmpty() && std::any_of(originals.begin(), originals.end(), [&value](const QString &path) {
            return path == value || (!value.startsWith(QLatin1Char('/')) && path.endsWith(u'/' + value));
        });
    };
    const QFileInfo trashed(trashedPath);
    const QString infoPath
        = trashed.dir().absoluteFilePath(QStringLiteral("../info/%1.trashinfo").arg(trashed.fileName()));
    QFile info(infoPath);
    if (!info.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("could not read %1: %2").arg(infoPath, info.errorString());
        return false;
    }
    QList<QByteArray> lines = info.readAll().split('\n');
    info.close();
    bool changed = false;
    for (QByteArray &line : lines) {
        if (!line.startsWith(pathKey.data()))
            continue;
        const QString value = QString::fromUtf8(line.mid(pathKey.size()));
        const QByteArray escaped = QUrl::toPercentEncoding(value, "/");
        if (isUnescapedOriginal(value) && escaped != value.toUtf8()) {
            line = pathKey.data() + escaped;
            changed = true;
        }
    }
    if (!changed)
        return true;
    QSaveFile out(infoPath);
    const QByteArray text = lines.join('\n');
    if (!out.open(QIODevice::WriteOnly) || out.write(text) != text.size() || !out.flush() || !out.commit()) {
        *error = QStringLiteral("could not write %1: %2").arg(infoPath, out.errorString());
        return false;
    }
    return true;
}
