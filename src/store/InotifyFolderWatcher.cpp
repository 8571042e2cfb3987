#include "store/InotifyFolderWatcher.h"

#include <QFile>
#include <QHash>
#include <QSet>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>

#include <sys/inotify.h>
#include <unistd.h>

namespace {

// What changes a note file's text or its presence. IN_ATTRIB is included because a permission change can make an
// unreadable file readable (and a full rescan would then pick it up too).
constexpr uint32_t fileEvents
    = IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
// Events about the watched folder itself: after these the file names say nothing reliable.
constexpr uint32_t selfEvents = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED | IN_Q_OVERFLOW;

} // namespace

InotifyFolderWatcher::InotifyFolderWatcher(const QString &folder)
    : FolderWatcher(folder)
{
}

InotifyFolderWatcher::~InotifyFolderWatcher()
{
    stop();
}

bool InotifyFolderWatcher::start(QString *error)
{
    stop();
    m_fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_fd < 0) {
        *error = QString::fromLocal8Bit(std::strerror(errno));
        return false;
    }
    m_watch = ::inotify_add_watch(
        m_fd, QFile::encodeName(folder()).constData(), fileEvents | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR);
    if (m_watch < 0) {
        *error = QString::fromLocal8Bit(std::strerror(errno));
        stop();
        return false;
    }
    m_notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &InotifyFolderWatcher::readEvents);
    return true;
}

bool InotifyFolderWatcher::isActive() const
{
    return m_watch >= 0;
}

void InotifyFolderWatcher::stop()
{
    delete m_notifier;
    m_notifier = nullptr;
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    m_watch = -1;
    m_movedFrom.clear();
}

void InotifyFolderWatcher::readEvents()
{
    alignas(inotify_event) char buffer[64 * 1024];
    QSet<QString> names;
    QList<std::pair<QString, QString>> moves;
    bool wholeFolder = false;
    bool watchGone = false;
    // A few buffers at a time: while a checkout writes thousands of files the queue refills as fast as it is read,
    // and the event loop must turn in between. The notifier fires again for the rest.
    for (int reads = 0; reads < 4; ++reads) {
        const ssize_t length = ::read(m_fd, buffer, sizeof buffer);
        if (length <= 0) {
            // EAGAIN: the queue is empty. A half of a rename still without its partner was a move into or out of
            // the folder.
            m_movedFrom.clear();
            break;
        }
        for (ssize_t offset = 0; offset < length;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + offset);
            offset += ssize_t(sizeof(inotify_event) + event->len);
            if (event->mask & selfEvents) {
                wholeFolder = true;
                watchGone = watchGone || (event->mask & IN_IGNORED);
            } else if (event->len > 0) {
                const QString name = QFile::decodeName(event->name);
                names.insert(name);
                if (event->mask & IN_MOVED_FROM)
                    m_movedFrom.insert(event->cookie, name);
                else if ((event->mask & IN_MOVED_TO) && m_movedFrom.contains(event->cookie))
                    moves.append({m_movedFrom.take(event->cookie), name});
            }
        }
    }
    if (watchGone) {
        // The kernel dropped the watch (folder deleted or unmounted); nothing more will arrive on this descriptor.
        stop();
    }
    for (const auto &[from, to] : std::as_const(moves))
        Q_EMIT fileMoved(from, to);
    if (wholeFolder)
        Q_EMIT folderChanged();
    else if (!names.isEmpty())
        Q_EMIT filesChanged(QStringList(names.begin(), names.end()));
}
