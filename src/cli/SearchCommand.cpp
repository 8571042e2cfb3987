#include "cli/SearchCommand.h"

#include "cli/ConsoleArguments.h"
#include "cli/ConsoleWorkspace.h"
#include "cli/SearchFiles.h"
#include "cli/TerminalText.h"
#include "core/Settings.h"
#include "notes/Frontmatter.h"
#include "notes/Note.h"
#include "search/NoteSearch.h"
#include "search/RawTextFilter.h"
#include "store/NoteFiles.h"
#include "store/StoreLog.h"

#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopeGuard>
#include <QSet>
#include <QTextStream>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include <fcntl.h>
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

// What tells, before a note is decoded, that it cannot be among the results: its body cannot hold the query and its
// title does not match it. Files that are not valid UTF-8 are never passed over, so that they are named as skipped.
class Prefilter {
public:
    Prefilter(
        const std::optional<RawTextFilter> &body, const QString &query, const std::vector<SearchFiles::NoteFile> &files)
        : m_body(body)
    {
        if (!m_body)
            return;
        QList<NoteSearch::Candidate> titles;
        titles.reserve(qsizetype(files.size()));
        for (const SearchFiles::NoteFile &file : files)
            titles.append({file.name, Note::titleOf(file.name), QString(), false});
        for (const NoteSearch::Result &result : NoteSearch::search(query, titles))
            m_titleMatches.insert(result.key);
    }

    bool passesOver(const QString &name, const QByteArray &bytes) const
    {
        return m_body && !m_titleMatches.contains(name) && bytes.isValidUtf8() && !m_body->mayHold(bytes);
    }

private:
    const std::optional<RawTextFilter> &m_body;
    QSet<QString> m_titleMatches; // the names whose title holds the query
};

struct Message {
    QString name;
    QString text;
};

// What one batch of listed files leaves: the notes that hold the query, the listing's messages (entries that are no
// note files after all, in the folder's order) and the messages for files that could not be read.
struct Sifted {
    QList<NoteSearch::Candidate> kept;
    QStringList listingMessages;
    std::vector<Message> readMessages;
};

QString skippedMessage(const QString &name, const QString &reason)
{
    return QStringLiteral("TackPad: skipped %1: %2").arg(name, reason);
}

// The text of a listed file, read as NoteFiles::readText reads it; nothing for a file that needs no decoding because
// the prefilter passes over it, or that the listing would have left out (with its message, if any, in `out`).
std::optional<NoteFiles::ReadResult> readText(int folderFd, const QString &folder, const SearchFiles::NoteFile &file,
    const Prefilter &prefilter, QByteArray &bytes, Sifted &out)
{
    const SearchFiles::ReadBytes read = SearchFiles::read(folderFd, file, bytes);
    switch (read.outcome) {
    case SearchFiles::Outcome::Read:
        if (prefilter.passesOver(file.name, bytes))
            return std::nullopt;
        return NoteFiles::decodeText(bytes);
    case SearchFiles::Outcome::NotNote:
        if (!read.skipped.isEmpty())
            out.listingMessages << skippedMessage(file.name, read.skipped);
        return std::nullopt;
    case SearchFiles::Outcome::Unusual:
        break;
    }
    return NoteFiles::readText(folder + QLatin1Char('/') + file.name);
}

// The note files among a batch of entries, as the store's listing takes them; the messages of those it leaves out
// go to `out`.
std::vector<SearchFiles::NoteFile> noteFilesOf(int folderFd, std::span<const SearchFiles::Entry> entries, Sifted &out)
{
    std::vector<SearchFiles::NoteFile> files;
    files.reserve(entries.size());
    for (const SearchFiles::Entry &entry : entries) {
        std::optional<SearchFiles::NoteFile> file = SearchFiles::resolve(folderFd, entry);
        if (!file)
            continue;
        if (!file->skipped.isEmpty())
            out.listingMessages << skippedMessage(file->name, file->skipped);
        else
            files.push_back(std::move(*file));
    }
    return files;
}

// Lists, reads, parses and searches one batch of entries. A note's result depends on that note alone, so what the
// search drops from a batch it would drop from the whole list. Runs on several threads at once: it only reads what
// they share.
Sifted sift(int folderFd, const QString &folder, std::span<const SearchFiles::Entry> entries, const QString &query,
    const std::optional<RawTextFilter> &bodyFilter)
{
    const bool listsEverything = query.trimmed().isEmpty();
    Sifted out;
    const std::vector<SearchFiles::NoteFile> files = noteFilesOf(folderFd, entries, out);
    const Prefilter prefilter(bodyFilter, query, files);
    QList<NoteSearch::Candidate> batch;
    QByteArray bytes;
    for (const SearchFiles::NoteFile &file : files) {
        const std::optional<NoteFiles::ReadResult> read = readText(folderFd, folder, file, prefilter, bytes, out);
        if (!read)
            continue;
        if (read->status != NoteFiles::ReadStatus::Ok) {
            out.readMessages.push_back({file.name, skippedMessage(file.name, read->error)});
            continue;
        }
        Frontmatter::Parsed parsed = Frontmatter::parse(read->text);
        if (!parsed.hadMeta)
            continue;
        QString body = std::move(parsed.body);
        // A blank query shows each note's first non-blank line, which is also the first such line of itself.
        if (listsEverything)
            body = NoteSearch::firstLine(body);
        batch.append({file.name, Note::titleOf(file.name), std::move(body), parsed.meta.hidden});
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

// Items in the name order of NoteFiles::sortByName. Only what is kept is sorted: ordering every name of a large
// workspace with the collator cost more than searching it. The order is total (names the collator takes for equal
// are ordered by their code units), so sorting a part gives the order the whole would have.
template<typename Item> void sortByName(std::vector<Item> &items, QString Item::*name)
{
    QStringList names;
    names.reserve(qsizetype(items.size()));
    QHash<QString, qsizetype> at;
    for (qsizetype i = 0; i < qsizetype(items.size()); ++i) {
        names << items[size_t(i)].*name;
        at.insert(items[size_t(i)].*name, i);
    }
    NoteFiles::sortByName(names);
    std::vector<Item> sorted;
    sorted.reserve(items.size());
    for (const QString &each : std::as_const(names))
        sorted.push_back(std::move(items[size_t(at.value(each))]));
    items = std::move(sorted);
}

// The notes that can be among the results, in name order, each read once: the files the app's scan would take for
// notes (those whose front matter has the property line), with the files it leaves out named as the scan names them.
// No store, no controllers and no watching: building all that for every note cost ten times the search itself, and a
// search changes nothing in the folder. Batches are read on every core: most of the time is spent waiting for the
// file system, and a large workspace never sits in memory whole.
QList<NoteSearch::Candidate> candidatesIn(
    const QString &folder, const std::vector<SearchFiles::Entry> &entries, const QString &query)
{
    const int folderFd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const auto closing = qScopeGuard([folderFd] {
        if (folderFd >= 0)
            ::close(folderFd);
    });

    const std::optional<RawTextFilter> bodyFilter = RawTextFilter::forQuery(query);
    const qsizetype count = qsizetype(entries.size());
    const qsizetype batches = (count + batchSize - 1) / batchSize;
    std::vector<Sifted> sifted(static_cast<size_t>(batches));
    std::atomic<qsizetype> next {0};
    const auto work = [&] {
        for (qsizetype i = next++; i < batches; i = next++) {
            const qsizetype begin = i * batchSize;
            const std::span<const SearchFiles::Entry> batch(entries.data() + begin, std::min(batchSize, count - begin));
            sifted[size_t(i)] = sift(folderFd, folder, batch, query, bodyFilter);
        }
    };
    {
        const qsizetype threads = std::min<qsizetype>(batches, std::clamp(std::thread::hardware_concurrency(), 1u, 4u));
        std::vector<std::jthread> helpers;
        for (qsizetype t = 1; t < threads; ++t)
            helpers.emplace_back(work);
        work();
    }
    std::vector<Message> readMessages;
    std::vector<NoteSearch::Candidate> kept;
    for (Sifted &batch : sifted) {
        for (const QString &message : std::as_const(batch.listingMessages))
            qCWarning(lcStore).noquote() << message;
        std::move(batch.readMessages.begin(), batch.readMessages.end(), std::back_inserter(readMessages));
        std::move(batch.kept.begin(), batch.kept.end(), std::back_inserter(kept));
    }
    sortByName(readMessages, &Message::name);
    for (const Message &message : readMessages)
        qCWarning(lcStore).noquote() << message.text;
    sortByName(kept, &NoteSearch::Candidate::key);
    return QList<NoteSearch::Candidate>(std::make_move_iterator(kept.begin()), std::make_move_iterator(kept.end()));
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
    const std::optional<QString> folder = ConsoleWorkspace::location(options.workspace, settings, err);
    if (!folder)
        return usageError;
    QString error;
    const std::optional<std::vector<SearchFiles::Entry>> entries = SearchFiles::list(*folder, &error);
    if (!entries) {
        err << ConsoleWorkspace::unreadableMessage(*folder, error) << '\n';
        return usageError;
    }

    const QString &query = options.words.first();
    const QList<NoteSearch::Result> results = NoteSearch::search(query, candidatesIn(*folder, *entries, query));
    if (options.json)
        printJson(results, out);
    else
        printPlain(results, out);
    return results.isEmpty() ? nothingFound : found;
}

} // namespace SearchCommand
