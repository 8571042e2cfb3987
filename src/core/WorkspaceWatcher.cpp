#include "core/WorkspaceWatcher.h"

#include <QFileInfo>

WorkspaceWatcher::WorkspaceWatcher(QObject *parent)
    : QObject(parent)
{
    m_pruneTimer.setSingleShot(true);
    m_pruneTimer.setInterval(pruneDelayMs);
    connect(&m_pruneTimer, &QTimer::timeout, this, &WorkspaceWatcher::pruneRequested);
}

void WorkspaceWatcher::restart(const QStringList &folders)
{
    stop();
    if (folders.isEmpty())
        return;
    m_watcher = std::make_unique<QFileSystemWatcher>();
    QStringList paths;
    for (const QString &folder : folders) {
        if (QFileInfo(folder).isDir())
            paths.append(folder);
        const QString parent = QFileInfo(folder).absolutePath();
        if (QFileInfo(parent).isDir() && !paths.contains(parent))
            paths.append(parent);
    }
    if (!paths.isEmpty())
        m_watcher->addPaths(paths);
    connect(m_watcher.get(), &QFileSystemWatcher::directoryChanged, this, &WorkspaceWatcher::schedulePrune);
}

void WorkspaceWatcher::stop()
{
    m_pruneTimer.stop();
    m_watcher.reset();
}

QStringList WorkspaceWatcher::watchedPaths() const
{
    return m_watcher ? m_watcher->directories() : QStringList();
}

void WorkspaceWatcher::schedulePrune()
{
    m_pruneTimer.start();
}
