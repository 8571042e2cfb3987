#include "store/AtomicFile.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace AtomicFile {

namespace {

constexpr qsizetype maxNameBytes = 255;
const QLatin1String marker(".tackpad-");
constexpr int randomLength = 6;

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

Outcome failure(int error)
{
    Outcome outcome;
    outcome.error = systemError(error);
    outcome.errorCode = error;
    return outcome;
}

QByteArray encoded(const QString &path)
{
    return QFile::encodeName(path);
}

bool writeAll(int fd, const char *data, qsizetype size, int *error)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size_t(size));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            *error = errno;
            return false;
        }
        // A short write is how a filling disk shows itself first; the next call then says ENOSPC.
        data += written;
        size -= written;
    }
    return true;
}

bool syncToDisk(int fd, int *error)
{
#ifdef Q_OS_LINUX
    const int result = ::fdatasync(fd);
#else
    const int result = ::fsync(fd);
#endif
    if (result != 0) {
        *error = errno;
        return false;
    }
    return true;
}

// A temporary file opened for writing, locked while it is written, removed unless it was moved into place.
class Temporary {
public:
    explicit Temporary(const QString &target)
    {
        const QFileInfo info(target);
        const QString prefix = info.absolutePath() + QLatin1Char('/') + temporaryPrefix(info.fileName());
        static const char alphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
        for (int attempt = 0; attempt < 100; ++attempt) {
            QString candidate = prefix;
            for (int i = 0; i < randomLength; ++i)
                candidate += QLatin1Char(alphabet[QRandomGenerator::global()->bounded(int(sizeof alphabet - 1))]);
            // The permissions an ordinary program gives a new file (0666 less the umask).
            m_fd = ::open(encoded(candidate).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (m_fd >= 0) {
                m_path = candidate;
                // Held until the file is in place or gone: a scan that can take the lock knows the writer died.
                ::flock(m_fd, LOCK_EX);
                return;
            }
            if (errno != EEXIST) {
                m_error = errno;
                return;
            }
        }
        m_error = EEXIST;
    }
    ~Temporary()
    {
        if (!m_placed && !m_path.isEmpty())
            ::unlink(encoded(m_path).constData());
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Temporary(const Temporary &) = delete;
    Temporary &operator=(const Temporary &) = delete;

    bool isOpen() const { return m_fd >= 0; }
    int fd() const { return m_fd; }
    int openError() const { return m_error; }
    QString path() const { return m_path; }
    void placed() { m_placed = true; }
    // Closing reports errors that some file systems (NFS, FUSE) keep until then.
    bool close(int *error)
    {
        const int fd = m_fd;
        m_fd = -1;
        if (::close(fd) != 0 && errno != EINTR) {
            *error = errno;
            return false;
        }
        return true;
    }

private:
    QString m_path;
    int m_fd = -1;
    int m_error = 0;
    bool m_placed = false;
};

bool fill(Temporary &temporary, const QByteArray &data, int *error)
{
    return writeAll(temporary.fd(), data.constData(), data.size(), error) && syncToDisk(temporary.fd(), error);
}

// Moves the temporary file to `target` without ever replacing an existing file.
bool placeNew(Temporary &temporary, const QString &target, int *error)
{
    const QByteArray from = encoded(temporary.path());
    const QByteArray to = encoded(target);
#ifdef Q_OS_LINUX
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) {
        *error = errno;
        return false;
    }
#endif
    // A hard link fails with EEXIST when the name is taken, where a rename would replace.
    if (::link(from.constData(), to.constData()) == 0) {
        ::unlink(from.constData());
        return true;
    }
    if (errno != EPERM && errno != ENOTSUP && errno != EOPNOTSUPP) {
        *error = errno;
        return false;
    }
    // File systems without links (FAT): check, then rename; the gap between the two is as small as it gets.
    struct stat st;
    if (::lstat(to.constData(), &st) == 0) {
        *error = EEXIST;
        return false;
    }
    if (::rename(from.constData(), to.constData()) != 0) {
        *error = errno;
        return false;
    }
    return true;
}

std::optional<QByteArray> readAndRemove(const QString &path)
{
    QFile file(path);
    std::optional<QByteArray> bytes;
    if (file.open(QIODevice::ReadOnly))
        bytes = file.readAll();
    ::unlink(encoded(path).constData());
    return bytes;
}

// Moves the temporary file over `target`. Where the system can swap two names atomically, the old file comes
// back under the temporary name, so that a change another program made after the caller last read the file is
// never lost without anyone knowing.
// A target that existed when the write began and is gone now was deleted or renamed meanwhile (a slow disk makes
// that moment long): the text is not put back under the old name, which would bring a deleted note back or give a
// renamed one a twin. The write fails with ENOENT; the caller still has the text and can find where the file went.
bool placeReplacing(Temporary &temporary, const QString &target, bool existed, Outcome &outcome, int *error)
{
    const QByteArray from = encoded(temporary.path());
    const QByteArray to = encoded(target);
#ifdef Q_OS_LINUX
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_EXCHANGE) == 0) {
        temporary.placed();
        outcome.displaced = readAndRemove(temporary.path());
        return true;
    }
    if (errno != ENOENT && errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) {
        *error = errno;
        return false;
    }
#endif
    struct stat st;
    if (existed && ::lstat(to.constData(), &st) != 0 && errno == ENOENT) {
        *error = ENOENT;
        return false;
    }
    if (::rename(from.constData(), to.constData()) != 0) {
        *error = errno;
        return false;
    }
    temporary.placed();
    return true;
}

// The file that a replacing write goes to: the target of a symbolic link, so that a linked note stays linked.
QString resolvedTarget(const QString &path)
{
    const QFileInfo info(path);
    if (info.isSymLink()) {
        const QString canonical = info.canonicalFilePath();
        if (!canonical.isEmpty())
            return canonical;
    }
    return path;
}

// The mode bits only: a superuser may write anything, but a read-only mark is the user's "do not change this".
bool markedReadOnly(const struct stat &st)
{
    return !(st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH));
}

} // namespace

QString temporaryPrefix(const QString &fileName)
{
    const qsizetype room = maxNameBytes - 1 - marker.size() - randomLength;
    QString name = fileName;
    while (name.toUtf8().size() > room) {
        name.chop(1);
        if (!name.isEmpty() && name.back().isHighSurrogate())
            name.chop(1);
    }
    return QLatin1Char('.') + name + marker;
}

bool isTemporaryName(const QString &name)
{
    static const QRegularExpression pattern(QStringLiteral("^\\..+\\.tackpad-[A-Za-z0-9]{6}$"));
    return pattern.match(name).hasMatch();
}

QString targetOfTemporary(const QString &temporaryName)
{
    return temporaryName.mid(1, temporaryName.size() - 1 - marker.size() - randomLength);
}

bool isAbandoned(const QString &temporaryPath)
{
    const int fd = ::open(encoded(temporaryPath).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool free = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
    ::close(fd);
    return free;
}

Outcome write(const QString &path, const QByteArray &data, Mode mode)
{
    const QString target = mode == Mode::Replace ? resolvedTarget(path) : path;
    struct stat existing;
    const bool exists = ::lstat(encoded(target).constData(), &existing) == 0;
    if (mode == Mode::CreateNew && exists)
        return failure(EEXIST);
    if (mode == Mode::Replace && exists && !S_ISREG(existing.st_mode)) {
        // A folder (or anything else) took the file's place: it is not ours to replace.
        Outcome outcome;
        outcome.error
            = QCoreApplication::translate("AtomicFile", "“%1” is not a file").arg(QFileInfo(target).fileName());
        return outcome;
    }
    if (mode == Mode::Replace && exists && markedReadOnly(existing)) {
        Outcome outcome;
        outcome.error = QCoreApplication::translate("AtomicFile", "the file is read-only");
        return outcome;
    }
    Temporary temporary(target);
    if (!temporary.isOpen())
        return failure(temporary.openError());
    int error = 0;
    // The new file keeps the old one's permissions; the owner cannot be kept without privileges.
    if (mode == Mode::Replace && exists)
        ::fchmod(temporary.fd(), existing.st_mode & 07777);
    if (!fill(temporary, data, &error))
        return failure(error);
    Outcome outcome;
    if (mode == Mode::CreateNew) {
        if (!placeNew(temporary, target, &error))
            return failure(error);
        temporary.placed();
    } else if (!placeReplacing(temporary, target, exists, outcome, &error)) {
        return failure(error);
    }
    // Already in place and synced; a late error of close changes nothing the reader sees.
    temporary.close(&error);
    outcome.ok = true;
    return outcome;
}

Outcome copyNew(const QString &source, const QString &target)
{
    QFile input(source);
    if (!input.open(QIODevice::ReadOnly)) {
        Outcome outcome;
        outcome.error = input.errorString();
        return outcome;
    }
    struct stat st;
    if (::lstat(encoded(target).constData(), &st) == 0)
        return failure(EEXIST);
    Temporary temporary(target);
    if (!temporary.isOpen())
        return failure(temporary.openError());
    int error = 0;
    QByteArray chunk;
    while (!(chunk = input.read(1 << 20)).isEmpty()) {
        if (!writeAll(temporary.fd(), chunk.constData(), chunk.size(), &error))
            return failure(error);
    }
    if (input.error() != QFileDevice::NoError) {
        Outcome outcome;
        outcome.error = input.errorString();
        return outcome;
    }
    if (!syncToDisk(temporary.fd(), &error) || !placeNew(temporary, target, &error))
        return failure(error);
    temporary.placed();
    temporary.close(&error);
    Outcome outcome;
    outcome.ok = true;
    return outcome;
}

} // namespace AtomicFile
