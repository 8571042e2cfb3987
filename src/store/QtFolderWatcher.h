#pragma once

#include "store/FolderWatcher.h"

#include <QFileSystemWatcher>

// QFileSystemWatcher on the folder and on each note file. The folder's watch reports files created, deleted,
// renamed and atomically replaced; only a file's own watch reports an in-place append. An atomic replace drops the
// replaced file's watch, so watches are re-added after every change.
class QtFolderWatcher : public FolderWatcher {
    Q_OBJECT
public:
    explicit QtFolderWatcher(const QString &folder);

    bool start(QString *error) override;
    bool isActive() const override;

private:
    void onDirectoryChanged();
    void onFileChanged(const QString &path);
    void watchMarkdownFiles();

    QFileSystemWatcher m_watcher;
    bool m_started = false;
};
