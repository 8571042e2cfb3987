// Every way a launch, a workspace switch or a recovery can go, with the real `tackpad` binary under Xvfb and openbox
// (scripts/headless --x11): the application is still running afterwards and shows what the user needs next (a note,
// a toast, an alert, the hidden-notes panel); it is reachable, takes the keyboard, and quits cleanly on a signal.
#include "support/RunningApp.h"

#include <csignal>

namespace {

const QString emptyToast = u"toast: \"This TackPad workspace contains no notes (yet)\""_qs;
const QString folderNotFound = u"alert: \"Notes folder not found\""_qs;

} // namespace

class TestLaunchPaths : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_app = std::make_unique<RunningApp>(); }

    void cleanup()
    {
        if (QTest::currentTestFailed())
            qWarning().noquote() << "Its output:\n" << m_app->log().right(3000);
        m_app.reset();
    }

    void listedWorkspaceThatIsGoneIsDroppedAtLaunch()
    {
        launchOnNotes({m_app->path(u"Gone"_qs)});
        QVERIFY(windowShows(u"a"_qs));
        // Written at once, so that a launch that failed later would not meet the folder again.
        QTRY_VERIFY_WITH_TIMEOUT(!m_app->settingsText().contains(u"Gone"_qs), RunningApp::patienceMs);
        expectRunning();
    }

    void emptyWorkspaceSaysSoAndShowsAWayIn_data()
    {
        QTest::addColumn<bool>("bySwitching");
        QTest::newRow("launched into it") << false;
        QTest::newRow("switched to it with Ctrl+2") << true;
    }

    void emptyWorkspaceSaysSoAndShowsAWayIn()
    {
        QFETCH(bool, bySwitching);
        const QString empty = m_app->makeFolder(u"Empty"_qs);
        if (bySwitching) {
            launchOnNotes({empty});
            QVERIFY(activateWindow(u"a"_qs));
            QVERIFY(pressKeys(u"ctrl+2"_qs));
        } else {
            m_app->writeSettingsOf(empty, {empty});
            launch();
        }
        QVERIFY(m_app->waitForLog(emptyToast));
        // No tray on this display: with no note, the hidden-notes panel (with the menus) is what the user can use.
        QVERIFY(windowShows(u"Hidden Notes"_qs));
        expectRunning();
    }

    // A settings file edited by hand or left by another version: wrong kinds of values, numbers that are none, more
    // workspaces than there are keys for. What can be used is; the rest reads as unset.
    void handWrittenSettingsFile()
    {
        const QString notes = m_app->makeFolder(u"Notes"_qs);
        RunningApp::writeNote(notes + u"/a.md"_qs, u"x100 y300"_qs, u"a"_qs);
        QStringList listed {u"relative/folder"_qs, notes};
        for (int i = 1; i <= 10; ++i)
            listed << m_app->makeFolder(u"W%1"_qs.arg(i));
        m_app->writeSettings(u"[General]\nonboardingAccepted=yes\nnotesFolder=%1\nworkspaces=%2\n"
                             "usePreviousNoteSettings=0\nfixedNoteWidth=1e999\nfixedNoteHeight=tall\n"
                             "fixedNoteFontSize=nan\nfixedNoteColor=@Rect(1 2 3 4)\nreopenLastWorkspace=a, b\n"
                             "darkMode=@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\x1bgarbage)\nmenuBarMode=perhaps\n"_qs.arg(
                                 notes, listed.join(u", "_qs)));
        launch();
        QVERIFY(activateWindow(u"a"_qs));
        QVERIFY(pressKeys(u"ctrl+n"_qs));
        QTRY_VERIFY_WITH_TIMEOUT(
            readFile(notes + u"/New note.md"_qs).contains(u" w270 h260 "_qs), RunningApp::patienceMs);
        // Ten workspaces kept, the relative one dropped: Ctrl+0 is the ninth folder made above.
        QVERIFY(activateWindow(u"New note"_qs));
        QVERIFY(pressKeys(u"ctrl+0"_qs));
        QTRY_VERIFY_WITH_TIMEOUT(
            m_app->settingsText().contains(u"notesFolder=file://%1\n"_qs.arg(m_app->path(u"W9"_qs))),
            RunningApp::patienceMs);
        expectRunning();
    }

    void openFolderDeleted_data()
    {
        QTest::addColumn<bool>("otherListed");
        QTest::addColumn<bool>("quitSignal"); // instead of Return on the alert
        // Another listed folder takes over, and its own message waits until the alert is answered.
        QTest::newRow("another workspace listed: switched to it") << true << false;
        QTest::newRow("none listed: Choose Folder… is the default button") << false << false;
        // The alert was not answered: the folder is still the one to look for next time.
        QTest::newRow("quit signal while the alert is open keeps the folder") << false << true;
    }

    void openFolderDeleted()
    {
        QFETCH(bool, otherListed);
        QFETCH(bool, quitSignal);
        const QString other = m_app->makeFolder(u"Other"_qs);
        const QString notes = launchOnNotes(otherListed ? QStringList {other} : QStringList {});
        QVERIFY(windowShows(u"a"_qs));
        QVERIFY(QDir(notes).removeRecursively());
        QVERIFY(m_app->waitForLog(folderNotFound));
        QVERIFY(windowShows(u"Tackpad"_qs));
        if (quitSignal) {
            m_process->terminate();
            expectCleanExit();
            QVERIFY(m_app->settingsText().contains(u"notesFolder="_qs));
            return;
        }
        QVERIFY(!m_app->log().contains(emptyToast));
        QVERIFY(activateWindow(u"Tackpad"_qs));
        QVERIFY(pressKeys(u"Return"_qs));
        if (otherListed) {
            QVERIFY(m_app->waitForLog(emptyToast));
            QTRY_VERIFY_WITH_TIMEOUT(
                m_app->settingsText().contains(u"notesFolder=file://"_qs + other + u"\n"_qs), RunningApp::patienceMs);
        } else {
            QVERIFY(chooseFolderInPanel(other, other + u"/Welcome.md"_qs));
            QVERIFY(windowShows(u"Welcome"_qs));
        }
        expectRunning();
    }

    void quitSignalsWriteEditsAlsoFromADialog_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGHUP") << SIGHUP;
    }

    void quitSignalsWriteEditsAlsoFromADialog()
    {
        QFETCH(int, signal);
        const QString notes = launchOnNotes();
        QVERIFY(activateWindow(u"a"_qs));
        QVERIFY(pressKeys(u"ctrl+End"_qs));
        QVERIFY(typeText(u" typed"_qs));
        // The import panel is modal; the edit is still waiting for its save.
        QVERIFY(pressKeys(u"ctrl+o"_qs));
        QVERIFY(windowShows(u"Import Markdown Files"_qs));
        QCOMPARE(::kill(pid_t(m_process->processId()), signal), 0);
        expectCleanExit();
        QCOMPARE(readFile(notes + u"/a.md"_qs).section(u"---\n"_qs, -1), u"a typed"_qs);
    }

    // Until the terms are agreed nothing is created and nothing written, whatever asks for a note.
    void nothingHappensBeforeTheTermsAreAgreed()
    {
        launch();
        QVERIFY(activateWindow(u"Welcome to Tackpad"_qs));
        QVERIFY(pressKeys(u"ctrl+alt+bracketleft"_qs));
        QProcess *second = m_app->start({u"--new-note"_qs});
        QVERIFY(second->waitForFinished(RunningApp::patienceMs));
        QVERIFY(!windowShows(u"Select folder for TackPad"_qs, 2000));
        // Quit is the dialog's Escape; were a folder panel open over it, Escape would close that instead.
        QVERIFY(activateWindow(u"Welcome to Tackpad"_qs));
        QVERIFY(pressKeys(u"Escape"_qs));
        expectCleanExit();
        const QString settings = m_app->settingsText();
        for (const QString &key : {u"notesFolder"_qs, u"workspaces"_qs, u"onboardingAccepted"_qs})
            QVERIFY2(!settings.contains(key), qPrintable(settings));
    }

    // With every note hidden, launching Tackpad again opens the hidden-notes panel, which does what a note does.
    void launchingAgainWithEveryNoteHidden()
    {
        const QString notes = launchOnNotes({}, u"x100 y300 hidden"_qs);
        QVERIFY(m_app->waitForLog(u"toast: \"All notes in this workspace are hidden"_qs));
        QVERIFY(activateWindow(u"Hidden Notes"_qs));
        QVERIFY(pressKeys(u"Escape"_qs));
        QTRY_VERIFY_WITH_TIMEOUT(!windowShows(u"Hidden Notes"_qs, 0), RunningApp::patienceMs);

        QVERIFY(m_app->start()->waitForFinished(RunningApp::patienceMs));
        QVERIFY(activateWindow(u"Hidden Notes"_qs));
        QVERIFY(pressKeys(u"ctrl+n"_qs));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(notes + u"/New note.md"_qs), RunningApp::patienceMs);
        expectRunning();
    }

    // The front note has the keyboard after a launch and after each switch, without a click.
    void keyboardWorksAtOnce()
    {
        const QString two = m_app->makeFolder(u"Two"_qs);
        RunningApp::writeNote(two + u"/b.md"_qs, u"x400 y300"_qs, u"b"_qs);
        const QString one = m_app->makeFolder(u"Notes"_qs);
        RunningApp::writeNote(one + u"/front.md"_qs, u"x200 y300 z5"_qs, u"front"_qs);
        launchOnNotes({two}, u"x100 y300 z1"_qs);
        const std::pair<QString, QString> steps[]
            = {{{}, u"front"_qs}, {u"ctrl+2"_qs, u"b"_qs}, {u"ctrl+1"_qs, u"front"_qs}};
        for (const auto &[key, title] : steps) {
            QVERIFY(key.isEmpty() || pressKeys(key));
            QTRY_COMPARE_WITH_TIMEOUT(activeWindowTitle(), title, RunningApp::patienceMs);
        }
        QVERIFY(typeText(u"!"_qs));
        QTRY_VERIFY_WITH_TIMEOUT(readFile(one + u"/front.md"_qs).contains(u"!"_qs), RunningApp::patienceMs);
    }

private:
    void launch()
    {
        m_process = m_app->start();
        QVERIFY(m_process->waitForStarted());
    }

    // Launches on the settings of an earlier run that left "Notes" open, with one note "a" in it, and `others` in
    // the Workspaces menu after it. Returns the folder.
    QString launchOnNotes(const QStringList &others = {}, const QString &properties = u"x100 y300"_qs)
    {
        const QString notes = m_app->makeFolder(u"Notes"_qs);
        RunningApp::writeNote(notes + u"/a.md"_qs, properties, u"a"_qs);
        m_app->writeSettingsOf(notes, QStringList {notes} + others);
        launch();
        return notes;
    }

    void expectRunning()
    {
        QVERIFY2(m_process->state() == QProcess::Running,
            qPrintable(u"Tackpad ended with status %1"_qs.arg(m_process->exitCode())));
    }

    void expectCleanExit()
    {
        const QString problem = m_app->quitProblem(m_process);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
    }

    std::unique_ptr<RunningApp> m_app;
    QProcess *m_process = nullptr;
};

TACKPAD_X11_TEST_MAIN(TestLaunchPaths, QCoreApplication)

#include "tst_launchpaths_x11.moc"
