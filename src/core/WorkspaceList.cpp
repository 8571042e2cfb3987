#include "core/WorkspaceList.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QStorageInfo>

WorkspaceList::FileSystem WorkspaceList::realFileSystem()
{
    return {
        [](const QString &path) { return QFileInfo(path).isDir(); },
        [](const QString &mountPoint) {
            if (!QFileInfo(mountPoint).isDir())
                return false;
            // An unmounted disk's folder under /media may linger as an empty directory: it counts as mounted
            // only when it is a volume's root.
            const QStorageInfo storage(mountPoint);
            return storage.isValid() && QDir::cleanPath(storage.rootPath()) == QDir::cleanPath(mountPoint);
        },
    };
}

WorkspaceList::WorkspaceList(Settings settings, QObject *parent)
    : WorkspaceList(std::move(settings), realFileSystem(), parent)
{
}

WorkspaceList::WorkspaceList(Settings settings, FileSystem fileSystem, QObject *parent)
    : QObject(parent)
    , m_settings(std::move(settings))
    , m_fileSystem(std::move(fileSystem))
{
}

QString WorkspaceList::standardisedPath(const QString &path)
{
    QString clean = QDir::cleanPath(QDir::isAbsolutePath(path) ? path : QDir::current().absoluteFilePath(path));
    while (clean.size() > 1 && clean.endsWith(QLatin1Char('/')))
        clean.chop(1);
    return clean;
}

QStringList WorkspaceList::paths() const
{
    return readPaths(m_settings);
}

QStringList WorkspaceList::readPaths(const Settings &settings)
{
    // Written by hand or by another version, the list may hold relative or empty paths, the same folder twice, or
    // more than ten: only what the list can mean is kept, in order.
    QStringList list;
    for (const QString &path : settings.stringList(SettingsKey::workspaces)) {
        if (path.isEmpty() || !QDir::isAbsolutePath(path))
            continue;
        const QString standard = standardisedPath(path);
        if (!list.contains(standard))
            list.append(standard);
        if (list.size() == maxWorkspaces)
            break;
    }
    return list;
}

void WorkspaceList::setPaths(const QStringList &newPaths)
{
    const QStringList kept = newPaths.mid(0, maxWorkspaces);
    QStringList left;
    for (const QString &old : paths()) {
        if (!kept.contains(old))
            left.append(old);
    }
    if (!left.isEmpty())
        clearImportDecline(left);
    m_settings.setValue(SettingsKey::workspaces, kept);
    Q_EMIT changed();
}

bool WorkspaceList::autoAddEnabled() const
{
    return !m_settings.boolValue(SettingsKey::disableAutoWorkspaces);
}

void WorkspaceList::setAutoAddEnabled(bool enabled)
{
    m_settings.setValue(SettingsKey::disableAutoWorkspaces, !enabled);
    Q_EMIT changed();
}

WorkspaceList::Opened WorkspaceList::noteWorkspaceOpened(const QString &path)
{
    const QString standard = standardisedPath(path);
    QStringList list = paths();
    if (!autoAddEnabled() || list.contains(standard) || list.size() >= maxWorkspaces) {
        Q_EMIT changed(); // the check mark follows the open folder even when nothing is added
        return Opened::NotAdded;
    }
    list.append(standard);
    setPaths(list);
    return list.size() == 2 ? Opened::AddedSecond : Opened::Added;
}

int WorkspaceList::indexOf(const QString &path) const
{
    return int(paths().indexOf(standardisedPath(path)));
}

std::optional<QString> WorkspaceList::removableMountPoint(const QString &path)
{
    const QStringList parts = path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    auto mountOf
        = [&](qsizetype components) { return QLatin1Char('/') + parts.mid(0, components).join(QLatin1Char('/')); };
    if (path.startsWith(QLatin1String("/Volumes/")) && parts.size() >= 2)
        return mountOf(2);
    if (path.startsWith(QLatin1String("/media/")) && parts.size() >= 3)
        return mountOf(3);
    if (path.startsWith(QLatin1String("/run/media/")) && parts.size() >= 4)
        return mountOf(4);
    return std::nullopt;
}

bool WorkspaceList::isOfflineVolume(const QString &path) const
{
    const auto mountPoint = removableMountPoint(path);
    return mountPoint && !m_fileSystem.isMounted(*mountPoint);
}

WorkspaceList::Availability WorkspaceList::availability(const QString &path) const
{
    if (m_fileSystem.isDirectory(path))
        return Availability::Available;
    return isOfflineVolume(path) ? Availability::Unavailable : Availability::Removed;
}

bool WorkspaceList::pruneDeadWorkspaces()
{
    const QStringList old = paths();
    QStringList kept;
    for (const QString &path : old) {
        if (availability(path) != Availability::Removed)
            kept.append(path);
    }
    if (kept == old)
        return false;
    setPaths(kept);
    return true;
}

bool WorkspaceList::importOfferDeclined(const QString &path) const
{
    return m_settings.stringList(SettingsKey::importOfferDeclinedFolders).contains(standardisedPath(path));
}

void WorkspaceList::recordImportOfferDeclined(const QString &path)
{
    QStringList declined = m_settings.stringList(SettingsKey::importOfferDeclinedFolders);
    const QString standard = standardisedPath(path);
    if (!declined.contains(standard))
        declined.append(standard);
    if (declined.size() > maxDeclinedFolders)
        declined = declined.mid(declined.size() - maxDeclinedFolders);
    m_settings.setValue(SettingsKey::importOfferDeclinedFolders, declined);
}

void WorkspaceList::clearImportDecline(const QStringList &pathsToClear)
{
    const QStringList declined = m_settings.stringList(SettingsKey::importOfferDeclinedFolders);
    const QSet<QString> clear(pathsToClear.begin(), pathsToClear.end());
    QStringList kept;
    for (const QString &path : declined) {
        if (!clear.contains(path))
            kept.append(path);
    }
    if (kept.size() != declined.size())
        m_settings.setValue(SettingsKey::importOfferDeclinedFolders, kept);
}

QString WorkspaceList::bulkImportOfferText(int count)
{
    QString text;
    if (count <= 5)
        text = QCoreApplication::translate("WorkspaceList",
            "This folder already contains Markdown files. Would you like to import them all as TackPad notes?");
    else if (count <= 15)
        text = QCoreApplication::translate("WorkspaceList",
            "This folder contains %n Markdown files. Are you sure you want to import them all as TackPad notes?",
            nullptr, count);
    else
        text = QCoreApplication::translate("WorkspaceList",
            "This folder contains %n Markdown files – that's a lot! Do you want to import them all "
            "as TackPad notes?",
            nullptr, count);
    text += QCoreApplication::translate("WorkspaceList",
        "\n\nThis will add one line of TackPad properties to each file. Closing an imported note "
        "reverts it to an ordinary Markdown file.");
    text += QCoreApplication::translate(
        "WorkspaceList", "\n\nYou can also import individual files later with File → Import Markdown Files….");
    return text;
}
