// Note windows under a real X server with a window manager (scripts/headless --x11 runs Xvfb with openbox): the
// user's mouse, through xdotool, moves and rolls notes, and the file follows; what the window manager does on its own
// never reaches a file.
#include "editor/MarkdownTextView.h"
#include "notes/ScreenCoordinates.h"
#include "support/WindowTestSupport.h"
#include "support/XdoTool.h"
#include "windows/TitleBarView.h"

#include <QAbstractNativeEventFilter>
#include <QApplication>

#include <xcb/xcb.h>

namespace {

// Counts how often another client took the pointer from this application's windows. The window manager does so when
// it starts moving a window; until then, pointer motion is still the application's and does not move the window.
class PointerGrabCounter : public QAbstractNativeEventFilter {
public:
    PointerGrabCounter() { qApp->installNativeEventFilter(this); }
    ~PointerGrabCounter() override { qApp->removeNativeEventFilter(this); }
    int count() const { return m_count; }

    bool nativeEventFilter(const QByteArray &type, void *message, qintptr *) override
    {
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        if (type == "xcb_generic_event_t" && (event->response_type & 0x7f) == XCB_LEAVE_NOTIFY
            && reinterpret_cast<const xcb_leave_notify_event_t *>(event)->mode == XCB_NOTIFY_MODE_GRAB)
            ++m_count;
        return false;
    }

private:
    int m_count = 0;
};

const QString note = u"Drag me.md"_qs;

// The stacking states (_NET_WM_STATE) the window manager keeps for a window.
QString windowStates(WId window)
{
    QProcess xprop;
    xprop.start(u"xprop"_qs, {u"-id"_qs, QString::number(window), u"_NET_WM_STATE"_qs});
    return xprop.waitForFinished(10000) ? QString::fromUtf8(xprop.readAllStandardOutput()) : QString();
}

// The managed windows, bottom to top.
QList<WId> stackingOrder()
{
    QProcess xprop;
    xprop.start(u"xprop"_qs, {u"-root"_qs, u"_NET_CLIENT_LIST_STACKING"_qs});
    if (!xprop.waitForFinished(10000))
        return {};
    QList<WId> windows;
    const QString ids = QString::fromUtf8(xprop.readAllStandardOutput()).section(u'#', 1);
    for (const QString &id : ids.split(u',', Qt::SkipEmptyParts))
        windows.append(id.trimmed().toULongLong(nullptr, 16));
    return windows;
}

// The window manager's frame around a client window: the client's id is what the stacking list names.
WId clientWindow(const QWidget *widget)
{
    return widget->windowHandle() ? widget->windowHandle()->winId() : 0;
}

} // namespace

class TestNoteWindowX11 : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_workspace = std::make_unique<WindowTest::WindowedWorkspace>();
        m_c = m_workspace->openNote(note, u"x200 y300 w300 h220 z1 #FBF4A6 s12"_qs, u"Drag me around\n"_qs);
        QVERIFY(m_c);
    }
    void cleanup() { m_workspace.reset(); }

    void draggingTheTitleBarMovesTheNote()
    {
        const QPoint start = m_c->window()->geometry().topLeft();
        const QPoint grip = titleBarPoint(m_c->titleBar()->width() / 2);
        QVERIFY(movePointer(grip));
        QSignalSpy moveStarted(m_c->titleBar(), &TitleBarView::moveStarted);
        PointerGrabCounter grabs;
        QVERIFY(xdotool({u"mousedown"_qs, u"1"_qs}));
        QVERIFY(movePointer(grip + QPoint(2, 2)));
        QVERIFY(moveStarted.count() == 1 || moveStarted.wait(5000));
        // The window manager moves the window only by the motion it sees after it has taken the pointer: go on once
        // it has (on a display without one the note follows the pointer by itself).
        if (windowManagerRunning())
            QTRY_VERIFY_WITH_TIMEOUT(grabs.count() > 0, 20000);
        QVERIFY(movePointer(grip + QPoint(100, 60)));
        QVERIFY(xdotool({u"mouseup"_qs, u"1"_qs}));
        // The window manager takes over once the move threshold is crossed; what the pointer travelled before that
        // is the only slack.
        const int slack = TitleBarView::moveThreshold + 1;
        QTRY_VERIFY((m_c->window()->geometry().topLeft() - (start + QPoint(100, 60))).manhattanLength() <= slack);

        const qreal height = ScreenCoordinates::primaryVisibleArea()->primaryScreenHeight;
        const QRectF fileFrame = ScreenCoordinates::toFileRect(QRectF(m_c->window()->geometry()), height);
        QVERIFY(qAbs(fileFrame.x() - 300) <= slack);
        QVERIFY(qAbs(fileFrame.y() - 240) <= slack); // 60 pixels down on screen is 60 points lower in the file's y
        const QString line = m_workspace->propertyLine(note);
        QVERIFY2(line.startsWith(u"tackpad: \"x%1 y%2 w300 h220"_qs.arg(fileFrame.x()).arg(fileFrame.y())),
            qPrintable(line));
    }

    void rollButtonRollsAndUnrolls()
    {
        const int top = m_c->window()->geometry().top();
        QVERIFY(clickAt(titleBarPoint(m_c->titleBar()->width() - 12))); // the right-most button
        QTRY_COMPARE(m_c->window()->height(), 20);
        QCOMPARE(m_c->window()->geometry().top(), top);
        QVERIFY(!m_c->textView()->isVisible());
        QCOMPARE(m_c->window()->maximumHeight(), 20); // a rolled note cannot be resized open
        const QString line = m_workspace->propertyLine(note);
        QVERIFY2(line.endsWith(u" rolled\""_qs) && line.contains(u" h220 "_qs), qPrintable(line));

        QVERIFY(xdotool({u"click"_qs, u"1"_qs}));
        QTRY_COMPARE(m_c->window()->height(), 220);
        QCOMPARE(m_c->window()->geometry().top(), top);
        QVERIFY(!m_workspace->propertyLine(note).contains(u"rolled"_qs));
    }

    // Floating a note changes how it stacks, nothing else: the keyboard stays with it, and what the user types next
    // lands in that note's file, not in another one's.
    void floatingKeepsTheKeyboard()
    {
        NoteWindowController *other
            = m_workspace->openNote(u"Other.md"_qs, u"x600 y300 w300 h220 z2"_qs, u"other\n"_qs);
        QVERIFY(other);
        QVERIFY(clickAt(m_c->textView()->viewport()->mapToGlobal(QPoint(150, 100))));
        QTRY_VERIFY(m_c->window()->isActiveWindow() && m_c->textView()->hasFocus());
        m_c->toggleFloat();
        QVERIFY(QTest::qWaitForWindowExposed(m_c->window()));
        QVERIFY(typeText(u"xyz"_qs));
        QTRY_VERIFY(m_c->note().body.contains(u"xyz"_qs));
        m_workspace->store->flushAllSaves();
        QVERIFY(readFile(m_workspace->path(note)).contains(u"xyz"_qs));
        QCOMPARE(readBytes(m_workspace->path(u"Other.md"_qs)),
            StoreTest::noteText(u"x600 y300 w300 h220 z2"_qs, u"other\n"_qs));
        QTRY_VERIFY(windowStates(m_c->window()->winId()).contains(u"_NET_WM_STATE_ABOVE"_qs));
    }

    // The size shows in the title bar from the press on an edge to the release, however long the user holds still.
    void sizeShowsForTheWholeResize()
    {
        NoteWindow *window = m_c->window();
        const QPoint corner = window->mapToGlobal(QPoint(window->width() - 2, window->height() - 2));
        QVERIFY(movePointer(corner));
        QSignalSpy ended(window, &NoteWindow::liveResizeEnded);
        PointerGrabCounter grabs;
        QVERIFY(xdotool({u"mousedown"_qs, u"1"_qs}));
        if (windowManagerRunning())
            QTRY_VERIFY_WITH_TIMEOUT(grabs.count() > 0, 20000);
        QVERIFY(movePointer(corner + QPoint(40, 30)));
        QTRY_COMPARE(m_c->titleBar()->title(), u"340 × 250"_qs);
        QVERIFY(!ended.wait(1000)); // holding still, the button down
        QCOMPARE(m_c->titleBar()->title(), u"340 × 250"_qs);
        QVERIFY(movePointer(corner + QPoint(60, 30)));
        QTRY_COMPARE(m_c->titleBar()->title(), u"360 × 250"_qs);
        QVERIFY(xdotool({u"mouseup"_qs, u"1"_qs}));
        QTRY_COMPARE(m_c->titleBar()->title(), u"Drag me"_qs);
        QCOMPARE(ended.count(), 1);
        QVERIFY(m_workspace->propertyLine(note).contains(u" w360 h250 "_qs));
    }

    // The colour panel (like every dialog of the application) opens above a note that floats on top.
    void colourPanelOpensAboveAFloatingNote()
    {
        m_c->toggleFloat();
        QTRY_VERIFY(windowStates(m_c->window()->winId()).contains(u"_NET_WM_STATE_ABOVE"_qs));
        m_c->pickCustomColor();
        QWidget *panel = QApplication::activeModalWidget();
        for (QWidget *window : QApplication::topLevelWidgets())
            if (window->inherits("QColorDialog") && window->isVisible())
                panel = window;
        QVERIFY(panel);
        QVERIFY(QTest::qWaitForWindowExposed(panel));
        QTRY_VERIFY(stackingOrder().contains(clientWindow(panel)));
        QTRY_VERIFY(
            stackingOrder().indexOf(clientWindow(panel)) > stackingOrder().indexOf(clientWindow(m_c->window())));
        panel->close();
    }

    // Notes off the screen, larger than it, at fractional positions, with the "keep" alias or stacked exactly on top of
    // each other are shown corrected, and every file and the settings stay byte for byte.
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

private:
    QPoint titleBarPoint(int x) const { return m_c->titleBar()->mapToGlobal(QPoint(x, 10)); }

    std::unique_ptr<WindowTest::WindowedWorkspace> m_workspace;
    NoteWindowController *m_c = nullptr;
};

TACKPAD_X11_TEST_MAIN(TestNoteWindowX11, QApplication)

#include "tst_notewindow_x11.moc"
