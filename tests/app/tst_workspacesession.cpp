#include "core/Alerts.h"
#include "app/WorkspaceSession.h"
#include "app/AppMenus.h"
#include "store/NoteController.h"
#include "store/NoteFiles.h"
#include "store/NoteStore.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Answers every dialog of the application from a script and records what the user would have seen.
struct Script : AlertPresenter {
    QList<Alert> alerts;
    QList<int> answers; // consumed in order; 0 (the default button) when empty
    QStringList folders; // answers of the folder panel, in order; cancel when empty
    bool agreeToOnboarding = true;
    int onboardingShown = 0;
    int folderPanels = 0;
    int quits = 0;
    QStringList toasts;
    // Runs while the folder panel is open, as a hot key press or a second launch would.
    std::function<void()> whileChoosingFolder;

    int show(const Alert &alert) override
    {
        alerts.append(alert);
        return answers.isEmpty() ? 0 : answers.takeFirst();
    }

    WorkspaceSession::Services services()
    {
        WorkspaceSession::Services s;
        s.alerts = this;
        s.chooseFolder = [this]() -> std::optional<QString> {
            ++folderPanels;
            if (whileChoosingFolder)
                whileChoosingFolder();
            return folders.isEmpty() ? std::nullopt : std::optional(folders.takeFirst());
        };
        s.runOnboarding = [this] { return ++onboardingShown, agreeToOnboarding; };
        s.quit = [this] { ++quits; };
        s.toast = [this](const QString &text, double) { toasts.append(text); };
        return s;
    }
};

void writeFile(const QString &path, const QString &text)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(text.toUtf8());
}

void writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

const QString emptyToast = u"This TackPad workspace contains no notes (yet)"_qs;

} // namespace

class TestWorkspaceSession : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init()
    {
        m_root = std::make_unique<QTemporaryDir>();
        m_settingsDir = std::make_unique<QTemporaryDir>();
        m_script = {};
        settings().setValue(SettingsKey::globalNewNoteHotKey, false);
    }

    void cleanup()
    {
        m_menus.reset();
        m_app.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void refusedFirstStartQuits_data()
    {
        QTest::addColumn<bool>("agree");
        QTest::addColumn<int>("folderPanels");
        QTest::newRow("onboarding refused: no folder asked") << false << 0;
        QTest::newRow("first folder prompt cancelled") << true << 1;
    }

    void refusedFirstStartQuits()
    {
        QFETCH(bool, agree);
        QFETCH(int, folderPanels);
        m_script.agreeToOnboarding = agree;
        QVERIFY(!launch());
        QCOMPARE(m_script.onboardingShown, 1);
        QCOMPARE(m_script.folderPanels, folderPanels);
        QCOMPARE(m_script.quits, 1);
        QCOMPARE(settings().boolValue(SettingsKey::onboardingAccepted), agree);
    }

    void firstStartInAnEmptyFolderMakesOneWelcomeNote()
    {
        const QString folder = makeFolder(u"Notes"_qs);
        m_script.folders = {folder};
        QVERIFY(launch());
        QTRY_COMPARE(m_app->store()->controllerCount(), 1);
        NoteController *welcome = m_app->store()->controller(u"Welcome.md"_qs);
        QVERIFY(welcome);
        QCOMPARE(welcome->note().meta.width, 365.0);
        QCOMPARE(welcome->note().meta.height, 365.0);
        QCOMPARE(welcome->note().meta.color, u"#FBF4A6"_qs);
        QVERIFY(readFile(folder + u"/Welcome.md"_qs).contains(u"# Welcome to Tackpad 👋"_qs));
        QCOMPARE(QDir(folder).entryList(QDir::Files), QStringList {u"Welcome.md"_qs});
        QVERIFY(m_script.toasts.isEmpty());
        QCOMPARE(settings().urlValue(SettingsKey::notesFolder)->toLocalFile(), folder);
        QCOMPARE(m_app->workspaces().paths(), QStringList {folder});

        // The next launch opens the same folder without asking and makes no second welcome note.
        QVERIFY(launch());
        QCOMPARE(m_script.onboardingShown, 1);
        QCOMPARE(m_script.folderPanels, 1);
        QCoreApplication::processEvents();
        QCOMPARE(m_app->store()->controllerCount(), 1);
    }

    void allHiddenNotesGetTheHiddenToastOnly()
    {
        const QString folder = makeFolder(u"Hidden"_qs);
        writeFile(folder + u"/a.md"_qs, u"---\ntackpad: \"hidden\"\n---\na"_qs);
        writeFile(folder + u"/plain.md"_qs, u"just markdown"_qs);
        m_script.folders = {folder};
        QVERIFY(launch());
        QTRY_COMPARE(m_script.toasts.size(), 1);
        QVERIFY(m_script.toasts[0].startsWith(u"All notes in this workspace are hidden – press "_qs));
        QVERIFY(m_script.toasts[0].endsWith(u" or use Window → Hidden Notes… to unhide"_qs));
        QVERIFY(m_script.alerts.isEmpty()); // no import offer
        QCOMPARE(m_app->store()->controllerCount(), 1);
    }

    void filesThatCannotBeShownAreToldOnce()
    {
        const QString folder = makeFolder(u"Skipped"_qs);
        writeFile(folder + u"/a.md"_qs, u"---\ntackpad: \"x1\"\n---\na"_qs);
        const QByteArray big = "---\ntackpad: \"x2\"\n---\n" + QByteArray(NoteFiles::maxNoteFileSize, 'x');
        writeBytes(folder + u"/Big.md"_qs, big);
        writeBytes(folder + u"/Bad.md"_qs, "---\ntackpad: \"x3\"\n---\nbad \xff bytes");
        m_script.folders = {folder};
        QVERIFY(launch());
        QTRY_COMPARE(m_script.toasts,
            QStringList {
                u"2 files are not shown (unreadable, not UTF-8 text, or larger than 4 MB): “Bad.md”, “Big.md”"_qs});
        QCOMPARE(m_app->store()->controllerCount(), 1);

        // Still unusable: nothing new to tell. Usable again and then broken once more: told again.
        m_app->store()->rescan();
        writeBytes(folder + u"/Bad.md"_qs, "---\ntackpad: \"x3\"\n---\nfixed");
        QTRY_COMPARE(m_app->store()->controllerCount(), 2);
        QCOMPARE(m_script.toasts.size(), 1);
        writeBytes(folder + u"/Bad.md"_qs, "---\ntackpad: \"x3\"\n---\nbroken \xc3");
        QTRY_COMPARE(m_script.toasts.size(), 2);
        QCOMPARE(m_script.toasts.last(), u"“Bad.md” is not shown: not valid UTF-8 text"_qs);
        QCOMPARE(m_app->store()->controllerCount(), 2); // the note keeps its window, as for any unreadable file
    }

    void importOffer_data()
    {
        QTest::addColumn<int>("answer");
        QTest::addColumn<int>("notesAfter");
        QTest::newRow("declined: remembered, then the empty toast") << 0 << 0;
        QTest::newRow("accepted: every file adopted") << 1 << 2;
    }

    void importOffer()
    {
        QFETCH(int, answer);
        QFETCH(int, notesAfter);
        const QString folder = makeFolder(u"Docs"_qs);
        writeFile(folder + u"/one.md"_qs, u"# One\n"_qs);
        writeFile(folder + u"/two.md"_qs, u"# Two\n"_qs);
        alreadyUsing(folder);
        m_script.answers = {answer};
        QVERIFY(launch());
        QTRY_COMPARE(m_script.alerts.size(), 1);
        QCOMPARE(m_script.alerts[0].message, u"Import existing Markdown files?"_qs);
        QCOMPARE(m_script.alerts[0].buttons, (QStringList {u"Don't Import"_qs, u"Import"_qs}));
        QTRY_COMPARE(m_app->store()->controllerCount(), notesAfter);
        if (answer == 1) {
            QVERIFY(readFile(folder + u"/one.md"_qs).contains(u" adopt\"\n---\n# One\n"_qs));
            return;
        }
        // Declined: the folder stays without notes, which the toast says; no welcome note outside a first start.
        QCOMPARE(m_script.toasts, QStringList {emptyToast});
        QVERIFY(m_app->workspaces().importOfferDeclined(folder));
        m_app->switchToWorkspacePath(makeFolder(u"Elsewhere"_qs));
        m_app->switchToWorkspacePath(folder);
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
        QCOMPARE(m_script.alerts.size(), 1 + 1); // only the two-workspaces tip, no second offer
        QCOMPARE(m_script.alerts[1].message, u"You now have two workspaces"_qs);
    }

    void startupWorkspaceThatIsGoneFallsBackToTheLastFolder()
    {
        const QString last = makeFolder(u"Last"_qs, true);
        alreadyUsing(last);
        Settings s = settings();
        s.setValue(SettingsKey::reopenLastWorkspace, false);
        s.setValue(SettingsKey::startupWorkspace, m_root->filePath(u"Deleted"_qs));
        QVERIFY(launch());
        QCOMPARE(m_app->store()->folder(), last);
        QCOMPARE(m_script.folderPanels, 0);
    }

    void vanishedFolderSwitchesToAnotherWorkspace()
    {
        const QString a = makeFolder(u"Alpha"_qs);
        const QString b = makeFolder(u"Beta"_qs, true);
        alreadyUsing(a);
        settings().setValue(SettingsKey::workspaceTipShown, true);
        settings().setValue(SettingsKey::workspaces, QStringList {a, b});
        QVERIFY(launch());
        QCOMPARE(m_app->store()->folder(), a);
        QCoreApplication::processEvents(); // the checks that follow the opening
        QVERIFY(QDir(a).removeRecursively());
        m_app->store()->rescan(); // the watcher would do this; the store reports the missing folder on a later turn
        QTRY_VERIFY(m_app->store() && m_app->store()->folder() == b);
        QCOMPARE(m_script.alerts.size(), 1);
        QCOMPARE(m_script.alerts[0].message, u"Notes folder not found"_qs);
        QCOMPARE(m_script.alerts[0].informativeText,
            u"The folder TackPad was using has been moved or deleted, so I've switched to your “Beta” workspace."_qs);
        QCOMPARE(m_app->workspaces().paths(), QStringList {b});
        QCOMPARE(settings().urlValue(SettingsKey::notesFolder)->toLocalFile(), b);
    }

    void vanishedFolderWithoutAlternativeAsksOrQuits_data()
    {
        QTest::addColumn<int>("answer");
        QTest::newRow("Choose Folder… opens the chosen folder") << 0;
        QTest::newRow("Quit TackPad forgets the folder and quits") << 1;
    }

    void vanishedFolderWithoutAlternativeAsksOrQuits()
    {
        QFETCH(int, answer);
        const QString only = makeFolder(u"Only"_qs);
        const QString fresh = makeFolder(u"Fresh"_qs);
        alreadyUsing(only);
        QVERIFY(launch());
        QCoreApplication::processEvents(); // the checks that follow the opening
        QVERIFY(QDir(only).removeRecursively());
        m_script.answers = {answer};
        m_script.folders = {fresh};
        m_app->store()->rescan();
        QTRY_VERIFY(!m_script.alerts.isEmpty());
        QCOMPARE(m_script.alerts.size(), 1);
        QCOMPARE(m_script.alerts[0].buttons, (QStringList {u"Choose Folder…"_qs, u"Quit TackPad"_qs}));
        QCOMPARE(m_script.alerts[0].informativeText,
            u"The folder TackPad was using has been moved or deleted. Choose a folder for your notes."_qs);
        if (answer == 0) {
            QCOMPARE(m_app->store()->folder(), fresh);
            QTRY_VERIFY(m_app->store()->controller(u"Welcome.md"_qs)); // chosen from here, the welcome note may come
            QCOMPARE(m_script.quits, 0);
        } else {
            QVERIFY(!m_app->store());
            QCOMPARE(m_script.quits, 1);
            QVERIFY(!settings().contains(SettingsKey::notesFolder));
        }
    }

    void emptyWorkspacesAndTheTipOnce()
    {
        const QString a = makeFolder(u"A"_qs, true);
        m_script.folders = {a};
        QVERIFY(launch());
        m_app->switchToWorkspacePath(makeFolder(u"B"_qs));
        // Outside a first start an empty folder only gets the toast: no welcome note, no import offer.
        QTRY_COMPARE(m_script.toasts, QStringList {emptyToast});
        QCOMPARE(m_app->store()->controllerCount(), 0);
        m_app->switchToWorkspacePath(makeFolder(u"C"_qs));
        QCoreApplication::processEvents();
        QCOMPARE(m_script.alerts.size(), 1);
        QCOMPARE(m_script.alerts[0].message, u"You now have two workspaces"_qs);
        QVERIFY(settings().boolValue(SettingsKey::workspaceTipShown));
    }

    void switchingToADeletedWorkspaceRemovesIt()
    {
        const QString a = makeFolder(u"A"_qs, true);
        const QString gone = m_root->filePath(u"Gone"_qs);
        alreadyUsing(a);
        QVERIFY(launch());
        m_app->workspaces().setPaths({a, gone});
        m_app->switchToWorkspacePath(a); // the open one: nothing happens
        QVERIFY(m_script.alerts.isEmpty());
        m_app->switchToWorkspacePath(gone);
        QCOMPARE(m_script.alerts.size(), 1);
        QCOMPARE(m_script.alerts[0].message, u"Workspace removed"_qs);
        QCOMPARE(m_script.alerts[0].informativeText,
            u"The folder “%1” no longer exists, so it was removed from your workspaces."_qs.arg(gone));
        QCOMPARE(m_app->workspaces().paths(), QStringList {a});
        QCOMPARE(m_app->store()->folder(), a);
    }

    void quittingWritesPendingEdits()
    {
        const QString a = makeFolder(u"A"_qs, true);
        alreadyUsing(a);
        QVERIFY(launch());
        NoteController *note = m_app->store()->controller(u"n.md"_qs);
        note->note().body = u"new"_qs;
        m_app->store()->noteEdited(note);
        m_app->prepareToQuit();
        QVERIFY(readFile(a + u"/n.md"_qs).endsWith(u"\n---\nnew"_qs));
    }

    // A hot key press or another launch while the first folder panel is open: no second panel over it.
    void nothingElseAsksWhileTheFolderPanelIsOpen()
    {
        const QString folder = makeFolder(u"Notes"_qs);
        m_script.folders = {folder};
        m_script.whileChoosingFolder = [this] {
            m_app->newNote();
            QVERIFY(!m_app->reopen());
        };
        QVERIFY(launch());
        QCOMPARE(m_script.folderPanels, 1);
        QTRY_VERIFY(m_app->store()->controller(u"Welcome.md"_qs));
        QCOMPARE(m_app->store()->controllerCount(), 1);
    }

    void welcomeTextNamesPlatformKeys()
    {
        const QString text = WorkspaceSession::welcomeText();
        const QString newKey = QKeySequence(Qt::CTRL | Qt::Key_N).toString(QKeySequence::NativeText);
        QVERIFY(text.contains(u"- %1 makes a new note"_qs.arg(newKey)));
        QVERIFY(text.contains(u"[link](https://"_qs));
        QVERIFY(text.endsWith(u"so your layout travels with your files."_qs));
    }

private:
    QString makeFolder(const QString &name, bool withNote = false)
    {
        const QString path = m_root->filePath(name);
        QDir().mkpath(path);
        if (withNote)
            writeFile(path + u"/n.md"_qs, u"---\ntackpad: \"x1\"\n---\nold"_qs);
        return path;
    }

    // Onboarding done and this folder chosen on an earlier run.
    void alreadyUsing(const QString &folder)
    {
        Settings s = settings();
        s.setValue(SettingsKey::onboardingAccepted, true);
        s.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(folder));
    }

    bool launch()
    {
        m_menus.reset(); // like a real restart, the previous run is gone before the next starts
        m_app.reset();
        m_app = std::make_unique<WorkspaceSession>(settings(), m_script.services());
        // The menus follow every opening, switch and recovery, as in the application.
        m_menus = std::make_unique<AppMenus>(*m_app);
        return m_app->launch();
    }
    Settings settings() const { return Settings(m_settingsDir->filePath(u"s.ini"_qs)); }

    std::unique_ptr<QTemporaryDir> m_root;
    std::unique_ptr<QTemporaryDir> m_settingsDir;
    Script m_script;
    std::unique_ptr<WorkspaceSession> m_app;
    std::unique_ptr<AppMenus> m_menus;
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    TestWorkspaceSession test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_workspacesession.moc"
