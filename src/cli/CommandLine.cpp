#include "cli/CommandLine.h"

#include "core/Alerts.h"
#include "core/AppInfo.h"
#include "cli/ApplyCommand.h"
#include "cli/SearchCommand.h"
#include "cli/ConsoleWorkspace.h"
#include "core/Settings.h"
#include "store/NoteController.h"
#include "store/NoteFiles.h"
#include "store/NoteStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <cmath>

namespace CommandLine {

namespace {

constexpr int failure = 1;
constexpr int usageError = 2;

// Alerts of the store's operations become one line on standard error.
class ConsoleAlertPresenter : public AlertPresenter {
public:
    explicit ConsoleAlertPresenter(QTextStream &err)
        : m_err(err)
    {
    }
    int show(const Alert &alert) override
    {
        m_err << "tackpad: " << alert.message;
        if (!alert.informativeText.isEmpty())
            m_err << ": " << alert.informativeText;
        m_err << '\n';
        return 0;
    }

private:
    QTextStream &m_err;
};

struct Options {
    QString command;
    std::optional<QString> workspace;
    std::optional<QString> title;
    bool json = false;
    QStringList positional;
};

// Splits "--name=value" and "--name value"; the value of an option that needs one is taken from the next word.
// Words after "--" are text whatever they look like.
std::optional<Options> parse(const QStringList &args, QTextStream &err)
{
    Options options;
    options.command = args.first();
    bool optionsEnded = false;
    for (qsizetype i = 1; i < args.size(); ++i) {
        QString word = args.at(i);
        // Every option of the commands is long, so "-" (standard input) and Markdown such as "- milk" are text.
        if (optionsEnded || !word.startsWith(QLatin1String("--"))) {
            options.positional << word;
            continue;
        }
        if (word == QLatin1String("--")) {
            optionsEnded = true;
            continue;
        }
        std::optional<QString> inlineValue;
        if (const qsizetype equals = word.indexOf(QLatin1Char('=')); equals > 0) {
            inlineValue = word.mid(equals + 1);
            word = word.left(equals);
        }
        const auto takeValue = [&]() -> std::optional<QString> {
            if (inlineValue)
                return inlineValue;
            if (i + 1 < args.size())
                return args.at(++i);
            err << "tackpad: " << word << " needs a value\n";
            return std::nullopt;
        };
        if (word == QLatin1String("--workspace")) {
            if (!(options.workspace = takeValue()))
                return std::nullopt;
        } else if (word == QLatin1String("--title") && options.command == QLatin1String("new")) {
            if (!(options.title = takeValue()))
                return std::nullopt;
        } else if (word == QLatin1String("--json") && options.command == QLatin1String("list") && !inlineValue) {
            options.json = true;
        } else {
            err << "tackpad: unknown option '" << args.at(i) << "' for " << options.command << "\n";
            return std::nullopt;
        }
    }
    return options;
}

std::optional<QString> workspaceFolder(const Options &options, const Settings &settings, QTextStream &err)
{
    return ConsoleWorkspace::folder(options.workspace, settings, err);
}

QString flagsText(const NoteMetadata &meta)
{
    QStringList flags;
    if (meta.rolledUp)
        flags << QStringLiteral("rolled up");
    if (meta.floatOnTop)
        flags << QStringLiteral("float");
    if (meta.hidden)
        flags << QStringLiteral("hidden");
    if (meta.adopt)
        flags << QStringLiteral("adopted");
    if (meta.isPrompt)
        flags << QStringLiteral("prompt");
    return flags.join(QLatin1String(", "));
}

QJsonObject noteJson(const Note &note)
{
    const NoteMetadata &meta = note.meta;
    return QJsonObject {
        {QStringLiteral("file"), note.filename},
        {QStringLiteral("title"), note.title()},
        {QStringLiteral("x"), meta.x},
        {QStringLiteral("y"), meta.y},
        {QStringLiteral("width"), meta.width},
        {QStringLiteral("height"), meta.height},
        {QStringLiteral("z"), qint64(meta.z)},
        {QStringLiteral("color"), meta.color},
        {QStringLiteral("fontSize"), meta.fontSize},
        {QStringLiteral("rolledUp"), meta.rolledUp},
        {QStringLiteral("floatOnTop"), meta.floatOnTop},
        {QStringLiteral("hidden"), meta.hidden},
        {QStringLiteral("adopt"), meta.adopt},
        {QStringLiteral("isPrompt"), meta.isPrompt},
    };
}

// One readable line per note: the title, then its frame, stacking order, colour, font size and flags.
QString noteLine(const Note &note)
{
    const NoteMetadata &meta = note.meta;
    QString line = QStringLiteral("%1\t%2x%3 at (%4, %5)\tz %6\t%7\t%8 pt")
                       .arg(note.title())
                       .arg(std::llround(meta.width))
                       .arg(std::llround(meta.height))
                       .arg(std::llround(meta.x))
                       .arg(std::llround(meta.y))
                       .arg(meta.z)
                       .arg(meta.color)
                       .arg(std::llround(meta.fontSize));
    if (const QString flags = flagsText(meta); !flags.isEmpty())
        line += QLatin1Char('\t') + flags;
    return line;
}

int listNotes(const Options &options, QTextStream &out, QTextStream &err)
{
    if (!options.positional.isEmpty()) {
        err << "tackpad: list takes no arguments, got '" << options.positional.first() << "'\n";
        return usageError;
    }
    Settings settings;
    const std::optional<QString> folder = workspaceFolder(options, settings, err);
    if (!folder)
        return usageError;
    NoteStore store(*folder, settings);
    store.rescan();
    const std::vector<NoteController *> notes = store.controllersByName();
    if (options.json) {
        QJsonArray array;
        for (const NoteController *each : notes)
            array.append(noteJson(each->note()));
        QByteArray json = QJsonDocument(array).toJson(QJsonDocument::Indented);
        if (!json.endsWith('\n'))
            json += '\n';
        out << json;
    } else {
        for (const NoteController *each : notes)
            out << noteLine(each->note()) << '\n';
    }
    return 0;
}

std::optional<QString> readInput(QIODevice *input, QTextStream &err)
{
    QFile standardInput;
    if (!input) {
        if (!standardInput.open(stdin, QIODevice::ReadOnly)) {
            err << "tackpad: cannot read standard input: " << standardInput.errorString() << '\n';
            return std::nullopt;
        }
        input = &standardInput;
    }
    const NoteFiles::ReadResult read = NoteFiles::decodeText(input->readAll());
    if (read.status != NoteFiles::ReadStatus::Ok) {
        err << "tackpad: standard input is " << read.error << '\n';
        return std::nullopt;
    }
    return read.text;
}

int newNote(const Options &options, QTextStream &out, QTextStream &err, QIODevice *input)
{
    if (options.positional.size() > 1) {
        err << "tackpad: new takes one TEXT (quote it), got " << options.positional.size() << " words\n";
        return usageError;
    }
    QString name = QStringLiteral("New note");
    if (options.title) {
        const std::optional<QString> sanitized = NoteStore::sanitizeTitle(*options.title);
        if (!sanitized) {
            err << "tackpad: the title '" << *options.title << "' leaves no usable file name\n";
            return usageError;
        }
        name = *sanitized;
    }
    Settings settings;
    const std::optional<QString> folder = workspaceFolder(options, settings, err);
    if (!folder)
        return usageError;
    QString body;
    if (!options.positional.isEmpty()) {
        if (options.positional.first() == QLatin1String("-")) {
            const std::optional<QString> text = readInput(input, err);
            if (!text)
                return usageError;
            body = *text;
        } else {
            body = NoteFiles::normaliseLineEnds(options.positional.first());
        }
    }
    ConsoleAlertPresenter alerts(err);
    NoteStore store(*folder, settings);
    store.setAlertPresenter(&alerts);
    // The scan tells which names are taken and lifts the new note above every existing one.
    store.rescan();
    const NoteController *created = store.create(body, name);
    if (!created)
        return failure;
    out << created->note().filename << '\n';
    return 0;
}

} // namespace

QString usage()
{
    return QStringLiteral("Usage: tackpad [--new-note]\n"
                          "       tackpad list [--workspace DIR] [--json]\n"
                          "       tackpad new [--workspace DIR] [--title TITLE] [TEXT | -]\n"
                          "       tackpad search [--workspace DIR] [--json] QUERY\n"
                          "       tackpad apply [--workspace DIR] PROMPT NOTE\n"
                          "       tackpad --help | --version\n"
                          "\n"
                          "Tackpad keeps sticky notes as plain Markdown files in a folder you choose.\n"
                          "Without a command it shows your notes; --new-note opens a new note in the running Tackpad.\n"
                          "\n"
                          "Commands:\n"
                          "  list             List the workspace's notes in the file manager's order: title, size and\n"
                          "                   position, stacking order, colour, font size and flags.\n"
                          "  new              Create a note as the New Note command does and print its file name.\n"
                          "                   TEXT is the note's text; \"-\" reads it from standard input.\n"
                          "  search           Print the notes that hold QUERY, as the search panel finds them: each\n"
                          "                   title (hidden ones marked) with its matching line below. Exit status 1\n"
                          "                   when none match.\n"
                          "  apply            Apply the prompt note PROMPT to the note NOTE (each a title or a file\n"
                          "                   name) as the note menu does: the note's text is replaced by the AI\n"
                          "                   service's reply and its previous content put in the Trash. The key\n"
                          "                   comes from the keyring, else from ANTHROPIC_API_KEY. A running Tackpad\n"
                          "                   with that workspace open does it itself, so that it can be undone there.\n"
                          "\n"
                          "Options:\n"
                          "  --workspace DIR  Use this folder instead of the workspace opened last.\n"
                          "  --json           (list, search) Print a JSON array with one object per note.\n"
                          "  --title TITLE    (new) The note's title, which names its file (default \"New note\").\n"
                          "  -h, --help       Show this help and exit.\n"
                          "  -v, --version    Show the version and exit.\n");
}

std::optional<int> run(const QStringList &arguments, QTextStream &out, QTextStream &err, QIODevice *input)
{
    const QStringList args = arguments.mid(1);
    // Starting the application, or asking the running one for a new note, is not a console command.
    if (args.isEmpty() || args == QStringList {QStringLiteral("--new-note")})
        return std::nullopt;
    if (args.contains(QLatin1String("--help")) || args.contains(QLatin1String("-h"))) {
        out << usage();
        return 0;
    }
    if (args.first() == QLatin1String("--version") || args.first() == QLatin1String("-v")) {
        out << AppInfo::name << ' ' << AppInfo::version << '\n';
        return 0;
    }
    if (args.first() == QLatin1String("list") || args.first() == QLatin1String("new")) {
        const std::optional<Options> options = parse(args, err);
        if (!options) {
            err << "Run 'tackpad --help' for usage.\n";
            return usageError;
        }
        return options->command == QLatin1String("list") ? listNotes(*options, out, err)
                                                         : newNote(*options, out, err, input);
    }
    if (args.first() == QLatin1String("search"))
        return SearchCommand::run(args.mid(1), out, err);
    if (args.first() == QLatin1String("apply"))
        return ApplyCommand::run(args.mid(1), out, err);
    err << "tackpad: unknown command or option '" << args.first() << "'\n\n" << usage();
    return usageError;
}

} // namespace CommandLine
