#include "cli/SearchCommand.h"

#include "cli/ConsoleArguments.h"
#include "cli/ConsoleWorkspace.h"
#include "core/Settings.h"
#include "search/NoteSearch.h"
#include "store/NoteController.h"
#include "store/NoteFiles.h"
#include "store/NoteStore.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <optional>

namespace SearchCommand {

namespace {

constexpr int found = 0;
constexpr int nothingFound = 1;
constexpr int usageError = ConsoleArguments::usageErrorStatus;

const QLatin1String hiddenMarker(" (hidden)");
const QLatin1String snippetIndent("    ");

// The notes as the search panel sees them: read once, with no window and no watching.
QList<NoteSearch::Candidate> candidatesIn(const QString &folder, const Settings &settings)
{
    NoteStore store(folder, settings);
    store.rescan();
    QList<NoteSearch::Candidate> candidates;
    for (const NoteController *controller : store.controllersByName()) {
        const Note &note = controller->note();
        candidates.append({note.filename, note.title(), note.body, note.meta.hidden});
    }
    return candidates;
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
        out << result.title;
        if (result.hidden)
            out << hiddenMarker;
        out << '\n';
        if (!result.snippet.isEmpty())
            out << snippetIndent << result.snippet << '\n';
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
    const std::optional<QString> folder = ConsoleWorkspace::folder(options.workspace, settings, err);
    if (!folder)
        return usageError;

    const QList<NoteSearch::Result> results
        = NoteSearch::search(options.words.first(), candidatesIn(*folder, settings));
    if (options.json)
        printJson(results, out);
    else
        printPlain(results, out);
    return results.isEmpty() ? nothingFound : found;
}

} // namespace SearchCommand
