// The real `tackpad` binary as a user meets it, under Xvfb with openbox (scripts/headless --x11), with a home
// folder of its own: first start, new notes (also from the global hot key), typing, edits made by other programs,
// a second launch, quitting on a signal.
#include "support/RunningApp.h"

#include <csignal>

class TestEndToEnd : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void firstStartTypingExternalEditsAndQuit();
};

void TestEndToEnd::initTestCase()
{
    // The app names its windows and files in the desktop's language ("Neue Notiz.md" on a German one), and Qt reads
    // that language from LANGUAGE before the locale: the app started here speaks English, whatever the tester's is.
    qunsetenv("LANGUAGE");
    qputenv("LC_ALL", "C.UTF-8");
}

void TestEndToEnd::firstStartTypingExternalEditsAndQuit()
{
    RunningApp running;
    const QString notes = running.makeFolder(u"Notes"_qs);
    const auto noteFiles = [&] { return QDir(notes).entryList({u"*.md"_qs}, QDir::Files, QDir::Name); };
    QProcess *app = running.start();

    // First start: the welcome dialog, then the folder panel. Until the terms are agreed, the hot key makes nothing.
    QVERIFY(activateWindow(u"Welcome to Tackpad"_qs));
    QVERIFY(pressKeys(u"ctrl+alt+bracketleft"_qs));
    QVERIFY(pressKeys(u"Return"_qs));
    QVERIFY(chooseFolderInPanel(notes, notes + u"/Welcome.md"_qs));
    QCOMPARE(noteFiles(), QStringList {u"Welcome.md"_qs});
    QVERIFY(readFile(notes + u"/Welcome.md"_qs).startsWith(u"---\ntackpad: \""_qs));

    // Ctrl+N in a note makes a new note with the keyboard focus; typing reaches its file.
    QVERIFY(activateWindow(u"Welcome"_qs));
    QVERIFY(pressKeys(u"ctrl+n"_qs));
    QTRY_COMPARE_WITH_TIMEOUT(noteFiles(), (QStringList {u"New note.md"_qs, u"Welcome.md"_qs}), RunningApp::patienceMs);
    const QString newNote = notes + u"/New note.md"_qs;
    QVERIFY(activateWindow(u"New note"_qs));
    QVERIFY(typeText(u"first line"_qs));
    QTRY_VERIFY_WITH_TIMEOUT(readFile(newNote).endsWith(u"\n---\nfirst line"_qs), RunningApp::patienceMs);

    // Another program appends to the file; the window takes it in, and the next edit keeps both.
    {
        QFile file(newNote);
        QVERIFY(file.open(QIODevice::Append));
        file.write("\nappended elsewhere");
    }
    QVERIFY(running.waitForLog(u"applying an external change to New note.md"_qs));
    QVERIFY(pressKeys(u"ctrl+End"_qs));
    QVERIFY(typeText(u" and more"_qs));
    QTRY_VERIFY_WITH_TIMEOUT(
        readFile(newNote).endsWith(u"\n---\nfirst line\nappended elsewhere and more"_qs), RunningApp::patienceMs);

    // A second launch asks the running instance for a new note and leaves.
    QProcess *second = running.start({u"--new-note"_qs});
    QVERIFY(second->waitForFinished(RunningApp::patienceMs));
    QCOMPARE(second->exitCode(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(noteFiles().size(), 3, RunningApp::patienceMs);
    // That note takes the focus when it appears; let it have it before going back to the first one.
    QVERIFY(activateWindow(u"New note (1)"_qs));
    // So does the global hot key, pressed from outside the application; NumLock on must not hide it.
    QVERIFY(pressKeys(u"Num_Lock"_qs) && pressKeys(u"ctrl+alt+bracketleft"_qs) && pressKeys(u"Num_Lock"_qs));
    QTRY_COMPARE_WITH_TIMEOUT(noteFiles().size(), 4, RunningApp::patienceMs);
    QVERIFY(activateWindow(u"New note (2)"_qs));

    // A quit signal (the session ends) right after typing, with a modal panel open, writes the edit that was still
    // waiting for its save.
    QVERIFY(activateWindow(u"New note"_qs));
    QVERIFY(typeText(u"!"_qs));
    QVERIFY(pressKeys(u"ctrl+o"_qs));
    QVERIFY(windowShows(u"Import Markdown Files"_qs));
    QCOMPARE(::kill(pid_t(app->processId()), SIGTERM), 0);
    const QString problem = running.quitProblem(app);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    QVERIFY2(readFile(newNote).endsWith(u"appended elsewhere and more!"_qs), qPrintable(readFile(newNote)));
}

TACKPAD_X11_TEST_MAIN(TestEndToEnd, QCoreApplication)

#include "tst_endtoend_x11.moc"
