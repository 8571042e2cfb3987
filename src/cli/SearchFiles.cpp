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

std::optional<std::vector<Entry>> list(const QString &folder, QString *error)
{
    DIR *dir = ::opendir(QFile::encodeName(folder).constData());
    if (!dir) {
        *error = systemError(errno);
        return std::nullopt;
    }
    const auto closing = qScopeGuard([dir] { ::closedir(dir); });
    std::vector<Entry> entries;
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
        // Every note file name ends so: no other character folds to an ASCII 'm' or 'd'.
        const QByteArrayView name(item->d_name);
        if (!name.endsWith(".md") && !name.endsWith(".MD") && !name.endsWith(".Md") && !name.endsWith(".mD"))
            continue;
        // A link is followed; a file system that tells no types is asked per file.
        if (item->d_type == DT_REG || item->d_type == DT_LNK || item->d_type == DT_UNKNOWN)
            entries.push_back({name.toByteArray(), item->d_type == DT_REG});
    }
}

std::optional<NoteFile> resolve(int folderFd, Entry entry)
{
    NoteFile file {QFile::decodeName(entry.name), std::move(entry.name), QString()};
    if (!NoteFiles::isNoteFileName(file.name))
        return std::nullopt;
    // A name in another encoding than the system's (UTF-8) has no QString that opens it again.
    if (QFile::encodeName(file.name) != file.encodedName) {
        file.skipped = QStringLiteral("its file name is not valid UTF-8; rename the file to use it");
        return file;
    }
    if (entry.regular)
        return file;
    const std::optional<QString> problem = statProblem(folderFd, file.encodedName.constData());
    if (problem && problem->isEmpty())
        return std::nullopt;
    file.skipped = problem.value_or(QString());
    file.typeFromStat = true;
    return file;
}

ReadBytes read(int folderFd, const NoteFile &file, QByteArray &buffer)
{
    const QByteArray &name = file.encodedName;
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
