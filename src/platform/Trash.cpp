#include "platform/Trash.h"

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
    return true;
}

} // namespace Trash
