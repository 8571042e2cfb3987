#include "cli/SearchCommand.h"

#include "cli/ConsoleWorkspace.h"
#include "core/Settings.h"
#include "search/NoteSearch.h"
#include "store/NoteController.h"
#include "store/NoteFiles.h"
#include "store/NoteStore.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <optional>

namespace SearchCommand {

namespace {

constexpr int found = 0;
constexpr int nothingFound = 1;
constexpr int usageError = 2;

const QLatin1String hiddenMarker(" (hidden)");
const QLatin1String snippetIndent("    ");

struct Options {
    std::optional<QString> workspace;
    bool json = false;
    QStringList positional;
};

// "--workspace DIR", "--workspace=DIR" and "--json" in any order around the query; "--" ends the options, so that
// a query may itself start with a dash.
std::optional<Options> parse(const QStringList &args, QTextStream &err)
{
    Options options;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &word = args.at(i);
        if (optionsEnded || word == QLatin1String("-") || !word.startsWith(QLatin1Char('-'))) {
            options.positional << word;
        } else if (word == QLatin1String("--")) {
            optionsEnded = true;
        } else if (word == QLatin1String("--json")) {
            options.json = true;
        } else if (word == QLatin1String("--workspace")) {
            if (i + 1 == args.size()) {
                err << "tackpad: --workspace needs a value\n";
                return std::nullopt;
            }
            options.workspace = args.at(++i);
        } else if (word.startsWith(QLatin1String("--workspace="))) {
            options.workspace = word.mid(qsizetype(sizeof("--workspace=") - 1));
        } else {
            err << "tackpad: unknown option '" << word << "' for search\n";
            return std::nullopt;
        }
    }
    if (options.positional.size() != 1) {
        if (options.positional.isEmpty())
            err << "tackpad: search needs a QUERY\n";
        else
            err << "tackpad: search takes one QUERY (quote it), got " << options.positional.size() << " words\n";
        return std::nullopt;
    }
    return options;
}

std::optional<QString> workspaceFolder(const Options &options, const Settings &settings, QTextStream &err)
{
    return ConsoleWorkspace::folder(options.workspace, settings, err);
}

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
    const std::optional<Options> options = parse(args, err);
    if (!options) {
        err << "Run 'tackpad --help' for usage.\n";
        return usageError;
    }
    const std::optional<QString> folder = workspaceFolder(*options, settings, err);
    if (!folder)
        return usageError;

    const QList<NoteSearch::Result> results
        = NoteSearch::search(options->positional.first(), candidatesIn(*folder, settings));
    if (options->json)
        printJson(results, out);
    else
        printPlain(results, out);
    return results.isEmpty() ? nothingFound : found;
}

} // namespace SearchCommand
