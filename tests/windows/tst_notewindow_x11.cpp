// Note windows under a real X server with a window manager (scripts/headless --x11 runs Xvfb with openbox): the
// user's mouse, through xdotool, moves and rolls notes, and the file follows.
#include "notes/ScreenCoordinates.h"
#include "store/NoteStore.h"
#include "windows/NoteWindow.h"
#include "windows/NoteWindowController.h"
#include "windows/TitleBarView.h"

#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <xcb/xcb.h>

#include <cstdlib>

#include "support/XdoTool.h"

namespace {

QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

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

QString propertyLine(const QString &path)
{
    return readFile(path).section(QLatin1Char('\n'), 1, 1);
}

} // namespace

class TestNoteWindowX11 : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void draggingTheTitleBarMovesTheNote();
    void rollButtonRollsAndUnrolls();
    void pinButtonFloatsTheNote();
    void recolouringReachesTheFile();
    void closingFromTheWindowManagerHidesTheNote();

private:
    NoteWindowController *openNote();
    QPoint globalCentre(QWidget *widget, QPoint local) const { return widget->mapToGlobal(local); }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QTemporaryDir> m_settingsDir;
    std::unique_ptr<NoteStore> m_store;
    QString m_file;
};

void TestNoteWindowX11::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_settingsDir = std::make_unique<QTemporaryDir>();
    m_store = std::make_unique<NoteStore>(m_dir->path(), Settings(m_settingsDir->filePath(u"s.ini"_qs)));
    m_store->setControllerFactory([](std::unique_ptr<Note> note, NoteStore &store, const QString &raw) {
        return std::make_unique<NoteWindowController>(std::move(note), store, raw);
    });
    m_file = m_dir->filePath(u"Drag me.md"_qs);
}

void TestNoteWindowX11::cleanup()
{
    m_store->shutdown();
    m_store.reset();
}

NoteWindowController *TestNoteWindowX11::openNote()
{
    QFile file(m_file);
    if (!file.open(QIODevice::WriteOnly))
        return nullptr;
    file.write("---\ntackpad: \"x200 y300 w300 h220 z1 #FBF4A6 s12\"\n---\nDrag me around\n");
    file.close();
    m_store->rescan();
    auto *c = qobject_cast<NoteWindowController *>(m_store->controller(u"Drag me.md"_qs));
    if (c && !QTest::qWaitForWindowExposed(c->window()))
        return nullptr;
    return c;
}

void TestNoteWindowX11::draggingTheTitleBarMovesTheNote()
{
    NoteWindowController *c = openNote();
    QVERIFY(c);
    const QPoint start = c->window()->geometry().topLeft();
    const QPoint grip = globalCentre(c->titleBar(), QPoint(c->titleBar()->width() / 2, 10));
    QVERIFY(xdotool({u"mousemove"_qs, QString::number(grip.x()), QString::number(grip.y())}));
    QSignalSpy moveStarted(c->titleBar(), &TitleBarView::moveStarted);
    PointerGrabCounter grabs;
    QVERIFY(xdotool({u"mousedown"_qs, u"1"_qs}));
    QVERIFY(xdotool({u"mousemove"_qs, QString::number(grip.x() + 2), QString::number(grip.y() + 2)}));
    QVERIFY(moveStarted.count() == 1 || moveStarted.wait(5000));
    // The window manager moves the window only by the motion it sees after it has taken the pointer: go on once it
    // has (on a display without one the note follows the pointer by itself).
    if (windowManagerRunning())
        QTRY_VERIFY_WITH_TIMEOUT(grabs.count() > 0, 20000);
    QVERIFY(xdotool({u"mousemove"_qs, QString::number(grip.x() + 100), QString::number(grip.y() + 60)}));
    QVERIFY(xdotool({u"mouseup"_qs, u"1"_qs}));
    // The window manager takes over once the move threshold is crossed; what the pointer travelled before that is
    // the only slack.
    const int slack = TitleBarView::moveThreshold + 1;
    QTRY_VERIFY((c->window()->geometry().topLeft() - (start + QPoint(100, 60))).manhattanLength() <= slack);

    m_store->flushAllSaves();
    const qreal height = ScreenCoordinates::primaryVisibleArea()->primaryScreenHeight;
    const QRectF fileFrame = ScreenCoordinates::toFileRect(QRectF(c->window()->geometry()), height);
    QVERIFY(qAbs(fileFrame.x() - 300) <= slack);
    QVERIFY(qAbs(fileFrame.y() - 240) <= slack); // 60 pixels down on screen is 60 points lower in the file's y
    QVERIFY2(propertyLine(m_file).startsWith(u"tackpad: \"x%1 y%2 w300 h220"_qs.arg(fileFrame.x()).arg(fileFrame.y())),
        qPrintable(propertyLine(m_file)));
}

void TestNoteWindowX11::rollButtonRollsAndUnrolls()
{
    NoteWindowController *c = openNote();
    QVERIFY(c);
    const int top = c->window()->geometry().top();
    // The roll button is the right-most one of the title bar.
    const QPoint roll = globalCentre(c->titleBar(), QPoint(c->titleBar()->width() - 12, 10));
    QVERIFY(xdotool({u"mousemove"_qs, QString::number(roll.x()), QString::number(roll.y())}));
    QVERIFY(xdotool({u"click"_qs, u"1"_qs}));
    QTRY_COMPARE(c->window()->height(), 20);
    QCOMPARE(c->window()->geometry().top(), top);
    m_store->flushAllSaves();
    QVERIFY2(propertyLine(m_file).endsWith(u" rolled\""_qs), qPrintable(propertyLine(m_file)));
    QVERIFY(propertyLine(m_file).contains(u" h220 "_qs)); // the unrolled height is kept

    QVERIFY(xdotool({u"click"_qs, u"1"_qs}));
    QTRY_COMPARE(c->window()->height(), 220);
    m_store->flushAllSaves();
    QVERIFY(!propertyLine(m_file).contains(u"rolled"_qs));
}

void TestNoteWindowX11::pinButtonFloatsTheNote()
{
    NoteWindowController *c = openNote();
    QVERIFY(c);
    const QPoint pin = globalCentre(c->titleBar(), QPoint(c->titleBar()->width() - 32, 10));
    QVERIFY(xdotool({u"mousemove"_qs, QString::number(pin.x()), QString::number(pin.y())}));
    QVERIFY(xdotool({u"click"_qs, u"1"_qs}));
    QTRY_VERIFY(c->note().meta.floatOnTop);
    QTRY_VERIFY(c->window()->isVisible());
    QVERIFY(c->window()->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    m_store->flushAllSaves();
    QVERIFY2(propertyLine(m_file).endsWith(u" float\""_qs), qPrintable(propertyLine(m_file)));
}

void TestNoteWindowX11::recolouringReachesTheFile()
{
    NoteWindowController *c = openNote();
    QVERIFY(c);
    c->setNoteColor(u"#CDE8F9"_qs);
    QSignalSpy written(m_store.get(), &NoteStore::noteWritten);
    QVERIFY(written.wait(2000)); // within a second of the change
    QVERIFY(propertyLine(m_file).contains(u" #CDE8F9 "_qs));
    QCOMPARE(c->window()->grab().toImage().pixelColor(150, 150), QColor(0xCD, 0xE8, 0xF9));
}

void TestNoteWindowX11::closingFromTheWindowManagerHidesTheNote()
{
    TACKPAD_REQUIRE_WINDOW_MANAGER();
    NoteWindowController *c = openNote();
    QVERIFY(c);
    QTRY_VERIFY(c->window()->isVisible());
    askWindowManagerToClose(c->window()->winId());
    QTRY_VERIFY(c->note().meta.hidden);
    QVERIFY(!c->window()->isVisible());
    m_store->flushAllSaves();
    QVERIFY2(propertyLine(m_file).endsWith(u" hidden\""_qs), qPrintable(propertyLine(m_file)));
}

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return 77; // needs the X server of scripts/headless --x11
    qputenv("QT_QPA_PLATFORM", "xcb");
    QStandardPaths::setTestModeEnabled(true);
    QApplication app(argc, argv);
    TestNoteWindowX11 test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_notewindow_x11.moc"
