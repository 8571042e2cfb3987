#include "store/QtFolderWatcher.h"

#include "store/NoteFiles.h"

#include <QFileInfo>
#include <QSet>

QtFolderWatcher::QtFolderWatcher(const QString &folder)
    : FolderWatcher(folder)
{
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &QtFolderWatcher::onDirectoryChanged);
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &QtFolderWatcher::onFileChanged);
}

bool QtFolderWatcher::start(QString *error)
{
    if (!m_watcher.directories().isEmpty())
        m_watcher.removePaths(m_watcher.directories());
    if (!QFileInfo(folder()).isDir() || !m_watcher.addPath(folder())) {
        *error = QStringLiteral("the folder cannot be watched");
        return false;
    }
    m_started = true;
    watchMarkdownFiles();
    return true;
}

bool QtFolderWatcher::isActive() const
{
    return m_started && m_watcher.directories().contains(folder());
}

// Every Markdown file, not only the notes: an ordinary file that gains properties by an in-place write becomes a
// note, and only its own watch reports that.
void QtFolderWatcher::watchMarkdownFiles()
{
    const auto entries = NoteFiles::listNoteFiles(folder());
    if (!entries)
        return;
    const QStringList files = m_watcher.files();
    const QSet<QString> watched(files.begin(), files.end());
    QStringList missing;
    for (const NoteFiles::Entry &entry : *entries) {
        const QString path = folder() + QLatin1Char('/') + entry.name;
        if (!watched.contains(path))
            missing << path;
    }
    if (!missing.isEmpty())
        m_watcher.addPaths(missing);
}

void QtFolderWatcher::onDirectoryChanged()
{
    // The directory's signal does not say which entry changed; new files need their own watches from now on.
    watchMarkdownFiles();
    Q_EMIT folderChanged();
}

void QtFolderWatcher::onFileChanged(const QString &path)
{
    const QString name = QFileInfo(path).fileName();
    // An atomic replace removed the watched inode; watch the new file under the same name.
    if (QFileInfo::exists(path) && !m_watcher.files().contains(path))
        m_watcher.addPath(path);
    Q_EMIT filesChanged({name});
}
