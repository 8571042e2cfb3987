// Note windows under a real X server with a window manager (scripts/headless --x11 runs Xvfb with openbox): the
// user's mouse, through xdotool, moves and rolls notes, and the file follows.
#include "editor/MarkdownTextView.h"
#include "notes/ScreenCoordinates.h"
#include "support/WindowTestSupport.h"
#include "support/XdoTool.h"
#include "windows/TitleBarView.h"

#include <QAbstractNativeEventFilter>
#include <QApplication>

#include <xcb/xcb.h>

#include <cstdlib>

namespace {

// Asks the window manager to close a window, as a taskbar's or a window menu's Close does: the window manager then
// sends the window its close request. Unlike a keyboard shortcut, this does not depend on which window has the focus.
void askWindowManagerToClose(WId window)
{
    xcb_connection_t *connection = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
    const QByteArray name("_NET_CLOSE_WINDOW");
    xcb_intern_atom_reply_t *atom = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, false, quint16(name.size()), name.constData()), nullptr);
    xcb_client_message_event_t event {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = xcb_window_t(window);
    event.type = atom ? atom->atom : xcb_atom_t(XCB_ATOM_NONE);
    event.data.data32[0] = XCB_CURRENT_TIME;
    event.data.data32[1] = 2; // the request comes from a pager or taskbar, which window managers always honour
    std::free(atom);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    xcb_send_event(connection, false, root, XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
        reinterpret_cast<const char *>(&event));
    xcb_flush(connection);
}

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

    void pinButtonFloatsTheNote()
    {
        QVERIFY(clickAt(titleBarPoint(m_c->titleBar()->width() - 32)));
        QTRY_VERIFY(m_c->note().meta.floatOnTop);
        QTRY_VERIFY(m_c->window()->isVisible());
        QVERIFY(m_c->window()->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
        QVERIFY2(m_workspace->propertyLine(note).endsWith(u" float\""_qs), qPrintable(m_workspace->propertyLine(note)));
    }

    void recolouringReachesTheFileAndTheScreen()
    {
        m_c->setNoteColor(u"#CDE8F9"_qs);
        QSignalSpy written(m_workspace->store.get(), &NoteStore::noteWritten);
        QVERIFY(written.wait(2000)); // within a second of the change
        QVERIFY(m_workspace->propertyLine(note).contains(u" #CDE8F9 "_qs));
        QCOMPARE(m_c->window()->grab().toImage().pixelColor(150, 150), QColor(0xCD, 0xE8, 0xF9));
    }

    void closingFromTheWindowManagerHidesTheNote()
    {
        TACKPAD_REQUIRE_WINDOW_MANAGER();
        askWindowManagerToClose(m_c->window()->winId());
        QTRY_VERIFY(m_c->note().meta.hidden);
        QVERIFY(!m_c->window()->isVisible());
        QVERIFY2(
            m_workspace->propertyLine(note).endsWith(u" hidden\""_qs), qPrintable(m_workspace->propertyLine(note)));
    }

private:
    QPoint titleBarPoint(int x) const { return m_c->titleBar()->mapToGlobal(QPoint(x, 10)); }

    std::unique_ptr<WindowTest::WindowedWorkspace> m_workspace;
    NoteWindowController *m_c = nullptr;
};

TACKPAD_X11_TEST_MAIN(TestNoteWindowX11, QApplication)

#include "tst_notewindow_x11.moc"
