#pragma once

#include "store/FolderWatcher.h"

#include <QHash>

class QSocketNotifier;

// One inotify watch on the folder, read through a QSocketNotifier. Every event names its file, so one save in a
// folder of thousands of notes costs one file read, and in-place appends are seen (IN_MODIFY, IN_CLOSE_WRITE).
class InotifyFolderWatcher : public FolderWatcher {
    Q_OBJECT
public:
    explicit InotifyFolderWatcher(const QString &folder);
    ~InotifyFolderWatcher() override;

    bool start(QString *error) override;
    bool isActive() const override;

private:
    void readEvents();
    void stop();

    int m_fd = -1;
    int m_watch = -1;
    QSocketNotifier *m_notifier = nullptr;
    // The two halves of a rename share a cookie; the first half waits here for the second.
    QHash<uint32_t, QString> m_movedFrom;
};
