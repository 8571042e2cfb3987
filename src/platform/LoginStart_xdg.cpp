// The freedesktop side of LoginStart: an entry in the XDG autostart folder, which GNOME, KDE Plasma, Xfce and the
// other session managers start at login.
#include "platform/LoginStart.h"

#include "core/AppInfo.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>
#include <QStandardPaths>

namespace {

QString entryPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/autostart/%1.desktop").arg(QLatin1String(AppInfo::reverseDomainId));
}

// The command to start: the installed `tackpad` when that is this very program (the entry then survives upgrades
// and moves between machines with the home folder), else this binary's own path, quoted as desktop entries quote.
QString execLine()
{
    const QString self = QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath();
    const QString onPath = QStandardPaths::findExecutable(QStringLiteral("tackpad"));
    if (!onPath.isEmpty() && QFileInfo(onPath).canonicalFilePath() == self)
        return QStringLiteral("tackpad");
    QString quoted = self;
    for (const QChar special : {u'\\', u'"', u'`', u'$'})
        quoted.replace(special, QStringLiteral("\\") + special);
    // Inside a desktop entry's value a backslash is itself escaped once more.
    return u'"' + quoted.replace(u'\\', QStringLiteral("\\\\")) + u'"';
}

} // namespace

bool LoginStart::isSupported()
{
    return true;
}

// An entry the user switched off with the desktop's tools (Hidden, or GNOME's own key) counts as off.
bool LoginStart::isEnabled()
{
    if (!QFileInfo(entryPath()).isFile())
        return false;
    QSettings entry(entryPath(), QSettings::IniFormat);
    entry.beginGroup(QStringLiteral("Desktop Entry"));
    return entry.value(QStringLiteral("Hidden")).toString() != QLatin1String("true")
        && entry.value(QStringLiteral("X-GNOME-Autostart-enabled")).toString() != QLatin1String("false");
}

bool LoginStart::setEnabled(bool enabled, QString *error)
{
    const QString path = entryPath();
    if (!enabled) {
        if (!QFileInfo::exists(path) || QFile::remove(path))
            return true;
        *error = QStringLiteral("could not remove %1").arg(path);
        return false;
    }
    if (!QDir().mkpath(QFileInfo(path).path())) {
        *error = QStringLiteral("could not create the folder %1").arg(QFileInfo(path).path());
        return false;
    }
    const QByteArray text = QStringLiteral("[Desktop Entry]\n"
                                           "Type=Application\n"
                                           "Name=%1\n"
                                           "Comment=Show your notes after logging in\n"
                                           "Exec=%2\n"
                                           "Icon=%3\n"
                                           "Terminal=false\n"
                                           "X-GNOME-Autostart-enabled=true\n")
                                .arg(QLatin1String(AppInfo::name), execLine(), QLatin1String(AppInfo::reverseDomainId))
                                .toUtf8();
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.flush() || !file.commit()) {
        *error = QStringLiteral("could not write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}
