// The global new-note hot key through the application object, under a real X server (scripts/headless --x11):
// xdotool presses Ctrl+Alt+[ as a user would, from outside the application.
#include "app/Alerts.h"
#include "app/AppDelegate.h"
#include "platform/GlobalHotKey.h"
#include "store/NoteStore.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "support/XdoTool.h"

namespace {


bool pressHotKey()
{
    return xdotool({u"key"_qs, u"ctrl+alt+bracketleft"_qs});
}

struct NoAlerts : AlertPresenter
{
    int show(const Alert &) override { return 0; }
};

} // namespace

class TestHotKey : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void pressesMakeOneNoteEach();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QTemporaryDir> m_settingsDir;
    std::unique_ptr<AppDelegate> m_app;
    NoAlerts m_alerts;
};

void TestHotKey::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_settingsDir = std::make_unique<QTemporaryDir>();
    QFile note(m_dir->filePath(u"a.md"_qs));
    QVERIFY(note.open(QIODevice::WriteOnly));
    note.write("---\ntackpad: \"x100 y100\"\n---\na");
    note.close();
    Settings settings(m_settingsDir->filePath(u"s.ini"_qs));
    settings.setValue(SettingsKey::onboardingAccepted, true);
    settings.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(m_dir->path()));
    AppDelegate::Services services;
    services.alerts = &m_alerts;
    m_app = std::make_unique<AppDelegate>(settings, services);
    QVERIFY(m_app->launch());
    QVERIFY(m_app->hotKey());
    QTRY_VERIFY(m_app->hotKey()->isRegistered());
}

void TestHotKey::cleanup()
{
    m_app.reset();
}

void TestHotKey::pressesMakeOneNoteEach()
{
    NoteStore *store = m_app->store();
    QCOMPARE(store->controllerCount(), 1);

    QVERIFY(pressHotKey());
    QTRY_COMPARE(store->controllerCount(), 2);

    // NumLock on must not hide the combination.
    QVERIFY(xdotool({u"key"_qs, u"Num_Lock"_qs}));
    QVERIFY(pressHotKey());
    QVERIFY(xdotool({u"key"_qs, u"Num_Lock"_qs}));
    QTRY_COMPARE(store->controllerCount(), 3);

    // Switched off, a press makes nothing; switched on again (twice, as a second Done would), one note per press.
    m_app->settings().setValue(SettingsKey::globalNewNoteHotKey, false);
    m_app->applyGlobalHotKey();
    QVERIFY(!m_app->hotKey()->isRegistered());
    QVERIFY(pressHotKey());
    m_app->settings().setValue(SettingsKey::globalNewNoteHotKey, true);
    m_app->applyGlobalHotKey();
    m_app->applyGlobalHotKey();
    QTRY_VERIFY(m_app->hotKey()->isRegistered());
    QVERIFY(pressHotKey());
    QTRY_COMPARE(store->controllerCount(), 4);
    // X delivers events in order: once this last press has made its note, every earlier press has been handled,
    // so a press that made two notes (or one made while switched off) would show in the count.
    QVERIFY(pressHotKey());
    QTRY_COMPARE(store->controllerCount(), 5);
    QCOMPARE(QDir(m_dir->path()).entryList({u"*.md"_qs}, QDir::Files).size(), 5);
}

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return 77; // needs the X server of scripts/headless --x11
    qputenv("QT_QPA_PLATFORM", "xcb");
    QStandardPaths::setTestModeEnabled(true);
    QApplication app(argc, argv);
    TestHotKey test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_hotkey_x11.moc"
