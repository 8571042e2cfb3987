#include "cli/SearchFiles.h"

#include "store/NoteFiles.h"

#include <QFile>
#include <QScopeGuard>

#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace SearchFiles {

namespace {

// A read call asks for at least this much: a note of a few kilobytes takes one call, and one more to see the end.
constexpr qsizetype readChunk = 64 * 1024;

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// What the listing's stat says of a name: nothing for a regular file, else why it is left out (empty when it is
// simply no file).
std::optional<QString> statProblem(int folderFd, const char *name)
{
    struct stat st;
    // Follows symbolic links, as the listing does: a linked note file is a note like any other.
    if (::fstatat(folderFd, name, &st, 0) != 0)
        return systemError(errno);
    if (!S_ISREG(st.st_mode))
        return QString();
    return std::nullopt;
}

} // namespace

std::optional<std::vector<Listed>> list(const QString &folder, QString *error)
{
    DIR *dir = ::opendir(QFile::encodeName(folder).constData());
    if (!dir) {
        *error = systemError(errno);
        return std::nullopt;
    }
    const auto closing = qScopeGuard([dir] { ::closedir(dir); });
    std::vector<Listed> entries;
    for (;;) {
        // readdir says "end" and "error" with the same null: only errno tells them apart.
        errno = 0;
        const dirent *item = ::readdir(dir);
        if (!item) {
            if (errno != 0) {
                *error = systemError(errno);
                return std::nullopt;
            }
            return entries;
        }
        const QString name = QFile::decodeName(item->d_name);
        if (!NoteFiles::isNoteFileName(name))
            continue;
        // A name in another encoding than the system's (UTF-8) has no QString that opens it again.
        if (QFile::encodeName(name) != QByteArrayView(item->d_name)) {
            entries.push_back({name, QStringLiteral("its file name is not valid UTF-8; rename the file to use it")});
            continue;
        }
        if (item->d_type == DT_REG) {
            entries.push_back({name, QString()});
            continue;
        }
        // A link is followed; a file system that tells no types is asked per file.
        if (item->d_type != DT_LNK && item->d_type != DT_UNKNOWN)
            continue;
        const std::optional<QString> problem = statProblem(::dirfd(dir), item->d_name);
        if (!problem)
            entries.push_back({name, QString(), true});
        else if (!problem->isEmpty())
            entries.push_back({name, *problem});
    }
}

ReadBytes read(int folderFd, const Listed &file, QByteArray &buffer)
{
    const QByteArray name = QFile::encodeName(file.name);
    // Non-blocking, so that a file replaced by a pipe since the listing cannot hold the search up.
    const int fd = ::openat(folderFd, name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        // The listing's stat, skipped for a file the folder said was regular, tells what the listing would have.
        if (const std::optional<QString> problem
            = file.typeFromStat ? std::nullopt : statProblem(folderFd, name.constData()))
            return {Outcome::NotNote, *problem};
        return {};
    }
    const auto closing = qScopeGuard([fd] { ::close(fd); });
    qsizetype size = 0;
    for (;;) {
        if (buffer.size() < size + readChunk)
            buffer.resize(size + readChunk);
        const ssize_t got = ::read(fd, buffer.data() + size, size_t(buffer.size() - size));
        if (got < 0)
            return {};
        if (got == 0)
            break;
        size += got;
        if (size > NoteFiles::maxNoteFileSize)
            return {};
    }
    buffer.truncate(size);
    return {Outcome::Read, QString()};
}

} // namespace SearchFiles
