#pragma once

#include "core/Settings.h"

#include <QObject>
#include <QStringList>

#include <functional>

// The user's workspaces: at most ten notes folders, in the user's order, kept as standardised absolute paths under
// "workspaces", together with the memory of folders whose import offer was declined. Pure bookkeeping on the
// settings; the application object shows the alerts and opens the folders.
class WorkspaceList : public QObject {
    Q_OBJECT

public:
    static constexpr int maxWorkspaces = 10;
    static constexpr int maxDeclinedFolders = 50;

    enum class Opened { NotAdded, Added, AddedSecond };
    enum class Availability { Available, Unavailable, Removed };

    // How the file system is asked; tests replace these to stand for unplugged disks.
    struct FileSystem {
        std::function<bool(const QString &path)> isDirectory;
        // True when `mountPoint` is a mounted volume's root.
        std::function<bool(const QString &mountPoint)> isMounted;
    };
    static FileSystem realFileSystem();

    explicit WorkspaceList(Settings settings, QObject *parent = nullptr);
    WorkspaceList(Settings settings, FileSystem fileSystem, QObject *parent = nullptr);

    // A folder path as it is listed and compared: absolute, cleaned, no trailing slash.
    static QString standardisedPath(const QString &path);

    QStringList paths() const;
    // The list as stored in `settings`, cleaned: absolute, standardised, each folder once, at most ten.
    static QStringList readPaths(const Settings &settings);
    // Keeps the first ten, forgets the import refusals of folders that left the list, writes it.
    void setPaths(const QStringList &paths);
    // Adds an opened folder unless automatic adding is off, it is listed already or the list is full.
    // AddedSecond means the list just reached two entries (time for the one-time tip).
    Opened noteWorkspaceOpened(const QString &path);
    bool autoAddEnabled() const;
    void setAutoAddEnabled(bool enabled);

    // A folder whose removable disk is not mounted (macOS /Volumes/NAME, Linux /media/USER/NAME or
    // /run/media/USER/NAME) stays listed; one deleted from a mounted disk is gone.
    bool isOfflineVolume(const QString &path) const;
    Availability availability(const QString &path) const;
    // Drops the listed folders that no longer exist (but not those on an unplugged disk). True if any was dropped.
    bool pruneDeadWorkspaces();
    // The index of `path` in the list, or -1.
    int indexOf(const QString &path) const;

    bool importOfferDeclined(const QString &path) const;
    void recordImportOfferDeclined(const QString &path);
    void clearImportDecline(const QStringList &paths);

    // The informative text of the bulk-import offer for `count` files; the caution grows with the count.
    static QString bulkImportOfferText(int count);

Q_SIGNALS:
    void changed();

private:
    static std::optional<QString> removableMountPoint(const QString &path);

    Settings m_settings;
    FileSystem m_fileSystem;
};
