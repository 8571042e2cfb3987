#include "cli/CommandLine.h"

#include "cli/ApplyCommand.h"
#include "cli/ConsoleArguments.h"
#include "cli/ConsoleWorkspace.h"
#include "cli/SearchCommand.h"
#include "cli/TerminalText.h"
#include "core/Alerts.h"
#include "core/Settings.h"
#include "store/NoteController.h"
#include "store/NoteFiles.h"
#include "store/NoteStore.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace CommandLine {

namespace {

constexpr int failure = 1;
constexpr int usageError = ConsoleArguments::usageErrorStatus;

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
    // One arg() with all values: a title holding "%2" must stay as it is, not take the width's place.
    const auto number = [](double value) { return QString::number(std::llround(value)); };
    QString line = QStringLiteral("%1\t%2x%3 at (%4, %5)\tz %6\t%7\t%8 pt")
                       .arg(TerminalText::escaped(note.title()), number(meta.width), number(meta.height),
                           number(meta.x), number(meta.y), QString::number(meta.z), meta.color, number(meta.fontSize));
    if (const QString flags = flagsText(meta); !flags.isEmpty())
        line += QLatin1Char('\t') + flags;
    return line;
}

int listNotes(const ConsoleArguments &options, QTextStream &out, QTextStream &err)
{
    Settings settings;
    const std::optional<QString> folder = ConsoleWorkspace::folder(options.workspace, settings, err);
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

int newNote(const ConsoleArguments &options, QTextStream &out, QTextStream &err, QIODevice *input)
{
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
    const std::optional<QString> folder = ConsoleWorkspace::folder(options.workspace, settings, err);
    if (!folder)
        return usageError;
    QString body;
    if (!options.words.isEmpty()) {
        if (options.words.first() == QLatin1String("-")) {
            const std::optional<QString> text = readInput(input, err);
            if (!text)
                return usageError;
            body = *text;
        } else {
            body = NoteFiles::normaliseLineEnds(options.words.first());
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
    out << TerminalText::escaped(created->note().filename) << '\n';
    return 0;
}

} // namespace

std::optional<int> run(const QStringList &arguments, QTextStream &out, QTextStream &err, QIODevice *input)
{
    const ConsoleArguments line = ConsoleArguments::ofCommandLine(arguments);
    if (line.request == ConsoleArguments::Request::Application)
        return std::nullopt;
    if (const std::optional<int> status = line.answer(out, err))
        return status;
    if (line.command == QLatin1String("search"))
        return SearchCommand::run(line.words, out, err);
    if (line.command == QLatin1String("apply"))
        return ApplyCommand::run(line.words, out, err);
    const ConsoleArguments command = ConsoleArguments::ofCommand(line.command, line.words);
    if (const std::optional<int> status = command.answer(out, err))
        return status;
    return command.command == QLatin1String("list") ? listNotes(command, out, err) : newNote(command, out, err, input);
}

std::optional<int> runOnStandardStreams(const QStringList &arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    const std::optional<int> status = run(arguments, out, err);
    out.flush();
    // The stream's own status misses what the C library still buffers: the last flush tells.
    const bool written = out.status() == QTextStream::Ok && std::fflush(stdout) == 0 && !std::ferror(stdout);
    if (!status || written)
        return status;
    const int reason = errno;
    err << "tackpad: cannot write the output: " << QString::fromLocal8Bit(std::strerror(reason)) << '\n';
    err.flush();
    return writeFailedStatus;
}

} // namespace CommandLine
