// The real `tackpad` binary as a user meets it, under Xvfb with openbox (scripts/headless --x11), with a home
// folder of its own: first start, new notes, typing, edits made by other programs, quitting, a second launch.
#include "support/RunningApp.h"

class TestEndToEnd : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_app = std::make_unique<RunningApp>();
        m_notes = m_app->makeFolder(u"Notes"_qs);
    }
    void cleanup() { m_app.reset(); }
    void firstStartTypingExternalEditsAndQuit();

private:
    QStringList noteFiles() const { return QDir(m_notes).entryList({u"*.md"_qs}, QDir::Files, QDir::Name); }
    QString notes() const { return m_notes; }
    static QString readFile(const QString &path) { return RunningApp::readFile(path); }

    std::unique_ptr<RunningApp> m_app;
    QString m_notes;
};

void TestEndToEnd::firstStartTypingExternalEditsAndQuit()
{
    QProcess *app = m_app->start();
    QVERIFY(app->waitForStarted());

    // First start: the welcome dialog, then the folder panel.
    QVERIFY(activateWindow(u"Welcome to Tackpad"_qs));
    QVERIFY(xdotool({u"key"_qs, u"Return"_qs}));
    QVERIFY(activateWindow(u"Select folder for TackPad"_qs));
    QVERIFY(xdotool({u"type"_qs, u"--delay"_qs, u"20"_qs, notes()}));
    QVERIFY(xdotool({u"key"_qs, u"Return"_qs}));
    // The typed folder path may first only open the folder in the panel; Return again then chooses it. Only while
    // the panel is still open: otherwise the key would land in the Welcome note.
    const QStringList panelOpen {u"search"_qs, u"--onlyvisible"_qs, u"--name"_qs, u"^Select folder for TackPad$"_qs};
    if (!QTest::qWaitFor([&] { return !noteFiles().isEmpty(); }, 3000) && xdotool(panelOpen))
        QVERIFY(xdotool({u"key"_qs, u"Return"_qs}));
    QTRY_COMPARE_WITH_TIMEOUT(noteFiles(), QStringList {u"Welcome.md"_qs}, RunningApp::patienceMs);
    QVERIFY(readFile(notes() + u"/Welcome.md"_qs).startsWith(u"---\ntackpad: \""_qs));
    QVERIFY(readFile(notes() + u"/Welcome.md"_qs).contains(u" w365 h365 "_qs));

    // Ctrl+N in a note makes a new note with the keyboard focus; typing reaches its file.
    QVERIFY(activateWindow(u"Welcome"_qs));
    QVERIFY(xdotool({u"key"_qs, u"ctrl+n"_qs}));
    QTRY_COMPARE_WITH_TIMEOUT(noteFiles(), (QStringList {u"New note.md"_qs, u"Welcome.md"_qs}), RunningApp::patienceMs);
    const QString newNote = notes() + u"/New note.md"_qs;
    QVERIFY(activateWindow(u"New note"_qs));
    QVERIFY(xdotool({u"type"_qs, u"--delay"_qs, u"20"_qs, u"first line"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(readFile(newNote).endsWith(u"\n---\nfirst line"_qs), RunningApp::patienceMs);

    // Another program appends to the file; the window takes it in, and the next edit keeps both.
    {
        QFile file(newNote);
        QVERIFY(file.open(QIODevice::Append));
        file.write("\nappended elsewhere");
    }
    QVERIFY(m_app->waitForLog(u"applying an external change to New note.md"_qs));
    QVERIFY(xdotool({u"key"_qs, u"ctrl+End"_qs}));
    QVERIFY(xdotool({u"type"_qs, u"--delay"_qs, u"20"_qs, u" and more"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(
        readFile(newNote).endsWith(u"\n---\nfirst line\nappended elsewhere and more"_qs), RunningApp::patienceMs);

    // A second launch asks the running instance for a new note and leaves.
    QProcess *second = m_app->start({u"--new-note"_qs});
    QVERIFY(second->waitForFinished(RunningApp::patienceMs));
    QCOMPARE(second->exitCode(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(noteFiles().size(), 3, RunningApp::patienceMs);
    // That note takes the focus when it appears; let it have it before going back to the first one.
    QVERIFY(activateWindow(u"New note (1)"_qs));

    // Quitting right after typing writes the edit that was still waiting for its save.
    QVERIFY(activateWindow(u"New note"_qs));
    QVERIFY(xdotool({u"type"_qs, u"--delay"_qs, u"20"_qs, u"!"_qs}));
    QVERIFY(xdotool({u"key"_qs, u"ctrl+q"_qs}));
    QVERIFY2(app->waitForFinished(RunningApp::patienceMs) || app->state() == QProcess::NotRunning,
        qPrintable(u"Tackpad did not quit; its output:\n"_qs + m_app->log().right(2000) + u"\nwhere it is:\n"_qs
            + backtraceOf(app->processId())));
    QCOMPARE(app->exitStatus(), QProcess::NormalExit);
    QVERIFY2(readFile(newNote).endsWith(u"appended elsewhere and more!"_qs), qPrintable(readFile(newNote)));
}

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return 77; // needs the X server of scripts/headless --x11
    QCoreApplication app(argc, argv);
    TestEndToEnd test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_endtoend_x11.moc"
