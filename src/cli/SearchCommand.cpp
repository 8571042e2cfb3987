#include "cli/SearchCommand.h"

#include "cli/ConsoleArguments.h"
#include "cli/ConsoleWorkspace.h"
#include "cli/TerminalText.h"
#include "core/Settings.h"
#include "notes/Frontmatter.h"
#include "notes/Note.h"
#include "search/NoteSearch.h"
#include "store/NoteFiles.h"
#include "store/StoreLog.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopeGuard>
#include <QSet>
#include <QTextStream>

#include <algorithm>
#include <atomic>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace SearchCommand {

namespace {

constexpr int found = 0;
constexpr int nothingFound = 1;
constexpr int usageError = ConsoleArguments::usageErrorStatus;

const QLatin1String hiddenMarker(" (hidden)");
const QLatin1String snippetIndent("    ");

// Candidates are searched a batch at a time and only the notes that hold the query are kept, so that a large
// workspace never sits in memory whole.
constexpr qsizetype batchSize = 256;

// The text of a note file, read as NoteFiles::readText reads it but with the fewest system calls (open, fstat, one
// read, close): over a large workspace those calls, not the search, are most of the command's cost. Anything out
// of the ordinary (an error, a file too large, one that changed size while read) goes through readText, whose
// outcome and messages are the store's.
NoteFiles::ReadResult readNoteText(int folderFd, const QString &folder, const QString &name)
{
    const auto usual = [&] { return NoteFiles::readText(folder + QLatin1Char('/') + name); };
    const int fd = ::openat(folderFd, QFile::encodeName(name).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return usual();
    const auto closing = qScopeGuard([fd] { ::close(fd); });
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size > NoteFiles::maxNoteFileSize)
        return usual();
    // One byte more than the size: a read that fills it means the file grew.
    QByteArray bytes(qsizetype(st.st_size) + 1, Qt::Uninitialized);
    const ssize_t got = ::read(fd, bytes.data(), size_t(bytes.size()));
    if (got != st.st_size)
        return usual();
    bytes.truncate(qsizetype(got));
    return NoteFiles::decodeText(bytes);
}

// What one batch of note files leaves: the notes that hold the query, and the messages for files that could not be
// read, both in name order.
struct Sifted {
    QList<NoteSearch::Candidate> kept;
    QStringList messages;
};

// Reads, parses and searches one batch of names. A note's result depends on that note alone, so what the search
// drops from a batch it would drop from the whole list. Runs on several threads at once: it touches nothing shared.
Sifted sift(int folderFd, const QString &folder, std::span<const QString> names, const QString &query)
{
    const bool listsEverything = query.trimmed().isEmpty();
    Sifted out;
    QList<NoteSearch::Candidate> batch;
    for (const QString &name : names) {
        const NoteFiles::ReadResult read = readNoteText(folderFd, folder, name);
        if (read.status != NoteFiles::ReadStatus::Ok) {
            out.messages << QStringLiteral("TackPad: skipped %1: %2").arg(name, read.error);
            continue;
        }
        Frontmatter::Parsed parsed = Frontmatter::parse(read.text);
        if (!parsed.hadMeta)
            continue;
        QString body = std::move(parsed.body);
        // A blank query shows each note's first non-blank line, which is also the first such line of itself.
        if (listsEverything)
            body = NoteSearch::firstLine(body);
        batch.append({name, Note::titleOf(name), std::move(body), parsed.meta.hidden});
    }
    if (listsEverything) {
        out.kept = std::move(batch);
        return out;
    }
    QSet<QString> keys;
    for (const NoteSearch::Result &result : NoteSearch::search(query, batch))
        keys.insert(result.key);
    for (NoteSearch::Candidate &candidate : batch) {
        if (keys.contains(candidate.key))
            out.kept.append(std::move(candidate));
    }
    return out;
}

// The notes that can be among the results, in name order, each read once: the files the app's scan would take for
// notes (those whose front matter has the property line), with unreadable ones named as the scan names them. No
// store, no controllers and no watching: building all that for every note cost ten times the search itself, and a
// search changes nothing in the folder. Batches are read on every core: most of the time is spent waiting for
// the file system, and a large workspace never sits in memory whole.
QList<NoteSearch::Candidate> candidatesIn(const QString &folder, std::vector<NoteFiles::Entry> entries,
    const std::vector<NoteFiles::Skipped> &skipped, const QString &query)
{
    for (const NoteFiles::Skipped &entry : skipped)
        qCWarning(lcStore).noquote() << QStringLiteral("TackPad: skipped %1: %2").arg(entry.name, entry.reason);
    QStringList names;
    names.reserve(qsizetype(entries.size()));
    for (const NoteFiles::Entry &entry : entries)
        names << entry.name;
    entries.clear();
    NoteFiles::sortByName(names);
    const int folderFd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const auto closing = qScopeGuard([folderFd] {
        if (folderFd >= 0)
            ::close(folderFd);
    });

    const qsizetype batches = (names.size() + batchSize - 1) / batchSize;
    std::vector<Sifted> sifted(static_cast<size_t>(batches));
    std::atomic<qsizetype> next {0};
    const auto work = [&] {
        for (qsizetype i = next++; i < batches; i = next++) {
            const qsizetype begin = i * batchSize;
            const std::span<const QString> batch(names.constData() + begin, std::min(batchSize, names.size() - begin));
            sifted[size_t(i)] = sift(folderFd, folder, batch, query);
        }
    };
    {
        const qsizetype threads = std::min<qsizetype>(batches, std::clamp(std::thread::hardware_concurrency(), 1u, 4u));
        std::vector<std::jthread> helpers;
        for (qsizetype t = 1; t < threads; ++t)
            helpers.emplace_back(work);
        work();
    }
    QList<NoteSearch::Candidate> kept;
    for (Sifted &batch : sifted) {
        for (const QString &message : std::as_const(batch.messages))
            qCWarning(lcStore).noquote() << message;
        kept.append(std::move(batch.kept));
    }
    return kept;
}

void printJson(const QList<NoteSearch::Result> &results, QTextStream &out)
{
    QJsonArray array;
    for (const NoteSearch::Result &result : results) {
        array.append(QJsonObject {
            {QStringLiteral("file"), result.key},
            {QStringLiteral("title"), result.title},
            {QStringLiteral("snippet"), result.snippet},
            {QStringLiteral("hidden"), result.hidden},
            {QStringLiteral("titleMatch"), result.titleMatch},
        });
    }
    QByteArray json = QJsonDocument(array).toJson(QJsonDocument::Indented);
    if (!json.endsWith('\n'))
        json += '\n';
    out << json;
}

void printPlain(const QList<NoteSearch::Result> &results, QTextStream &out)
{
    for (const NoteSearch::Result &result : results) {
        out << TerminalText::escaped(result.title);
        if (result.hidden)
            out << hiddenMarker;
        out << '\n';
        if (!result.snippet.isEmpty())
            out << snippetIndent << TerminalText::escaped(result.snippet) << '\n';
    }
}

} // namespace

int run(const QStringList &args, QTextStream &out, QTextStream &err)
{
    return run(args, out, err, Settings());
}

int run(const QStringList &args, QTextStream &out, QTextStream &err, const Settings &settings)
{
    const ConsoleArguments options = ConsoleArguments::ofCommand(QStringLiteral("search"), args);
    if (const std::optional<int> status = options.answer(out, err))
        return *status;
    std::vector<NoteFiles::Entry> entries;
    std::vector<NoteFiles::Skipped> skipped;
    const std::optional<QString> folder
        = ConsoleWorkspace::folder(options.workspace, settings, err, &entries, &skipped);
    if (!folder)
        return usageError;

    const QString &query = options.words.first();
    const QList<NoteSearch::Result> results
        = NoteSearch::search(query, candidatesIn(*folder, std::move(entries), skipped, query));
    if (options.json)
        printJson(results, out);
    else
        printPlain(results, out);
    return results.isEmpty() ? nothingFound : found;
}

} // namespace SearchCommand
