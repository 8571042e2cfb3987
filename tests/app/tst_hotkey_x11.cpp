// The global new-note hot key through the application object, under a real X server (scripts/headless --x11):
// xdotool presses Ctrl+Alt+[ as a user would, from outside the application.
#include "core/Alerts.h"
#include "app/WorkspaceSession.h"
#include "platform/GlobalHotKey.h"
#include "store/NoteStore.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "support/XdoTool.h"

namespace {

bool pressHotKey()
{
    return xdotool({u"key"_qs, u"ctrl+alt+bracketleft"_qs});
}

struct NoAlerts : AlertPresenter {
    int show(const Alert &) override { return 0; }
};

} // namespace

class TestHotKey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void pressesMakeOneNoteEach()
    {
        QTemporaryDir dir;
        QTemporaryDir settingsDir;
        QFile note(dir.filePath(u"a.md"_qs));
        QVERIFY(note.open(QIODevice::WriteOnly));
        note.write("---\ntackpad: \"x100 y100\"\n---\na");
        note.close();
        Settings settings(settingsDir.filePath(u"s.ini"_qs));
        settings.setValue(SettingsKey::onboardingAccepted, true);
        settings.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(dir.path()));
        NoAlerts alerts;
        WorkspaceSession::Services services;
        services.alerts = &alerts;
        WorkspaceSession app(settings, services);
        QVERIFY(app.launch());
        QVERIFY(app.hotKey());
        QTRY_VERIFY(app.hotKey()->isRegistered());
        NoteStore *store = app.store();
        QCOMPARE(store->controllerCount(), 1);

        QVERIFY(pressHotKey());
        QTRY_COMPARE(store->controllerCount(), 2);

        // NumLock on must not hide the combination.
        QVERIFY(xdotool({u"key"_qs, u"Num_Lock"_qs}));
        QVERIFY(pressHotKey());
        QVERIFY(xdotool({u"key"_qs, u"Num_Lock"_qs}));
        QTRY_COMPARE(store->controllerCount(), 3);

        // Switched off, a press makes nothing; switched on again (twice, as a second Done would), one note per press.
        app.settings().setValue(SettingsKey::globalNewNoteHotKey, false);
        app.applyGlobalHotKey();
        QVERIFY(!app.hotKey()->isRegistered());
        QVERIFY(pressHotKey());
        app.settings().setValue(SettingsKey::globalNewNoteHotKey, true);
        app.applyGlobalHotKey();
        app.applyGlobalHotKey();
        QTRY_VERIFY(app.hotKey()->isRegistered());
        QVERIFY(pressHotKey());
        QTRY_COMPARE(store->controllerCount(), 4);
        // X delivers events in order: once this last press has made its note, every earlier press has been handled,
        // so a press that made two notes (or one made while switched off) would show in the count.
        QVERIFY(pressHotKey());
        QTRY_COMPARE(store->controllerCount(), 5);
        QCOMPARE(QDir(dir.path()).entryList({u"*.md"_qs}, QDir::Files).size(), 5);
    }
};

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
