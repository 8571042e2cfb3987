#pragma once

// Real faults for the store's tests: a small file system that fills up, and a write made under a file-size limit
// in a child process. No mocks: the kernel says ENOSPC and EFBIG exactly as it does to users.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <functional>

#include <csignal>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace FaultTest {

// A tmpfs of `kilobytes` mounted on a temporary folder for the life of the object, where mounting is permitted.
class SmallDisk {
public:
    explicit SmallDisk(int kilobytes)
    {
        const QByteArray options = "size=" + QByteArray::number(kilobytes) + "k";
        m_mounted = m_dir.isValid()
            && ::mount("tmpfs", QFile::encodeName(m_dir.path()).constData(), "tmpfs", 0, options.constData()) == 0;
    }
    ~SmallDisk()
    {
        if (m_mounted)
            ::umount2(QFile::encodeName(m_dir.path()).constData(), MNT_DETACH);
    }

    bool mounted() const { return m_mounted; }
    QString path() const { return m_dir.path(); }

    // Fills the disk to the last byte with a file of its own; removing that file frees the space again.
    void fill()
    {
        QFile filler(m_dir.filePath(QStringLiteral(".filler")));
        if (!filler.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered))
            return;
        const QByteArray block(1024, 'f');
        while (filler.write(block) == block.size()) { }
        const QByteArray byte(1, 'f');
        while (filler.write(byte) == 1) { }
    }
    void free() { QFile::remove(m_dir.filePath(QStringLiteral(".filler"))); }

private:
    QTemporaryDir m_dir;
    bool m_mounted = false;
};

// Runs `work` in a child process whose files may not grow beyond `bytes` (writes past it fail with EFBIG instead
// of killing the process); returns the child's exit status, or -1 when it did not exit normally.
inline int runWithFileSizeLimit(qint64 bytes, const std::function<int()> &work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit {rlim_t(bytes), rlim_t(bytes)};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::_exit(work());
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

} // namespace FaultTest
