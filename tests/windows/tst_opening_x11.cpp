// Opening a workspace on a real X server with a window manager writes nothing: notes off the screen, larger than
// it, at fractional positions, with the "keep" alias or stacked exactly on top of each other are shown corrected,
// and every file and the settings stay byte for byte.
#include "support/WindowTestSupport.h"
#include "support/XdoTool.h"

#include <QApplication>

class TestOpeningX11 : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void openingWritesNothing()
    {
        const QMap<QString, QByteArray> notes {
            {"left monitor.md", "---\ntackpad: \"x-3000 y300 w270 h260 z1 #FBF4A6 s12\"\n---\nleft\n"},
            {"right monitor.md", "---\ntackpad: \"x5000 y300 w270 h260 z2 #FBF4A6 s12\"\n---\nright\n"},
            {"wide.md", "---\ntackpad: \"x100 y100 w3000 h20000 z3 #FBF4A6 s12\"\n---\nwide\n"},
            {"fractional.md", "---\ntackpad: x120.4 y300.6 w270.5 h260.2 z4 keep\n---\nfraction\n"},
            {"twin.md", "---\ntitle: mine\ntackpad: \"x400 y300 w270 h260 z5 #B8E0F5 s14\"\n---\ntwin\n"},
            {"twin (conflict copy).md", "---\ntackpad: \"x400 y300 w270 h260 z5 #B8E0F5 s14\"\n---\ntwin 2\n"},
            {"rolled.md", "---\ntackpad: \"x700 y200 w300 h240 z6 #FBF4A6 s12 rolled\"\n---\nrolled\n"},
        };
        WindowTest::WindowedWorkspace workspace;
        for (auto it = notes.cbegin(); it != notes.cend(); ++it)
            writeInPlace(workspace.path(it.key()), it.value());
        workspace.config.setValue(SettingsKey::defaultNoteWidth, 333.0);
        workspace.config.sync();
        const QString settingsPath = workspace.root.filePath(u"settings.ini"_qs);
        const QByteArray settingsBefore = readBytes(settingsPath);

        QSignalSpy written(workspace.store.get(), &NoteStore::noteWritten);
        workspace.store->rescan();
        workspace.store->startWatching();
        QCOMPARE(workspace.store->controllerCount(), notes.size());
        for (const QString &name : notes.keys())
            QVERIFY(QTest::qWaitForWindowExposed(workspace.controller(name)->window()));
        // Whatever the window manager does with them now must not reach a file.
        QVERIFY2(!written.wait(1500), written.isEmpty() ? "" : qPrintable(written.first().first().toString()));
        for (const QString &name : notes.keys())
            QVERIFY2(!workspace.store->hasPendingSave(name), qPrintable(name));

        // The twins are both visible: the second one is shown moved aside.
        QVERIFY(workspace.controller("twin.md")->window()->pos()
            != workspace.controller("twin (conflict copy).md")->window()->pos());

        workspace.store->shutdown();
        for (auto it = notes.cbegin(); it != notes.cend(); ++it)
            QCOMPARE(readBytes(workspace.path(it.key())), it.value());
        QCOMPARE(readBytes(settingsPath), settingsBefore);
    }
};

TACKPAD_X11_TEST_MAIN(TestOpeningX11, QApplication)

#include "tst_opening_x11.moc"
