#include "store/NoteFiles.h"

#include "store/AtomicFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QStringDecoder>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace NoteFiles {

namespace {

const QByteArray utf8ByteOrderMark("\xEF\xBB\xBF");

FileStamp stampFromStat(const struct stat &st)
{
    FileStamp stamp;
    stamp.size = qint64(st.st_size);
#ifdef Q_OS_DARWIN
    stamp.modifiedNs = qint64(st.st_mtimespec.tv_sec) * 1000000000 + st.st_mtimespec.tv_nsec;
    stamp.changedNs = qint64(st.st_ctimespec.tv_sec) * 1000000000 + st.st_ctimespec.tv_nsec;
#else
    stamp.modifiedNs = qint64(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    stamp.changedNs = qint64(st.st_ctim.tv_sec) * 1000000000 + st.st_ctim.tv_nsec;
#endif
    stamp.inode = quint64(st.st_ino);
    return stamp;
}

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

bool isNoteFileName(const QString &name)
{
    return name.size() > 3 && !name.startsWith(QLatin1Char('.'))
        && name.endsWith(QLatin1String(".md"), Qt::CaseInsensitive);
}

std::optional<std::vector<Entry>> listNoteFiles(
    const QString &folder, QString *error, std::vector<Skipped> *skipped, QStringList *temporaries)
{
    DIR *dir = ::opendir(QFile::encodeName(folder).constData());
    if (!dir) {
        if (error)
            *error = systemError(errno);
        return std::nullopt;
    }
    std::vector<Entry> entries;
    const int dirFd = ::dirfd(dir);
    int readError = 0;
    for (;;) {
        // readdir says "end" and "error" with the same null: only errno tells them apart, so it is cleared before
        // every call (a failed stat of a dangling link below would otherwise leave its error standing).
        errno = 0;
        const dirent *item = ::readdir(dir);
        if (!item) {
            readError = errno;
            break;
        }
        const QString name = QFile::decodeName(item->d_name);
        if (temporaries && AtomicFile::isTemporaryName(name))
            temporaries->append(name);
        if (!isNoteFileName(name))
            continue;
        // A name in another encoding than the system's (UTF-8) has no QString that opens it again: said as such,
        // not as the "No such file or directory" every later attempt to open it would get.
        if (QFile::encodeName(name) != QByteArrayView(item->d_name)) {
            if (skipped)
                skipped->push_back({name,
                    QCoreApplication::translate(
                        "NoteFiles", "its file name is not valid UTF-8; rename the file to use it")});
            continue;
        }
        struct stat st;
        // Follows symbolic links: a linked note file is a note like any other. A dangling or looping link, or an
        // entry that vanished meanwhile, is simply not a note file.
        if (::fstatat(dirFd, item->d_name, &st, 0) != 0) {
            if (skipped)
                skipped->push_back({name, systemError(errno)});
            continue;
        }
        if (!S_ISREG(st.st_mode))
            continue;
        entries.push_back({name, stampFromStat(st)});
    }
    ::closedir(dir);
    if (readError != 0) {
        if (error)
            *error = systemError(readError);
        return std::nullopt;
    }
    return entries;
}

std::optional<FolderIdentity> folderIdentity(const QString &path)
{
    struct stat st;
    if (::stat(QFile::encodeName(path).constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        return std::nullopt;
    return FolderIdentity {quint64(st.st_dev), quint64(st.st_ino)};
}

std::optional<FileStamp> stampOf(const QString &path)
{
    struct stat st;
    if (::stat(QFile::encodeName(path).constData(), &st) != 0 || !S_ISREG(st.st_mode))
        return std::nullopt;
    return stampFromStat(st);
}

QString normaliseLineEnds(QString text)
{
    if (text.contains(QLatin1Char('\r')))
        text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    return text;
}

ReadResult decodeText(const QByteArray &bytes)
{
    ReadResult result;
    // Stateless: the bytes are the whole file, so a sequence cut off at the end is an error. A stateful decoder
    // would keep it back for input that never comes, and the text would silently lose its last bytes.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError()) {
        result.status = ReadStatus::NotUtf8;
        result.error = QCoreApplication::translate("NoteFiles", "not valid UTF-8 text");
        return result;
    }
    result.status = ReadStatus::Ok;
    // The decoder drops a leading byte-order mark; the note remembers it so that saving puts it back.
    result.byteOrderMark = bytes.startsWith(utf8ByteOrderMark);
    result.text = normaliseLineEnds(std::move(text));
    return result;
}

QByteArray encodeText(const QString &text, bool byteOrderMark)
{
    return byteOrderMark ? utf8ByteOrderMark + text.toUtf8() : text.toUtf8();
}

ReadResult readText(const QString &path)
{
    ReadResult result;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        result.error = file.errorString();
        return result;
    }
    if (file.size() > maxNoteFileSize) {
        result.status = ReadStatus::TooLarge;
        result.error
            = QCoreApplication::translate("NoteFiles", "larger than %1 MB").arg(maxNoteFileSize / (1024 * 1024));
        return result;
    }
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        result.error = file.errorString();
        return result;
    }
    return decodeText(bytes);
}

bool writeReplacing(const QString &path, const QByteArray &data, QString *error)
{
    const AtomicFile::Outcome outcome = AtomicFile::write(path, data, AtomicFile::Mode::Replace);
    *error = outcome.error;
    return outcome.ok;
}

bool writeNew(const QString &path, const QByteArray &data, QString *error)
{
    const AtomicFile::Outcome outcome = AtomicFile::write(path, data, AtomicFile::Mode::CreateNew);
    if (!outcome.ok)
        *error = outcome.errorCode == EEXIST
            ? QCoreApplication::translate("NoteFiles", "a file named “%1” already exists")
                  .arg(QFileInfo(path).fileName())
            : outcome.error;
    return outcome.ok;
}

bool copyNew(const QString &source, const QString &target, QString *error)
{
    const AtomicFile::Outcome outcome = AtomicFile::copyNew(source, target);
    *error = outcome.error;
    return outcome.ok;
}

const QCollator &nameCollator()
{
    thread_local const QCollator collator = [] {
        // ICU ignores numeric mode for the C locale, which is what a bare console or a test runner has.
        QLocale locale;
        if (locale.language() == QLocale::C)
            locale = QLocale(QLocale::English, QLocale::UnitedStates);
        QCollator made(locale);
        made.setNumericMode(true);
        made.setCaseSensitivity(Qt::CaseInsensitive);
        return made;
    }();
    return collator;
}

void sortByName(QStringList &names)
{
    const QCollator &collator = nameCollator();
    std::vector<std::pair<QCollatorSortKey, QString>> keyed;
    keyed.reserve(names.size());
    for (const QString &name : std::as_const(names))
        keyed.emplace_back(collator.sortKey(name), name);
    // Names equal to the collator (differing in case only) keep a fixed order between them.
    std::stable_sort(keyed.begin(), keyed.end(), [](const auto &a, const auto &b) {
        const int order = a.first.compare(b.first);
        return order != 0 ? order < 0 : a.second < b.second;
    });
    for (qsizetype i = 0; i < names.size(); ++i)
        names[i] = keyed[size_t(i)].second;
}

} // namespace NoteFiles
