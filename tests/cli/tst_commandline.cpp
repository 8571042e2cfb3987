// The console side of the `tackpad` binary: how every command line is read, and the list, new and search commands
// run as a user runs them (the real binary, no display, a private home folder and settings).

#include "support/StoreTestSupport.h"

#include "cli/ConsoleArguments.h"
#include "core/AppInfo.h"

#include <QDirIterator>
#include <QJsonDocument>
#include <QProcess>
#include <QTest>

using namespace StoreTest;
using Request = ConsoleArguments::Request;

namespace {

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

// A command line as the binary reads it, told in one line: the request, the command's options and words, or the
// usage error as printed.
QString readBack(const QStringList &words)
{
    ConsoleArguments read = ConsoleArguments::ofCommandLine(QStringList {u"tackpad"_qs} + words);
    if (read.request == Request::Command)
        read = ConsoleArguments::ofCommand(read.command, read.words);
    QString out;
    QString err;
    QTextStream outStream(&out);
    QTextStream errStream(&err);
    const std::optional<int> status = read.answer(outStream, errStream);
    switch (read.request) {
    case Request::Application:
        if (!read.files.isEmpty())
            return u"application, import "_qs + read.files.join(u" | "_qs);
        return read.newNote ? u"application, new note"_qs : u"application"_qs;
    case Request::Help:
        return status == 0 && out == ConsoleArguments::helpText() ? u"help"_qs : u"broken help"_qs;
    case Request::Version:
        return status == 0 ? out.trimmed() : u"broken version"_qs;
    case Request::UsageError:
        return QString::number(status.value_or(-1)) + u' ' + err;
    case Request::Command:
        break;
    }
    QStringList told {read.command};
    if (read.workspace)
        told << u"workspace "_qs + *read.workspace;
    if (read.title)
        told << u"title "_qs + *read.title;
    if (read.json)
        told << u"json"_qs;
    return told.join(u", "_qs) + u" ["_qs + read.words.join(u" | "_qs) + u']';
}

// Every file under folder with its bytes, to show that a command leaves the workspace as it found it.
QMap<QString, QByteArray> snapshot(const QString &folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        files.insert(path, readBytes(path));
    }
    return files;
}

} // namespace

class TestCommandLine : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void readsEveryCommandLineAlike_data();
    void readsEveryCommandLineAlike();
    void list();
    void newCreatesNotesAsTheAppDoes_data();
    void newCreatesNotesAsTheAppDoes();
    void newAndSearchFollowTheSettings();
    void search_data();
    void search();
    void searchTakesTheFilesTheStoreTakes();
    void problemsChangeNothing_data();
    void problemsChangeNothing();
    void outputIsSafeAndChecked();

private:
    QProcessEnvironment environment() const;
    Run run(const QStringList &arguments, const QByteArray &input = {}, const QString &outputFile = {});
    QString settingsFile() const { return m_home->path() + QLatin1String("/.config/Tackpad/Tackpad.conf"); }

    std::unique_ptr<QTemporaryDir> m_home;
    QString m_folder;
};

void TestCommandLine::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    QVERIFY(m_home->isValid());
    m_folder = m_home->path() + QLatin1String("/My Notes");
    QVERIFY(QDir().mkpath(m_folder));
    QVERIFY(QDir().mkpath(m_home->path() + QLatin1String("/runtime")));
    QFile::setPermissions(m_home->path() + QLatin1String("/runtime"),
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

void TestCommandLine::cleanup()
{
    m_home.reset();
}

QProcessEnvironment TestCommandLine::environment() const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("HOME", m_home->path());
    env.insert("XDG_CONFIG_HOME", m_home->path() + QLatin1String("/.config"));
    env.insert("XDG_DATA_HOME", m_home->path() + QLatin1String("/.local/share"));
    env.insert("XDG_RUNTIME_DIR", m_home->path() + QLatin1String("/runtime"));
    // The console commands must work without any display.
    env.remove("DISPLAY");
    env.remove("WAYLAND_DISPLAY");
    env.remove("QT_QPA_PLATFORM");
    return env;
}

Run TestCommandLine::run(const QStringList &arguments, const QByteArray &input, const QString &outputFile)
{
    QProcess process;
    process.setProcessEnvironment(environment());
    if (!outputFile.isEmpty())
        process.setStandardOutputFile(outputFile);
    process.start(QStringLiteral(TACKPAD_BINARY), QStringList(arguments).replaceInStrings(u"$WS"_qs, m_folder));
    Run result;
    if (!process.waitForStarted())
        return result;
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(30000))
        return result;
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

void TestCommandLine::readsEveryCommandLineAlike_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("read");
    const auto row
        = [](const char *name, const QStringList &words, const QString &read) { QTest::newRow(name) << words << read; };
    row("application: no arguments", {}, u"application"_qs);
    row("qt: --new-note among Qt's options", {"--new-note", "-session", "x"}, u"application, new note"_qs);
    row("qt: every spelling of Qt's options",
        {"-platform", "offscreen", "--platform=xcb", "-style=fusion", "-reverse", "-display", ":1", "-name", "n",
            "-qwindowtitle", "T", "-stylesheet", "s.qss"},
        u"application"_qs);
    // "Open with" from a file manager: the files go to the app, as absolute paths.
    const QString here = QDir::currentPath();
    const QString source = QStringLiteral(TACKPAD_TEST_DATA_DIR "/CMakeLists.txt");
    row("files: named files are imported by the app", {QDir(here).relativeFilePath(source), source},
        u"application, import "_qs + source + u" | "_qs + source);
    row("usage: a file that does not exist", {"no such note.md"},
        u"2 tackpad: unknown command or option 'no such note.md'\n"_qs);
    row("help: -h among a command's words", {"list", "--workspace", "/w", "-h"}, u"help"_qs);
    row("version: -v", {"-v"}, u"Tackpad "_qs + QString::fromLatin1(AppInfo::version));
    row("list: --workspace=DIR and --json", {"list", "--workspace=/w", "--json"}, u"list, workspace /w, json []"_qs);
    row("new: a Markdown list is text, options may follow it", {"new", "- milk", "--title", "T"},
        u"new, title T [- milk]"_qs);
    row("new: after --, a word that looks like an option is text", {"new", "--title", "T", "--", "-h"},
        u"new, title T [-h]"_qs);
    row("new: a value is taken whatever it looks like", {"new", "--workspace", "--odd", "-"},
        u"new, workspace --odd [-]"_qs);
    // Usage errors: one line, exit status 2.
    row("usage: an unknown command", {"frobnicate"}, u"2 tackpad: unknown command or option 'frobnicate'\n"_qs);
    row("usage: a Qt option without its value", {"-session"}, u"2 tackpad: -session needs a value\n"_qs);
    row("usage: an option of another command", {"search", "--title", "x", "milk"},
        u"2 tackpad: unknown option '--title' for search\n"_qs);
    row("usage: a value for a switch", {"list", "--json=yes"}, u"2 tackpad: unknown option '--json=yes' for list\n"_qs);
    row("usage: words for list", {"list", "x"}, u"2 tackpad: list takes no arguments, got 'x'\n"_qs);
    row("usage: two texts", {"new", "one", "two"}, u"2 tackpad: new takes one TEXT (quote it), got 2 words\n"_qs);
    row("usage: no query", {"search", "--json"}, u"2 tackpad: search needs a QUERY\n"_qs);
    row("usage: one name for apply", {"apply", "Summarise"},
        u"2 tackpad: apply takes a PROMPT and a NOTE, got 1 names\n"_qs);
}

void TestCommandLine::readsEveryCommandLineAlike()
{
    QFETCH(QStringList, words);
    QFETCH(QString, read);
    QCOMPARE(readBack(words), read);
}

void TestCommandLine::list()
{
    writeInPlace(m_folder + "/Note 10.md", noteText("x1 y2 w300 h200 z3 #CDE8F9 s14 float hidden", ""));
    writeInPlace(m_folder + "/note 9.md", noteText("x5 y6", ""));
    writeInPlace(m_folder + "/Prompt.md", noteText("x-10 y20 w300 h200 z7 #FFFFFF s16 rolled adopt prompt", "Do"));
    writeInPlace(m_folder + "/Ordinary.md", "# not a note\n");
    const Run plain = run({"list", "--workspace", m_folder});
    QCOMPARE(plain.err, QString());
    QCOMPARE(plain.exitCode, 0);
    QCOMPARE(plain.out,
        QStringLiteral("note 9\t270x260 at (5, 6)\tz 0\t#FBF4A6\t12 pt\n"
                       "Note 10\t300x200 at (1, 2)\tz 3\t#CDE8F9\t14 pt\tfloat, hidden\n"
                       "Prompt\t300x200 at (-10, 20)\tz 7\t#FFFFFF\t16 pt\trolled up, adopted, prompt\n"));
    QCOMPARE(readFile(m_folder + "/Ordinary.md"), QStringLiteral("# not a note\n"));

    QFile::remove(m_folder + "/Note 10.md");
    QFile::remove(m_folder + "/note 9.md");
    const Run json = run({"list", "--json", "--workspace=" + m_folder});
    QCOMPARE(json.exitCode, 0);
    QCOMPARE(QJsonDocument::fromJson(json.out.toUtf8()),
        QJsonDocument::fromJson(R"([{"adopt": true, "color": "#FFFFFF", "file": "Prompt.md", "floatOnTop": false,
            "fontSize": 16, "height": 200, "hidden": false, "isPrompt": true, "rolledUp": true, "title": "Prompt",
            "width": 300, "x": -10, "y": 20, "z": 7}])"));
}

void TestCommandLine::newCreatesNotesAsTheAppDoes_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("expectedFile");
    QTest::addColumn<QString>("expectedBody");
    QTest::addColumn<QByteArray>("input");

    const auto row = [](const char *name, const QStringList &arguments, const QString &file, const QString &body,
                         const QByteArray &input = {}) { QTest::newRow(name) << arguments << file << body << input; };
    row("nominal: no title gives New note, and a taken name gets a number", {"new"}, "New note (1).md", "");
    row("nominal: - reads standard input, CR LF becomes LF", {"new", "--title", "Piped", "-"}, "Piped.md",
        QStringLiteral("# From a pipe\n\nwith CR LF and ünïcode\n"), "# From a pipe\r\n\r\nwith CR LF and ünïcode\r\n");
}

void TestCommandLine::newCreatesNotesAsTheAppDoes()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, expectedFile);
    QFETCH(QString, expectedBody);
    QFETCH(QByteArray, input);
    writeInPlace(m_folder + "/New note.md", noteText("x1 z41", "first\n"));
    const Run result = run(arguments << "--workspace" << m_folder, input);
    QCOMPARE(result.err, QString());
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, expectedFile + QLatin1Char('\n'));
    // The first place of the cascade on the fallback screen, above every existing note.
    QCOMPARE(readFile(m_folder + QLatin1Char('/') + expectedFile),
        QStringLiteral("---\ntackpad: \"x80 y530 w270 h260 z42 #FBF4A6 s12\"\n---\n") + expectedBody);
    QCOMPARE(readFile(m_folder + "/New note.md"), QString::fromUtf8(noteText("x1 z41", "first\n")));
}

// The last workspace and the new-note settings come from the application's own settings file.
void TestCommandLine::newAndSearchFollowTheSettings()
{
    Settings settings(settingsFile());
    settings.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(m_folder));
    settings.setValue(SettingsKey::usePreviousNoteSettings, false);
    settings.setValue(SettingsKey::fixedNoteColor, "#D4F2C2");
    settings.setValue(SettingsKey::fixedNoteWidth, 400.0);
    settings.setValue(SettingsKey::fixedNoteFloat, true);
    settings.sync();
    const Run created = run({"new", "--title", "Remembered", "Styled"});
    QCOMPARE(created.err, QString());
    QCOMPARE(created.out, QStringLiteral("Remembered.md\n"));
    QCOMPARE(readFile(m_folder + "/Remembered.md"),
        QStringLiteral("---\ntackpad: \"x80 y530 w400 h260 z1 #D4F2C2 s12 float\"\n---\nStyled"));
    const Run found = run({"search", "styled"});
    QCOMPARE(found.exitCode, 0);
    QCOMPARE(found.out, QStringLiteral("Remembered\n    Styled\n"));
}

void TestCommandLine::search_data()
{
    QTest::addColumn<QStringList>("arguments"); // "$WS" stands for the workspace folder
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("out"); // compared as JSON when it starts with "["

    // Title matches first in natural order, each with its trimmed snippet indented below; no snippet line for a note
    // without text; hidden notes marked; an ordinary Markdown file and broken notes are left out, as in the app.
    QTest::newRow("nominal: plain output") << QStringList {"search", "--workspace", "$WS", "milk"} << 0
                                           << "Empty milk\nMilk run (hidden)\n    farm on Tuesday\n"
                                              "Shopping\n    buy MILK and eggs\n";
    QTest::newRow("nominal: JSON") << QStringList {"search", "--json", "--workspace", "$WS", "MILK"} << 0 << R"([
        {"file": "Empty milk.md", "title": "Empty milk", "snippet": "", "hidden": false, "titleMatch": true},
        {"file": "Milk run.md", "title": "Milk run", "snippet": "farm on Tuesday", "hidden": true, "titleMatch": true},
        {"file": "Shopping.md", "title": "Shopping", "snippet": "buy MILK and eggs", "hidden": false,
         "titleMatch": false}])";
    QTest::newRow("nominal: nothing found is status 1, as JSON an empty array")
        << QStringList {"search", "--workspace", "$WS", "--json", "caviar"} << 1 << "[\n]\n";
}

void TestCommandLine::search()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, out);
    writeInPlace(m_folder + "/Shopping.md", noteText("x1", "# List\n\n  buy MILK and eggs  \nbread"));
    writeInPlace(m_folder + "/Milk run.md", noteText("x1 hidden", "\n\tfarm on Tuesday\n"));
    writeInPlace(m_folder + "/Plans.md", noteText("x1", "nothing to see"));
    writeInPlace(m_folder + "/Empty milk.md", noteText("x1", ""));
    writeInPlace(m_folder + "/readme.md", "milk everywhere");
    writeInPlace(m_folder + "/broken.md", "---\ntackpad: \"x\ny\n---\noats");
    writeInPlace(m_folder + "/latin1.md", "---\ntackpad: \"x1 y1 w200 h200 z1 #FBF4A6 s12\"\n---\nmilk caf\xe9\n");
    const QMap<QString, QByteArray> before = snapshot(m_folder);

    const Run result = run(arguments);
    // A file that is not UTF-8 is left out, and said so.
    QVERIFY2(result.err.endsWith(u": skipped latin1.md: not valid UTF-8 text\n"_qs), qPrintable(result.err));
    QCOMPARE(result.err.count(u'\n'), 1);
    if (out.startsWith(u'[') && out.size() > 4)
        QCOMPARE(QJsonDocument::fromJson(result.out.toUtf8()), QJsonDocument::fromJson(out.toUtf8()));
    else
        QCOMPARE(result.out, out);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(snapshot(m_folder), before);
}

// The search lists the folder by the types its entries tell, not a stat per entry: links must still be followed, and
// what is not a regular file left out, as the store's scan does.
void TestCommandLine::searchTakesTheFilesTheStoreTakes()
{
    writeInPlace(m_home->path() + "/Elsewhere.md", noteText("x1", "milk from afar"));
    QVERIFY(QFile::link(m_home->path() + "/Elsewhere.md", m_folder + "/Linked.md"));
    QVERIFY(QFile::link(m_home->path() + "/gone.md", m_folder + "/Dangling.md"));
    QVERIFY(QDir().mkpath(m_folder + "/Folder milk.md"));
    QVERIFY(QDir().mkpath(m_home->path() + "/Elsewhere milk.md"));
    QVERIFY(QFile::link(m_home->path() + "/Elsewhere milk.md", m_folder + "/Linked folder milk.md"));
    const Run result = run({"search", "--workspace", m_folder, "milk"});
    QCOMPARE(result.out, u"Linked\n    milk from afar\n"_qs);
    QVERIFY2(result.err.endsWith(u": skipped Dangling.md: No such file or directory\n"_qs), qPrintable(result.err));
    QCOMPARE(result.err.count(u'\n'), 1);
}

void TestCommandLine::problemsChangeNothing_data()
{
    QTest::addColumn<QStringList>("arguments"); // "$WS" stands for the workspace folder, "$HOME" for the home folder
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("message"); // the one line on standard error, or how it starts

    const auto row = [](const char *name, const QStringList &arguments, const QString &message,
                         const QByteArray &input = {}) { QTest::newRow(name) << arguments << input << message; };
    row("folder: list in a missing folder", {"list", "--workspace", "$HOME/gone"},
        "tackpad: workspace folder not found: $HOME/gone");
    row("folder: new in a file", {"new", "--workspace", "$HOME/file.md"}, "tackpad: not a folder: $HOME/file.md");
    row("folder: search with no workspace given or remembered", {"search", "milk"},
        "tackpad: no workspace: pass --workspace DIR or open a folder in Tackpad first");
    row("usage: an unknown option of new", {"new", "--workspace", "$WS", "--colour"},
        "tackpad: unknown option '--colour' for new");
    row("new: a title with nothing usable", {"new", "--workspace", "$WS", "--title", "..."},
        "tackpad: the title '...' leaves no usable file name");
    row("new: standard input that is not UTF-8", {"new", "--workspace", "$WS", "-"},
        "tackpad: standard input is not valid UTF-8", "\xff\xfe");
}

void TestCommandLine::problemsChangeNothing()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QString, message);
    writeInPlace(m_home->path() + "/file.md", "x");
    const Run result = run(arguments.replaceInStrings(u"$HOME"_qs, m_home->path()), input);
    QCOMPARE(result.exitCode, 2);
    QCOMPARE(result.out, QString());
    message.replace(u"$WS"_qs, m_folder).replace(u"$HOME"_qs, m_home->path());
    QVERIFY2(result.err.startsWith(message), qPrintable(result.err));
    QCOMPARE(result.err.count(QLatin1Char('\n')), 1);
    QCOMPARE(readFile(m_home->path() + "/file.md"), QStringLiteral("x"));
    QVERIFY(!QFileInfo::exists(m_home->path() + "/gone"));
    QCOMPARE(QDir(m_folder).entryList(QDir::Files | QDir::Hidden), QStringList {});
}

// What a note holds is printed, never obeyed by the terminal (escape sequences, a bidirectional override, a "%2" that
// a chained arg() would fill), and output that cannot be written is an error, not a silent success.
void TestCommandLine::outputIsSafeAndChecked()
{
    writeInPlace(m_folder + "/50%2 \x1b[2J.md", noteText("x1", "hello \x1b]0;owned\x07 \xe2\x80\xae world"));
    QCOMPARE(run({"list", "--workspace", m_folder}).out.section(u'\t', 0, 0), u"50%2 \\x1b[2J"_qs);
    QCOMPARE(run({"search", "--workspace", m_folder, "hello"}).out,
        u"50%2 \\x1b[2J\n    hello \\x1b]0;owned\\x07 \\u202e world\n"_qs);

    // A name in another encoding is said to be one, not reported as missing.
    const QByteArray latin1Name = QFile::encodeName(m_folder) + "/caf\xe9.md";
    QVERIFY(std::fclose(std::fopen(latin1Name.constData(), "w")) == 0);
    QVERIFY2(run({"list", "--workspace", m_folder})
                 .err.endsWith(u": its file name is not valid UTF-8; rename the file to use it\n"_qs),
        "");
    QVERIFY(std::remove(latin1Name.constData()) == 0);

    const Run full = run({"list", "--workspace", m_folder}, {}, QStringLiteral("/dev/full"));
    QCOMPARE(full.exitCode, 74);
    QCOMPARE(full.err, u"tackpad: cannot write the output: No space left on device\n"_qs);
}

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
