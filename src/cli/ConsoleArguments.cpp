#include "cli/ConsoleArguments.h"

#include "core/AppInfo.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QTextStream>

namespace {

const QLatin1String endOfOptions("--");
const QLatin1String helpOption("help");
const QLatin1String versionOption("version");
const QLatin1String newNoteOption("new-note");
const QLatin1String workspaceOption("workspace");
const QLatin1String titleOption("title");
const QLatin1String jsonOption("json");

// Qt's options of a GUI application: those QGuiApplication, QApplication and the xcb platform read from argv.
const char *const qtOptionsWithValue[]
    = {"platform", "platformpluginpath", "platformtheme", "plugin", "qmljsdebugger", "qwindowgeometry", "qwindowicon",
        "qwindowtitle", "session", "style", "stylesheet", "display", "name", "geometry", "title", "icon", "visual"};
const char *const qtFlags[] = {"reverse", "widgetcount", "sync", "nograb", "dograb", "testability"};

QCommandLineOption option(const QStringList &names, const QString &valueName = {})
{
    return QCommandLineOption(names, QString(), valueName);
}

QList<QCommandLineOption> applicationOptions()
{
    QList<QCommandLineOption> options {option({QStringLiteral("h"), helpOption}),
        option({QStringLiteral("v"), versionOption}), option({newNoteOption})};
    for (const char *name : qtOptionsWithValue)
        options << option({QString::fromLatin1(name)}, QStringLiteral("value"));
    for (const char *name : qtFlags)
        options << option({QString::fromLatin1(name)});
    return options;
}

QList<QCommandLineOption> commandOptions(const QString &command)
{
    QList<QCommandLineOption> options {
        option({QStringLiteral("h"), helpOption}), option({workspaceOption}, QStringLiteral("DIR"))};
    if (command == QLatin1String("list") || command == QLatin1String("search"))
        options << option({jsonOption});
    if (command == QLatin1String("new"))
        options << option({titleOption}, QStringLiteral("TITLE"));
    return options;
}

bool isCommand(const QString &word)
{
    return word == QLatin1String("list") || word == QLatin1String("new") || word == QLatin1String("search")
        || word == QLatin1String("apply");
}

// "--title=x" and "-session" both name the option after their dashes, up to an "=".
QString optionName(const QString &word)
{
    return word.mid(word.startsWith(endOfOptions) ? 2 : 1).section(QLatin1Char('='), 0, 0);
}

const QCommandLineOption *find(const QList<QCommandLineOption> &options, const QString &name)
{
    for (const QCommandLineOption &each : options) {
        if (each.names().contains(name))
            return &each;
    }
    return nullptr;
}

// Whether the word after `word` is its value: QCommandLineParser takes it whatever it looks like.
bool takesNextWord(const QString &word, const QList<QCommandLineOption> &options)
{
    const QCommandLineOption *known = find(options, optionName(word));
    return known && !known->valueName().isEmpty() && !word.contains(QLatin1Char('='));
}

// Why QCommandLineParser refused the options. Its own messages are translated and name an option without its
// dashes; ours quote the word as it was typed. `unknown` has a %1 for that word.
QString refusal(const QStringList &words, const QList<QCommandLineOption> &options, const QString &unknown)
{
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString &word = words.at(i);
        if (word == endOfOptions || !word.startsWith(QLatin1Char('-')) || word == QLatin1String("-"))
            break;
        const QCommandLineOption *known = find(options, optionName(word));
        const bool inlineValue = word.contains(QLatin1Char('='));
        if (!known || (known->valueName().isEmpty() && inlineValue))
            return unknown.arg(word);
        if (takesNextWord(word, options) && ++i == words.size())
            return QStringLiteral("%1 needs a value").arg(word);
    }
    return unknown.arg(words.value(0));
}

QString countError(const QString &command, const QStringList &positional)
{
    const qsizetype count = positional.size();
    if (command == QLatin1String("list") && count > 0)
        return QStringLiteral("list takes no arguments, got '%1'").arg(positional.first());
    if (command == QLatin1String("new") && count > 1)
        return QStringLiteral("new takes one TEXT (quote it), got %1 words").arg(count);
    if (command == QLatin1String("search") && count == 0)
        return QStringLiteral("search needs a QUERY");
    if (command == QLatin1String("search") && count > 1)
        return QStringLiteral("search takes one QUERY (quote it), got %1 words").arg(count);
    if (command == QLatin1String("apply") && count != 2)
        return QStringLiteral("apply takes a PROMPT and a NOTE, got %1 names").arg(count);
    return {};
}

ConsoleArguments usageError(const QString &message)
{
    ConsoleArguments result;
    result.request = ConsoleArguments::Request::UsageError;
    result.error = message;
    return result;
}

} // namespace

ConsoleArguments ConsoleArguments::ofCommandLine(const QStringList &arguments)
{
    const QList<QCommandLineOption> options = applicationOptions();
    QCommandLineParser parser;
    // "-session 1234" as the session manager writes it: a single dash, a whole word.
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    // What follows a command's name is that command's to read.
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    parser.addOptions(options);
    const bool parsed = parser.parse(arguments);
    ConsoleArguments result;
    if (parser.isSet(helpOption)) {
        result.request = Request::Help;
        return result;
    }
    const QString unknown = QStringLiteral("unknown command or option '%1'");
    if (!parsed)
        return usageError(refusal(arguments.mid(1), options, unknown));
    if (parser.isSet(versionOption)) {
        result.request = Request::Version;
        return result;
    }
    const QStringList positional = parser.positionalArguments();
    if (positional.isEmpty()) {
        result.request = Request::Application;
        result.newNote = parser.isSet(newNoteOption);
        return result;
    }
    if (!isCommand(positional.first())) {
        for (const QString &word : positional) {
            const QFileInfo file(word);
            if (!file.isFile())
                return usageError(unknown.arg(word));
            result.files << file.absoluteFilePath();
        }
        result.request = Request::Application;
        return result;
    }
    result.command = positional.first();
    result.words = positional.mid(1);
    return result;
}

ConsoleArguments ConsoleArguments::ofCommand(const QString &command, const QStringList &words)
{
    const QList<QCommandLineOption> options = commandOptions(command);
    ConsoleArguments result;
    result.command = command;
    // QCommandLineParser would read "- milk" or "-5" as short options: only the option words go to it, with their
    // values, and the rest is text in its order.
    QStringList optionWords;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString &word = words.at(i);
        if (optionsEnded || (!word.startsWith(endOfOptions) && word != QLatin1String("-h"))) {
            result.words << word;
        } else if (word == endOfOptions) {
            optionsEnded = true;
        } else {
            optionWords << word;
            if (takesNextWord(word, options) && i + 1 < words.size())
                optionWords << words.at(++i);
        }
    }
    QCommandLineParser parser;
    parser.addOptions(options);
    if (!parser.parse(QStringList {command} + optionWords))
        return usageError(refusal(optionWords, options, QStringLiteral("unknown option '%1' for ") + command));
    if (parser.isSet(helpOption)) {
        result.request = Request::Help;
        return result;
    }
    if (parser.isSet(workspaceOption))
        result.workspace = parser.value(workspaceOption);
    if (find(options, titleOption) && parser.isSet(titleOption))
        result.title = parser.value(titleOption);
    result.json = find(options, jsonOption) && parser.isSet(jsonOption);
    if (const QString error = countError(command, result.words); !error.isEmpty())
        return usageError(error);
    return result;
}

std::optional<int> ConsoleArguments::answer(QTextStream &out, QTextStream &err) const
{
    switch (request) {
    case Request::Help:
        out << helpText();
        return 0;
    case Request::Version:
        out << AppInfo::name << ' ' << AppInfo::version << '\n';
        return 0;
    case Request::UsageError:
        err << "tackpad: " << error << '\n';
        return usageErrorStatus;
    case Request::Application:
    case Request::Command:
        break;
    }
    return std::nullopt;
}

QString ConsoleArguments::helpText()
{
    return QStringLiteral(
        "Usage: tackpad [--new-note] [QT OPTION...] [FILE.md...]\n"
        "       tackpad list [--workspace DIR] [--json]\n"
        "       tackpad new [--workspace DIR] [--title TITLE] [TEXT | -]\n"
        "       tackpad search [--workspace DIR] [--json] QUERY\n"
        "       tackpad apply [--workspace DIR] PROMPT NOTE\n"
        "       tackpad --help | --version\n"
        "\n"
        "Tackpad keeps sticky notes as plain Markdown files in a folder you choose.\n"
        "Without a command it shows your notes; --new-note opens a new note in the running Tackpad.\n"
        "Files named on the command line are imported into the open workspace as notes.\n"
        "Qt's own options (-platform NAME, -session ID, -style NAME, -display X11DISPLAY, ...) go\n"
        "to the application.\n"
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
        "  --               Ends the options: the words after it are text even if they start\n"
        "                   with a dash.\n"
        "  -h, --help       Show this help and exit.\n"
        "  -v, --version    Show the version and exit.\n");
}
