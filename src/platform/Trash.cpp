#include "platform/Trash.h"

#include "platform/PlatformLog.h"

#include <QFile>
#include <QFileInfo>

namespace Trash {

bool moveToTrash(const QString &path, QString *error)
{
    if (!prepareFolders(error))
        return false;
    QFile file(path);
    if (!file.moveToTrash()) {
        *error = file.errorString();
        return false;
    }
    if (QFileInfo(file.fileName()).isRelative()) {
        QFile::rename(file.fileName(), path);
        *error = QStringLiteral("the Trash could not be used");
        return false;
    }
    QString why;
    if (!repairRecord(path, file.fileName(), &why))
        qCWarning(lcPlatform).noquote() << QStringLiteral("TackPad: %1").arg(why);
    return true;
}

} // namespace Trash
