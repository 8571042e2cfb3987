#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QStringList>
#include <QTimer>

// Watches the listed workspace folders (and the folders that hold them, so that a rename or a move is seen too)
// and asks for a prune 0.3 seconds after the last event of a burst.
class WorkspaceWatcher : public QObject {
    Q_OBJECT

public:
    static constexpr int pruneDelayMs = 300;

    explicit WorkspaceWatcher(QObject *parent = nullptr);

    // Watches exactly these folders from now on (an empty list stops watching).
    void restart(const QStringList &folders);
    void stop();
    QStringList watchedPaths() const;

Q_SIGNALS:
    void pruneRequested();

private:
    void schedulePrune();

    std::unique_ptr<QFileSystemWatcher> m_watcher;
    QTimer m_pruneTimer;
};
