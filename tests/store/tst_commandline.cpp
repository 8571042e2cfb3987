// The `tackpad list` and `tackpad new` commands, run as a user runs them: the real binary, no display, a private
// home folder and settings.

#include "StoreTestSupport.h"

#include "app/CommandLine.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
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

    void listPrintsNotesInFinderOrder();
    void listJson();
    void newCreatesNotesAsTheAppDoes_data();
    void newCreatesNotesAsTheAppDoes();
    void newReadsStandardInput();
    void newFollowsTheNewNoteSettings();
    void lastWorkspaceFromSettings();
    void folderProblems_data();
    void folderProblems();
    void usageErrors_data();
    void usageErrors();
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

void TestCommandLine::listPrintsNotesInFinderOrder()
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
    // Listing writes nothing.
    QCOMPARE(readFile(m_folder + "/Ordinary.md"), QStringLiteral("# not a note\n"));
}

void TestCommandLine::listJson()
{
    writeInPlace(m_folder + "/Prompt.md", noteText("x-10 y20 w300 h200 z7 #FFFFFF s16 rolled adopt prompt", "Do"));
    const Run result = run({"list", "--json", "--workspace=" + m_folder});
    QCOMPARE(result.exitCode, 0);
    QJsonParseError error;
    const QJsonDocument json = QJsonDocument::fromJson(result.out.toUtf8(), &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(json.array().size(), 1);
    const QJsonObject note = json.array().first().toObject();
    const QStringList keys {"adopt", "color", "file", "floatOnTop", "fontSize", "height", "hidden", "isPrompt",
        "rolledUp", "title", "width", "x", "y", "z"};
    QCOMPARE(note.keys(), keys);
    QCOMPARE(note["file"].toString(), QStringLiteral("Prompt.md"));
    QCOMPARE(note["title"].toString(), QStringLiteral("Prompt"));
    QCOMPARE(note["x"].toDouble(), -10.0);
    QCOMPARE(note["z"].toInteger(), 7);
    QCOMPARE(note["color"].toString(), QStringLiteral("#FFFFFF"));
    QCOMPARE(note["fontSize"].toDouble(), 16.0);
    QVERIFY(note["rolledUp"].toBool() && note["adopt"].toBool() && note["isPrompt"].toBool());
    QVERIFY(!note["floatOnTop"].toBool() && !note["hidden"].toBool());
}

void TestCommandLine::newCreatesNotesAsTheAppDoes_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("expectedFile");
    QTest::addColumn<QString>("expectedBody");

    QTest::newRow("nominal: no title gives New note, and a taken name gets a number")
        << QStringList {"new"} << "New note (1).md"
        << "";
    QTest::newRow("nominal: the title is sanitized into the file name")
        << QStringList {"new", "--title", "  ../Plan: Q3/Q4.MD  ", "Goals"} << "-Plan- Q3-Q4.md"
        << "Goals";
    QTest::newRow("nominal: a Markdown list is text, not an option")
        << QStringList {"new", "--title", "List", "- milk\n- bread"} << "List.md"
        << "- milk\n- bread";
    QTest::newRow("nominal: text after -- may look like an option")
        << QStringList {"new", "--title", "Dash", "--", "--verbose"} << "Dash.md"
        << "--verbose";
}

void TestCommandLine::newCreatesNotesAsTheAppDoes()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, expectedFile);
    QFETCH(QString, expectedBody);
    writeInPlace(m_folder + "/New note.md", noteText("x1 z41", "first\n"));
    arguments.insert(1, QStringLiteral("--workspace"));
    arguments.insert(2, m_folder);
    const Run result = run(arguments);
    QCOMPARE(result.err, QString());
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, expectedFile + QLatin1Char('\n'));
    // The first place of the cascade on the fallback screen, above every existing note.
    QCOMPARE(readFile(m_folder + QLatin1Char('/') + expectedFile),
        QStringLiteral("---\ntackpad: \"x80 y530 w270 h260 z42 #FBF4A6 s12\"\n---\n") + expectedBody);
    QCOMPARE(readFile(m_folder + "/New note.md"), QString::fromUtf8(noteText("x1 z41", "first\n")));
}

void TestCommandLine::newReadsStandardInput()
{
    const QByteArray text("# From a pipe\r\n\r\nwith CR LF and ünïcode\r\n");
    const Run result = run({"new", "--workspace", m_folder, "--title", "Piped", "-"}, text);
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, QStringLiteral("Piped.md\n"));
    QVERIFY(
        readFile(m_folder + "/Piped.md").endsWith(QString::fromUtf8("---\n# From a pipe\n\nwith CR LF and ünïcode\n")));

    const Run binary = run({"new", "--workspace", m_folder, "-"}, QByteArray("\xff\xfe"));
    QCOMPARE(binary.exitCode, 2);
    QVERIFY(binary.err.contains(QLatin1String("UTF-8")));
    QVERIFY(!QFileInfo::exists(m_folder + "/New note.md"));
}

void TestCommandLine::newFollowsTheNewNoteSettings()
{
    Settings settings(settingsFile());
    settings.setValue(SettingsKey::usePreviousNoteSettings, false);
    settings.setValue(SettingsKey::fixedNoteColor, "#D4F2C2");
    settings.setValue(SettingsKey::fixedNoteWidth, 400.0);
    settings.setValue(SettingsKey::fixedNoteFloat, true);
    settings.sync();
    const Run result = run({"new", "--workspace", m_folder, "Styled"});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(readFile(m_folder + "/New note.md"),
        QStringLiteral("---\ntackpad: \"x80 y530 w400 h260 z1 #D4F2C2 s12 float\"\n---\nStyled"));
}

void TestCommandLine::lastWorkspaceFromSettings()
{
    Settings settings(settingsFile());
    settings.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(m_folder));
    settings.sync();
    const Run created = run({"new", "--title", "Remembered"});
    QCOMPARE(created.err, QString());
    QCOMPARE(created.out, QStringLiteral("Remembered.md\n"));
    const Run listed = run({"list"});
    QCOMPARE(listed.exitCode, 0);
    QVERIFY(listed.out.startsWith(QLatin1String("Remembered\t")));
}

void TestCommandLine::folderProblems_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("folder"); // relative to the home folder; empty: none configured
    QTest::addColumn<QString>("message");

    for (const char *command : {"list", "new"}) {
        QTest::addRow("robustness: %s with a missing folder", command) << command << "gone"
                                                                       << "tackpad: workspace folder not found: ";
        QTest::addRow("robustness: %s with a file for a folder", command) << command << "file.md"
                                                                          << "tackpad: not a folder: ";
        QTest::addRow("robustness: %s with no workspace at all", command) << command << ""
                                                                          << "tackpad: no workspace: ";
    }
}

void TestCommandLine::folderProblems()
{
    QFETCH(QString, command);
    QFETCH(QString, folder);
    QFETCH(QString, message);
    writeInPlace(m_home->path() + "/file.md", "x");
    QStringList arguments {command};
    if (!folder.isEmpty())
        arguments << "--workspace" << m_home->path() + QLatin1Char('/') + folder;
    const Run result = run(arguments);
    QCOMPARE(result.exitCode, 2);
    QCOMPARE(result.out, QString());
    QVERIFY2(result.err.startsWith(message), qPrintable(result.err));
    QCOMPARE(result.err.count(QLatin1Char('\n')), 1);
    QCOMPARE(readFile(m_home->path() + "/file.md"), QStringLiteral("x"));
    QVERIFY(!QFileInfo::exists(m_home->path() + "/gone"));
}

void TestCommandLine::usageErrors_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("robustness: an unknown option") << QStringList {"list", "--colour"};
    QTest::newRow("robustness: an option of the other command") << QStringList {"list", "--title", "x"};
    QTest::newRow("robustness: a missing option value") << QStringList {"new", "--title"};
    QTest::newRow("robustness: two texts") << QStringList {"new", "one", "two"};
    QTest::newRow("robustness: a title with nothing usable") << QStringList {"new", "--title", "..."};
}

void TestCommandLine::usageErrors()
{
    QFETCH(QStringList, arguments);
    const Run result = run(arguments << "--workspace" << m_folder);
    QCOMPARE(result.exitCode, 2);
    QVERIFY(result.err.startsWith(QLatin1String("tackpad: ")));
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
