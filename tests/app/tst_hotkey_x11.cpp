// The global new-note hot key through the application object, under a real X server (scripts/headless --x11):
// xdotool presses Ctrl+Alt+[ as a user would, from outside the application.
#include "app/WorkspaceSession.h"
#include "platform/GlobalHotKey.h"
#include "store/NoteStore.h"
#include "support/StoreTestSupport.h"
#include "support/XdoTool.h"

#include <QApplication>

class TestHotKey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void pressesMakeOneNoteEach()
    {
        StoreTest::Workspace workspace;
        writeInPlace(workspace.path(u"a.md"_qs), StoreTest::noteText(u"x100 y100"_qs, u"a"_qs));
        workspace.config.setValue(SettingsKey::onboardingAccepted, true);
        workspace.config.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(workspace.folder));
        WorkspaceSession::Services services;
        services.alerts = &workspace.alerts;
        WorkspaceSession app(workspace.config, services);
        QVERIFY(app.launch());
        QTRY_VERIFY(app.hotKey()->isRegistered());
        NoteStore *store = app.store();
        const auto press = [] { return pressKeys(u"ctrl+alt+bracketleft"_qs); };
        QVERIFY(press());
        QTRY_COMPARE(store->controllerCount(), 2);

        // NumLock on must not hide the combination.
        QVERIFY(pressKeys(u"Num_Lock"_qs) && press() && pressKeys(u"Num_Lock"_qs));
        QTRY_COMPARE(store->controllerCount(), 3);

        // Switched off, a press makes nothing; switched on again (twice, as a second Done would), one note per press.
        app.settings().setValue(SettingsKey::globalNewNoteHotKey, false);
        app.applyGlobalHotKey();
        QVERIFY(!app.hotKey()->isRegistered());
        QVERIFY(press());
        app.settings().setValue(SettingsKey::globalNewNoteHotKey, true);
        app.applyGlobalHotKey();
        app.applyGlobalHotKey();
        QTRY_VERIFY(app.hotKey()->isRegistered());
        QVERIFY(press());
        QTRY_COMPARE(store->controllerCount(), 4);
        // X delivers events in order: once this last press has made its note, every earlier press has been handled,
        // so a press that made two notes (or one made while switched off) would show in the count.
        QVERIFY(press());
        QTRY_COMPARE(store->controllerCount(), 5);
        QCOMPARE(QDir(workspace.folder).entryList({u"*.md"_qs}, QDir::Files).size(), 5);
    }
};

TACKPAD_X11_TEST_MAIN(TestHotKey, QApplication)

#include "tst_hotkey_x11.moc"
