// The freedesktop side of Trash: Qt 6.4 moves a file to the home Trash only when its folders exist already, which
// they do not on a fresh account or a minimal desktop.
#include "platform/Trash.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

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
