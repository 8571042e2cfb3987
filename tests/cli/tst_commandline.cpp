// The `tackpad list` and `tackpad new` commands, run as a user runs them: the real binary, no display, a private
// home folder and settings.

#include "support/StoreTestSupport.h"

#include "cli/CommandLine.h"

#include <QJsonDocument>
#include <QProcess>
#include <QTest>

using namespace StoreTest;

namespace {

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

} // namespace

class TestCommandLine : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void listPrintsNotesInNameOrder();
    void listJson();
    void newCreatesNotesAsTheAppDoes_data();
    void newCreatesNotesAsTheAppDoes();
    void newFollowsTheSettings();
    void errorsChangeNothing_data();
    void errorsChangeNothing();
    void applicationArgumentsAreLeftToTheApplication_data();
    void applicationArgumentsAreLeftToTheApplication();

private:
    Run run(const QStringList &arguments, const QByteArray &input = {});
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
}

void TestCommandLine::cleanup()
{
    m_home.reset();
}

Run TestCommandLine::run(const QStringList &arguments, const QByteArray &input)
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("HOME", m_home->path());
    env.insert("XDG_CONFIG_HOME", m_home->path() + QLatin1String("/.config"));
    env.insert("XDG_DATA_HOME", m_home->path() + QLatin1String("/.local/share"));
    // The console commands must work without any display.
    env.remove("DISPLAY");
    env.remove("WAYLAND_DISPLAY");
    env.remove("QT_QPA_PLATFORM");
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(TACKPAD_BINARY), arguments);
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

void TestCommandLine::listPrintsNotesInNameOrder()
{
    writeInPlace(m_folder + "/Note 10.md", noteText("x1 y2 w300 h200 z3 #CDE8F9 s14 float hidden", ""));
    writeInPlace(m_folder + "/note 9.md", noteText("x5 y6", ""));
    writeInPlace(m_folder + "/Ordinary.md", "# not a note\n");
    const Run result = run({"list", "--workspace", m_folder});
    QCOMPARE(result.err, QString());
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out,
        QStringLiteral("note 9\t270x260 at (5, 6)\tz 0\t#FBF4A6\t12 pt\n"
                       "Note 10\t300x200 at (1, 2)\tz 3\t#CDE8F9\t14 pt\tfloat, hidden\n"));
    QCOMPARE(readFile(m_folder + "/Ordinary.md"), QStringLiteral("# not a note\n"));
}

void TestCommandLine::listJson()
{
    writeInPlace(m_folder + "/Prompt.md", noteText("x-10 y20 w300 h200 z7 #FFFFFF s16 rolled adopt prompt", "Do"));
    const Run result = run({"list", "--json", "--workspace=" + m_folder});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(QJsonDocument::fromJson(result.out.toUtf8()),
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
    row("nominal: the title is sanitized into the file name", {"new", "--title", "  ../Plan: Q3/Q4.MD  ", "Goals"},
        "-Plan- Q3-Q4.md", "Goals");
    row("nominal: a Markdown list is text, not an option", {"new", "--title", "List", "- milk\n- bread"}, "List.md",
        "- milk\n- bread");
    row("nominal: text after -- may look like an option", {"new", "--title", "Dash", "--", "--verbose"}, "Dash.md",
        "--verbose");
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
    arguments.insert(1, QStringLiteral("--workspace"));
    arguments.insert(2, m_folder);
    const Run result = run(arguments, input);
    QCOMPARE(result.err, QString());
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, expectedFile + QLatin1Char('\n'));
    // The first place of the cascade on the fallback screen, above every existing note.
    QCOMPARE(readFile(m_folder + QLatin1Char('/') + expectedFile),
        QStringLiteral("---\ntackpad: \"x80 y530 w270 h260 z42 #FBF4A6 s12\"\n---\n") + expectedBody);
    QCOMPARE(readFile(m_folder + "/New note.md"), QString::fromUtf8(noteText("x1 z41", "first\n")));
}

// The last workspace and the new-note settings come from the application's own settings file.
void TestCommandLine::newFollowsTheSettings()
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
    const Run listed = run({"list"});
    QCOMPARE(listed.exitCode, 0);
    QVERIFY(listed.out.startsWith(QLatin1String("Remembered\t")));
}

void TestCommandLine::errorsChangeNothing_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("folder"); // relative to the home folder; empty: none configured
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("message"); // how standard error starts
    QTest::addColumn<int>("lines");

    const auto row = [](const QString &name, const QStringList &arguments, const QString &folder,
                         const QString &message, int lines, const QByteArray &input = {}) {
        QTest::addRow("%s", qPrintable(name)) << arguments << folder << input << message << lines;
    };
    for (const QString command : {"list", "new"}) {
        row("robustness: " + command + " with a missing folder", {command}, "gone",
            "tackpad: workspace folder not found: ", 1);
        row("robustness: " + command + " with a file for a folder", {command}, "file.md", "tackpad: not a folder: ", 1);
        row("robustness: " + command + " with no workspace at all", {command}, "", "tackpad: no workspace: ", 1);
    }
    // Usage errors that the parser finds add a hint to the help.
    row("robustness: an unknown option", {"list", "--colour"}, "My Notes", "tackpad: unknown option '--colour'", 2);
    row("robustness: an option of the other command", {"list", "--title", "x"}, "My Notes",
        "tackpad: unknown option '--title'", 2);
    // Nothing may follow the option: a --workspace after it would be taken as its value.
    row("robustness: a missing option value", {"new", "--title"}, "", "tackpad: --title needs a value", 2);
    row("robustness: two texts", {"new", "one", "two"}, "My Notes", "tackpad: new takes one TEXT", 1);
    row("robustness: a title with nothing usable", {"new", "--title", "..."}, "My Notes", "tackpad: the title '...'",
        1);
    row("robustness: standard input that is not UTF-8", {"new", "-"}, "My Notes",
        "tackpad: standard input is not valid UTF-8", 1, "\xff\xfe");
}

void TestCommandLine::errorsChangeNothing()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, folder);
    QFETCH(QByteArray, input);
    QFETCH(QString, message);
    QFETCH(int, lines);
    writeInPlace(m_home->path() + "/file.md", "x");
    if (!folder.isEmpty())
        arguments << "--workspace" << m_home->path() + QLatin1Char('/') + folder;
    const Run result = run(arguments, input);
    QCOMPARE(result.exitCode, 2);
    QCOMPARE(result.out, QString());
    QVERIFY2(result.err.startsWith(message), qPrintable(result.err));
    QCOMPARE(result.err.count(QLatin1Char('\n')), lines);
    QCOMPARE(readFile(m_home->path() + "/file.md"), QStringLiteral("x"));
    QVERIFY(!QFileInfo::exists(m_home->path() + "/gone"));
    QCOMPARE(QDir(m_folder).entryList(QDir::Files | QDir::Hidden), QStringList {});
}

void TestCommandLine::applicationArgumentsAreLeftToTheApplication_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("console");
    QTest::newRow("nominal: no arguments start the application") << QStringList {} << false;
    QTest::newRow("nominal: --new-note goes to the running application") << QStringList {"--new-note"} << false;
    QTest::newRow("nominal: --help is answered here") << QStringList {"--help"} << true;
    QTest::newRow("robustness: an unknown word is an error here, not a launch") << QStringList {"frobnicate"} << true;
}

// Checked in-process: a launch of the real binary without a console command would start the application.
void TestCommandLine::applicationArgumentsAreLeftToTheApplication()
{
    QFETCH(QStringList, arguments);
    QFETCH(bool, console);
    QString printed;
    QTextStream out(&printed);
    QTextStream err(&printed);
    QCOMPARE(CommandLine::run(QStringList {"tackpad"} + arguments, out, err).has_value(), console);
}

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
