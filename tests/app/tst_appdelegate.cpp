#include "app/Alerts.h"
#include "app/AppDelegate.h"
#include "store/NoteController.h"
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
struct Script : AlertPresenter
{
    QList<Alert> alerts;
    QList<int> answers; // consumed in order; 0 (the default button) when empty
    QStringList folders; // answers of the folder panel, in order; cancel when empty
    bool agreeToOnboarding = true;
    int onboardingShown = 0;
    int folderPanels = 0;
    int quits = 0;
    QStringList toasts;

    int show(const Alert &alert) override
    {
        alerts.append(alert);
        return answers.isEmpty() ? 0 : answers.takeFirst();
    }

    AppDelegate::Services services()
    {
        AppDelegate::Services s;
        s.alerts = this;
        s.chooseFolder = [this]() -> std::optional<QString> {
            ++folderPanels;
            if (folders.isEmpty())
                return std::nullopt;
            return folders.takeFirst();
        };
        s.chooseMarkdownFiles = [] { return QStringList(); };
        s.runOnboarding = [this] {
            ++onboardingShown;
            return agreeToOnboarding;
        };
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

QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

class TestAppDelegate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void onboardingRefusedQuitsBeforeAskingForAFolder();
    void firstStartInAnEmptyFolderMakesOneWelcomeNote();
    void cancellingTheFirstFolderPromptQuits();
    void reopeningAnEmptyWorkspaceOnlySaysSo();
    void allHiddenNotesGetTheHiddenToastOnly();
    void importOffer_data();
    void importOffer();
    void startupWorkspaceThatIsGoneFallsBackToTheLastFolder();
    void vanishedFolderSwitchesToAnotherWorkspace();
    void vanishedFolderWithoutAlternativeAsksOrQuits_data();
    void vanishedFolderWithoutAlternativeAsksOrQuits();
    void secondWorkspaceShowsTheTipOnce();
    void switchingToADeletedWorkspaceRemovesIt();
    void quittingWritesPendingEdits();
    void welcomeTextNamesPlatformKeys();

private:
    QString makeFolder(const QString &name);
    std::unique_ptr<AppDelegate> makeDelegate();
    Settings settings() const { return Settings(m_settingsDir->filePath(u"s.ini"_qs)); }

    std::unique_ptr<QTemporaryDir> m_root;
    std::unique_ptr<QTemporaryDir> m_settingsDir;
    Script m_script;
};

void TestAppDelegate::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestAppDelegate::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    m_settingsDir = std::make_unique<QTemporaryDir>();
    m_script = {};
    Settings s = settings();
    s.setValue(SettingsKey::globalNewNoteHotKey, false);
}

void TestAppDelegate::cleanup()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QString TestAppDelegate::makeFolder(const QString &name)
{
    const QString path = m_root->filePath(name);
    QDir().mkpath(path);
    return path;
}

std::unique_ptr<AppDelegate> TestAppDelegate::makeDelegate()
{
    return std::make_unique<AppDelegate>(settings(), m_script.services());
}

void TestAppDelegate::onboardingRefusedQuitsBeforeAskingForAFolder()
{
    m_script.agreeToOnboarding = false;
    auto app = makeDelegate();
    QVERIFY(!app->launch());
    QCOMPARE(m_script.onboardingShown, 1);
    QCOMPARE(m_script.folderPanels, 0);
    QCOMPARE(m_script.quits, 1);
    QVERIFY(!settings().boolValue(SettingsKey::onboardingAccepted));
}

void TestAppDelegate::firstStartInAnEmptyFolderMakesOneWelcomeNote()
{
    const QString folder = makeFolder(u"Notes"_qs);
    m_script.folders = {folder};
    auto app = makeDelegate();
    QVERIFY(app->launch());
    QVERIFY(settings().boolValue(SettingsKey::onboardingAccepted));
    QTRY_COMPARE(app->store()->controllerCount(), 1);
    NoteController *welcome = app->store()->controller(u"Welcome.md"_qs);
    QVERIFY(welcome);
    QCOMPARE(welcome->note().meta.width, 365.0);
    QCOMPARE(welcome->note().meta.height, 365.0);
    QCOMPARE(welcome->note().meta.color, u"#FBF4A6"_qs);
    QVERIFY(readFile(folder + u"/Welcome.md"_qs).contains(u"# Welcome to Tackpad 👋"_qs));
    QCOMPARE(QDir(folder).entryList(QDir::Files), QStringList{u"Welcome.md"_qs});
    QVERIFY(m_script.toasts.isEmpty());
    QCOMPARE(settings().urlValue(SettingsKey::notesFolder)->toLocalFile(), folder);
    QCOMPARE(app->workspaces().paths(), QStringList{folder});

    // The next launch opens the same folder without asking and makes no second welcome note.
    app.reset();
    auto again = makeDelegate();
    QVERIFY(again->launch());
    QCOMPARE(m_script.onboardingShown, 1);
    QCOMPARE(m_script.folderPanels, 1);
    QCoreApplication::processEvents();
    QCOMPARE(again->store()->controllerCount(), 1);
}

void TestAppDelegate::cancellingTheFirstFolderPromptQuits()
{
    auto app = makeDelegate();
    QVERIFY(!app->launch());
    QCOMPARE(m_script.folderPanels, 1);
    QCOMPARE(m_script.quits, 1);
}

void TestAppDelegate::reopeningAnEmptyWorkspaceOnlySaysSo()
{
    const QString first = makeFolder(u"First"_qs);
    const QString empty = makeFolder(u"Empty"_qs);
    m_script.folders = {first};
    auto app = makeDelegate();
    QVERIFY(app->launch());
    QTRY_COMPARE(app->store()->controllerCount(), 1);
    app->switchToWorkspacePath(empty);
    QTRY_COMPARE(m_script.toasts, QStringList{u"This TackPad workspace contains no notes (yet)"_qs});
    QCOMPARE(app->store()->controllerCount(), 0);
}

void TestAppDelegate::allHiddenNotesGetTheHiddenToastOnly()
{
    const QString folder = makeFolder(u"Hidden"_qs);
    writeFile(folder + u"/a.md"_qs, u"---\ntackpad: \"hidden\"\n---\na"_qs);
    writeFile(folder + u"/plain.md"_qs, u"just markdown"_qs);
    m_script.folders = {folder};
    auto app = makeDelegate();
    QVERIFY(app->launch());
    QTRY_COMPARE(m_script.toasts.size(), 1);
    QVERIFY(m_script.toasts[0].startsWith(u"All notes in this workspace are hidden – press "_qs));
    QVERIFY(m_script.toasts[0].endsWith(u" or use Window → Hidden Notes… to unhide"_qs));
    QVERIFY(m_script.alerts.isEmpty()); // no import offer
    QCOMPARE(app->store()->controllerCount(), 1);
}

void TestAppDelegate::importOffer_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<int>("notesAfter");
    QTest::newRow("declined: remembered, then the empty toast") << 0 << 0;
    QTest::newRow("accepted: every file adopted") << 1 << 2;
}

void TestAppDelegate::importOffer()
{
    QFETCH(int, answer);
    QFETCH(int, notesAfter);
    const QString folder = makeFolder(u"Docs"_qs);
    writeFile(folder + u"/one.md"_qs, u"# One\n"_qs);
    writeFile(folder + u"/two.md"_qs, u"# Two\n"_qs);
    Settings s = settings();
    s.setValue(SettingsKey::onboardingAccepted, true);
    s.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(folder));
    m_script.answers = {answer};
    auto app = makeDelegate();
    QVERIFY(app->launch());
    QTRY_COMPARE(m_script.alerts.size(), 1);
    QCOMPARE(m_script.alerts[0].message, u"Import existing Markdown files?"_qs);
    QCOMPARE(m_script.alerts[0].buttons, (QStringList{u"Don't Import"_qs, u"Import"_qs}));
    QTRY_COMPARE(app->store()->controllerCount(), notesAfter);
    if (answer == 0) {
        // Declined: the folder stays without notes, which the toast says; no welcome note outside a first start.
        QCOMPARE(m_script.toasts, QStringList{u"This TackPad workspace contains no notes (yet)"_qs});
        QVERIFY(app->workspaces().importOfferDeclined(folder));
        app->switchToWorkspacePath(makeFolder(u"Elsewhere"_qs));
        app->switchToWorkspacePath(folder);
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
        QCOMPARE(m_script.alerts.size(), 1 + 1); // only the two-workspaces tip, no second offer
        QCOMPARE(m_script.alerts[1].message, u"You now have two workspaces"_qs);
    } else {
        QVERIFY(readFile(folder + u"/one.md"_qs).contains(u" adopt\"\n---\n# One\n"_qs));
    }
}

void TestAppDelegate::startupWorkspaceThatIsGoneFallsBackToTheLastFolder()
{
    const QString last = makeFolder(u"Last"_qs);
    writeFile(last + u"/n.md"_qs, u"---\ntackpad: \"x1\"\n---\nn"_qs);
    Settings s = settings();
    s.setValue(SettingsKey::onboardingAccepted, true);
    s.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(last));
    s.setValue(SettingsKey::reopenLastWorkspace, false);
    s.setValue(SettingsKey::startupWorkspace, m_root->filePath(u"Deleted"_qs));
    auto app = makeDelegate();
    QVERIFY(app->launch());
    QCOMPARE(app->store()->folder(), last);
    QCOMPARE(m_script.folderPanels, 0);
}

void TestAppDelegate::vanishedFolderSwitchesToAnotherWorkspace()
{
    const QString a = makeFolder(u"Alpha"_qs);
    const QString b = makeFolder(u"Beta"_qs);
    writeFile(b + u"/keep.md"_qs, u"---\ntackpad: \"x1\"\n---\nb"_qs);
    Settings s = settings();
    s.setValue(SettingsKey::onboardingAccepted, true);
    s.setValue(SettingsKey::workspaceTipShown, true);
    s.setValue(SettingsKey::workspaces, QStringList{a, b});
    s.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(a));
    auto app = makeDelegate();
    QVERIFY(app->launch());
    QCOMPARE(app->store()->folder(), a);
    QCoreApplication::processEvents(); // the checks that follow the opening
    m_script.toasts.clear();
    QVERIFY(QDir(a).removeRecursively());
    app->store()->rescan(); // the watcher would do this; the store reports the missing folder on a later turn
    QTRY_VERIFY(app->store() && app->store()->folder() == b);
    QCOMPARE(m_script.alerts.size(), 1);
    QCOMPARE(m_script.alerts[0].message, u"Notes folder not found"_qs);
    QCOMPARE(m_script.alerts[0].informativeText,
             u"The folder TackPad was using has been moved or deleted, so I've switched to your “Beta” workspace."_qs);
    QCOMPARE(app->workspaces().paths(), QStringList{b});
    QCOMPARE(settings().urlValue(SettingsKey::notesFolder)->toLocalFile(), b);
}

void TestAppDelegate::vanishedFolderWithoutAlternativeAsksOrQuits_data()
{
    QTest::addColumn<int>("answer");
    QTest::newRow("Choose Folder… opens the chosen folder") << 0;
    QTest::newRow("Quit TackPad forgets the folder and quits") << 1;
}

void TestAppDelegate::vanishedFolderWithoutAlternativeAsksOrQuits()
{
    QFETCH(int, answer);
    const QString only = makeFolder(u"Only"_qs);
    const QString fresh = makeFolder(u"Fresh"_qs);
    Settings s = settings();
    s.setValue(SettingsKey::onboardingAccepted, true);
    s.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(only));
    auto app = makeDelegate();
    QVERIFY(app->launch());
    QCoreApplication::processEvents(); // the checks that follow the opening
    QVERIFY(QDir(only).removeRecursively());
    m_script.answers = {answer};
    m_script.folders = {fresh};
    app->store()->rescan();
    QTRY_VERIFY(!m_script.alerts.isEmpty());
    QCOMPARE(m_script.alerts.size(), 1);
    QCOMPARE(m_script.alerts[0].buttons, (QStringList{u"Choose Folder…"_qs, u"Quit TackPad"_qs}));
    QCOMPARE(m_script.alerts[0].informativeText,
             u"The folder TackPad was using has been moved or deleted. Choose a folder for your notes."_qs);
    if (answer == 0) {
        QCOMPARE(app->store()->folder(), fresh);
        QTRY_VERIFY(app->store()->controller(u"Welcome.md"_qs)); // chosen from here, the welcome note may come
        QCOMPARE(m_script.quits, 0);
    } else {
        QVERIFY(!app->store());
        QCOMPARE(m_script.quits, 1);
        QVERIFY(!settings().contains(SettingsKey::notesFolder));
    }
}

void TestAppDelegate::secondWorkspaceShowsTheTipOnce()
{
    const QString a = makeFolder(u"A"_qs);
    const QString b = makeFolder(u"B"_qs);
    const QString c = makeFolder(u"C"_qs);
    writeFile(a + u"/n.md"_qs, u"---\ntackpad: \"x1\"\n---\nn"_qs);
    m_script.folders = {a};
    auto app = makeDelegate();
    QVERIFY(app->launch());
    app->switchToWorkspacePath(b);
    app->switchToWorkspacePath(c);
    QCoreApplication::processEvents();
    QStringList messages;
    for (const Alert &alert : std::as_const(m_script.alerts))
        messages << alert.message;
    QCOMPARE(messages.count(u"You now have two workspaces"_qs), 1);
    QVERIFY(settings().boolValue(SettingsKey::workspaceTipShown));
}

void TestAppDelegate::switchingToADeletedWorkspaceRemovesIt()
{
    const QString a = makeFolder(u"A"_qs);
    writeFile(a + u"/n.md"_qs, u"---\ntackpad: \"x1\"\n---\nn"_qs);
    const QString gone = m_root->filePath(u"Gone"_qs);
    Settings s = settings();
    s.setValue(SettingsKey::onboardingAccepted, true);
    s.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(a));
    auto app = makeDelegate();
    QVERIFY(app->launch());
    app->workspaces().setPaths({a, gone});
    app->switchToWorkspacePath(a); // the open one: nothing happens
    QVERIFY(m_script.alerts.isEmpty());
    app->switchToWorkspacePath(gone);
    QCOMPARE(m_script.alerts.size(), 1);
    QCOMPARE(m_script.alerts[0].message, u"Workspace removed"_qs);
    QCOMPARE(m_script.alerts[0].informativeText,
             u"The folder “%1” no longer exists, so it was removed from your workspaces."_qs.arg(gone));
    QCOMPARE(app->workspaces().paths(), QStringList{a});
    QCOMPARE(app->store()->folder(), a);
}

void TestAppDelegate::quittingWritesPendingEdits()
{
    const QString a = makeFolder(u"A"_qs);
    writeFile(a + u"/n.md"_qs, u"---\ntackpad: \"x1\"\n---\nold"_qs);
    Settings s = settings();
    s.setValue(SettingsKey::onboardingAccepted, true);
    s.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(a));
    auto app = makeDelegate();
    QVERIFY(app->launch());
    NoteController *note = app->store()->controller(u"n.md"_qs);
    note->note().body = u"new"_qs;
    app->store()->scheduleSave(note, NoteStore::editSaveDelay);
    app->prepareToQuit();
    QVERIFY(readFile(a + u"/n.md"_qs).endsWith(u"\n---\nnew"_qs));
}

void TestAppDelegate::welcomeTextNamesPlatformKeys()
{
    const QString text = AppDelegate::welcomeText();
    const QString newKey = QKeySequence(Qt::CTRL | Qt::Key_N).toString(QKeySequence::NativeText);
    QVERIFY(text.contains(u"- %1 makes a new note"_qs.arg(newKey)));
    QVERIFY(text.contains(u"[link](https://"_qs));
    QVERIFY(text.endsWith(u"so your layout travels with your files."_qs));
}

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    TestAppDelegate test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_appdelegate.moc"
