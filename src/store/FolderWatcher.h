#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

// Watches one workspace folder and says what changed: either the files it can name, or "something, look at
// everything" (the folder itself moved or deleted, events lost, or a mechanism that cannot name files).
class FolderWatcher : public QObject {
    Q_OBJECT
public:
    enum class Kind { Native, Portable };

    // The best mechanism of the platform: inotify on Linux, QFileSystemWatcher elsewhere. `kind` Portable asks
    // for QFileSystemWatcher everywhere.
    static std::unique_ptr<FolderWatcher> create(const QString &folder, Kind kind = Kind::Native);

    ~FolderWatcher() override;

    // Starts watching; on failure returns false and says why in `error`.
    virtual bool start(QString *error) = 0;
    // False once the watch has gone (the folder deleted or unmounted); `start` may then be tried again.
    virtual bool isActive() const = 0;

    QString folder() const { return m_folder; }

Q_SIGNALS:
    // Direct entries of the folder that were created, written, renamed or deleted (names only, no paths).
    void filesChanged(const QStringList &names);
    // A direct entry was renamed within the folder (both names are also among the next filesChanged names).
    void fileMoved(const QString &from, const QString &to);
    // Anything else: the folder itself changed, or events were lost. Only a full rescan is reliable.
    void folderChanged();

protected:
    explicit FolderWatcher(const QString &folder);

private:
    QString m_folder;
};
