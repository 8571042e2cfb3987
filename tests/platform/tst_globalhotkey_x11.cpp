#include "platform/GlobalHotKey.h"
#include "platform/X11GlobalHotKey.h"
#include "support/XdoTool.h"

#include <QAbstractNativeEventFilter>
#include <QGuiApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <X11/keysym.h>
#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

// Under a real X server (Xvfb from scripts/headless --x11), with key strokes faked by xdotool through XTEST, the
// same path a physical keyboard takes.

namespace {

constexpr std::uint16_t ctrlAlt = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;
// Every combination of the two lock keys (NumLock sits on Mod2 in the X server's default keymap).
constexpr std::uint16_t lockVariants[] = {0, XCB_MOD_MASK_LOCK, XCB_MOD_MASK_2, XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2};

xcb_connection_t *qtConnection()
{
    return qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
}

xcb_window_t rootOf(xcb_connection_t *connection)
{
    return xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
}

xcb_keycode_t keycodeOf(xcb_connection_t *connection, xcb_keysym_t keysym)
{
    xcb_key_symbols_t *symbols = xcb_key_symbols_alloc(connection);
    xcb_keycode_t *codes = xcb_key_symbols_get_keycode(symbols, keysym);
    const xcb_keycode_t code = codes ? codes[0] : 0;
    std::free(codes);
    xcb_key_symbols_free(symbols);
    return code;
}

// The server's modifier state right now, locks included.
std::uint16_t modifierState()
{
    xcb_connection_t *connection = qtConnection();
    xcb_query_pointer_reply_t *reply
        = xcb_query_pointer_reply(connection, xcb_query_pointer(connection, rootOf(connection)), nullptr);
    const std::uint16_t state = reply ? reply->mask & 0xff : 0;
    std::free(reply);
    return state;
}

// Whether another X client (a connection of its own, as another application has) can grab Ctrl+Alt+[ with
// `modifiers`; while `keep` lives, the grab stays.
bool otherClientGrabs(std::uint16_t modifiers, std::shared_ptr<xcb_connection_t> *keep = nullptr)
{
    std::shared_ptr<xcb_connection_t> connection(xcb_connect(nullptr, nullptr), xcb_disconnect);
    xcb_generic_error_t *error = xcb_request_check(connection.get(),
        xcb_grab_key_checked(connection.get(), 1, rootOf(connection.get()), modifiers,
            keycodeOf(connection.get(), XK_bracketleft), XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    std::free(error);
    if (keep)
        *keep = connection;
    return error == nullptr;
}

// Ctrl+Alt+] grabbed on the application's own X connection. Pressed after the key under test, it is a barrier:
// events of one connection are handled in order, so when its press has gone through the event filters, so has
// every press of the key under test before it. That makes "no press arrived" something a test can wait for.
class Barrier : public QAbstractNativeEventFilter {
public:
    Barrier()
    {
        for (std::uint16_t lock : lockVariants)
            xcb_grab_key(qtConnection(), 1, rootOf(qtConnection()), ctrlAlt | lock, m_keycode, XCB_GRAB_MODE_ASYNC,
                XCB_GRAB_MODE_ASYNC);
        xcb_flush(qtConnection());
        QCoreApplication::instance()->installNativeEventFilter(this);
    }
    ~Barrier() override
    {
        QCoreApplication::instance()->removeNativeEventFilter(this);
        for (std::uint16_t lock : lockVariants)
            xcb_ungrab_key(qtConnection(), m_keycode, rootOf(qtConnection()), ctrlAlt | lock);
        xcb_flush(qtConnection());
    }
    bool nativeEventFilter(const QByteArray &, void *message, qintptr *) override
    {
        const auto *event = static_cast<const xcb_key_press_event_t *>(message);
        const bool ours = (event->response_type & 0x7f) == XCB_KEY_PRESS && event->detail == m_keycode;
        passed += ours;
        return ours;
    }
    int passed = 0;

private:
    const xcb_keycode_t m_keycode = keycodeOf(qtConnection(), XK_bracketright);
};

} // namespace

class TestX11GlobalHotKey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
        m_barrier = std::make_unique<Barrier>();
        m_hotKey = std::make_unique<X11GlobalHotKey>(nullptr);
        QVERIFY(m_hotKey->isAvailable());
    }

    void cleanup()
    {
        m_hotKey.reset();
        m_barrier.reset();
        QVERIFY(setLayout(u"us"_qs));
        // The X server outlives this test: leave the lock keys off for whoever comes next.
        setLocks(false, false);
    }

    // r = register, u = unregister; then two strokes. The shortcut is the key in the place of the US "[", whatever
    // the layout: on a German layout that key types "ü", while "[" is AltGr+8, whose Ctrl+Alt+8 must stay free.
    void strokesGiveOnePressEach_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<int>("registeredChanges");
        QTest::addColumn<bool>("capsLock");
        QTest::addColumn<bool>("numLock");
        QTest::addColumn<QString>("layout");
        QTest::addColumn<QString>("stroke");
        QTest::addColumn<int>("pressesEach");
        const auto row = [](const char *name, const QString &steps, int changes, bool capsLock, bool numLock,
                             const QString &layout = u"us"_qs, const QString &stroke = u"ctrl+alt+bracketleft"_qs) {
            const int presses = steps.endsWith(u'r') && stroke != QLatin1String("ctrl+alt+8") ? 1 : 0;
            QTest::newRow(name) << steps << changes << capsLock << numLock << layout << stroke << presses;
        };
        // Plain strokes, NumLock and switching on and off are the application's hot-key test (tests/app).
        row("robustness: NumLock and CapsLock on", u"r"_qs, 1, true, true);
        row("robustness: registered twice, announced once", u"rr"_qs, 1, false, false);
        row("layout: German, the same key (ü)", u"r"_qs, 1, false, false, u"de"_qs, u"ctrl+alt+udiaeresis"_qs);
        row("layout: German, Ctrl+Alt+8 is not it", u"r"_qs, 1, false, false, u"de"_qs, u"ctrl+alt+8"_qs);
    }

    void strokesGiveOnePressEach()
    {
        QFETCH(QString, steps);
        QFETCH(int, registeredChanges);
        QFETCH(bool, capsLock);
        QFETCH(bool, numLock);
        QFETCH(QString, layout);
        QFETCH(QString, stroke);
        QFETCH(int, pressesEach);
        QVERIFY2(setLayout(layout), "setxkbmap failed (scripts/bootstrap installs x11-xkb-utils)");
        setLocks(capsLock, numLock);
        QSignalSpy changes(m_hotKey.get(), &GlobalHotKey::registeredChanged);
        for (QChar step : steps)
            step == u'r' ? m_hotKey->registerHotKey() : m_hotKey->unregisterHotKey();
        QCOMPARE(m_hotKey->isRegistered(), steps.endsWith(u'r'));
        QCOMPARE(changes.count(), registeredChanges);
        QSignalSpy presses(m_hotKey.get(), &GlobalHotKey::pressed);
        QCOMPARE(pressesFromStrokes(presses, 2, stroke), 2 * pressesEach);
    }

    void combinationHeldByAnotherClient_data()
    {
        QTest::addColumn<int>("heldModifiers");
        QTest::newRow("robustness: held without lock keys") << int(ctrlAlt);
        // Only one variant is taken: the others must not stay grabbed, or the key half works.
        QTest::newRow("robustness: only the NumLock variant held") << int(ctrlAlt | XCB_MOD_MASK_2);
    }

    void combinationHeldByAnotherClient()
    {
        QFETCH(int, heldModifiers);
        std::shared_ptr<xcb_connection_t> other;
        QVERIFY(otherClientGrabs(std::uint16_t(heldModifiers), &other));

        QSignalSpy changes(m_hotKey.get(), &GlobalHotKey::registeredChanged);
        QTest::ignoreMessage(
            QtInfoMsg, QRegularExpression(QStringLiteral("another application holds Ctrl\\+Alt\\+\\[")));
        m_hotKey->registerHotKey();
        QVERIFY(!m_hotKey->isRegistered());
        QCOMPARE(changes.count(), 0);
        QVERIFY2(m_hotKey->description().contains(QStringLiteral("Another application")),
            qPrintable(m_hotKey->description()));
        QSignalSpy presses(m_hotKey.get(), &GlobalHotKey::pressed);
        QCOMPARE(pressesFromStrokes(presses), 0);
        // Nothing of the combination stays grabbed: the variants the other client does not hold are free for anyone.
        for (std::uint16_t lock : lockVariants) {
            if ((ctrlAlt | lock) != heldModifiers)
                QVERIFY(otherClientGrabs(ctrlAlt | lock));
        }

        // Once the other application lets go, switching the shortcut on works.
        other.reset();
        m_hotKey->registerHotKey();
        QVERIFY(m_hotKey->isRegistered());
        QCOMPARE(pressesFromStrokes(presses), 1);
    }

    void createdBackendReleasesTheGrabWhenDestroyed()
    {
        std::unique_ptr<GlobalHotKey> hotKey = GlobalHotKey::create();
        QVERIFY(dynamic_cast<X11GlobalHotKey *>(hotKey.get()));
        QVERIFY2(hotKey->description().contains(QStringLiteral("Ctrl+Alt+[")), qPrintable(hotKey->description()));
        hotKey->registerHotKey();
        QVERIFY(hotKey->isRegistered());
        QVERIFY(!otherClientGrabs(ctrlAlt));
        hotKey.reset();
        for (std::uint16_t lock : lockVariants)
            QVERIFY(otherClientGrabs(ctrlAlt | lock));
    }

private:
    // Strokes `stroke` (Ctrl+Alt+[ on a US layout) `times` times and returns the presses that came of it.
    int pressesFromStrokes(QSignalSpy &presses, int times = 1, const QString &stroke = u"ctrl+alt+bracketleft"_qs)
    {
        const int start = presses.count();
        const int barrier = m_barrier->passed;
        QStringList keys {QStringLiteral("key")};
        for (int i = 0; i < times; ++i)
            keys << stroke;
        // The barrier is a key too, named by what it types in the current layout.
        keys << u"ctrl+alt+"_qs + m_barrierKeyName;
        if (!xdotool(keys) || !QTest::qWaitFor([&] { return m_barrier->passed > barrier; }, 10000))
            return -1;
        // Presses are queued by the hot key: deliver what its filter queued before the barrier passed.
        QCoreApplication::sendPostedEvents();
        return int(presses.count() - start);
    }

    bool setLayout(const QString &layout)
    {
        // What the barrier's key (the US "]") types in each layout used here.
        static const QHash<QString, QString> barrierKeyNames {{u"us"_qs, u"bracketright"_qs}, {u"de"_qs, u"plus"_qs}};
        QProcess process;
        process.start(u"setxkbmap"_qs, {layout});
        if (!process.waitForFinished(30000) || process.exitCode() != 0)
            return false;
        m_barrierKeyName = barrierKeyNames.value(layout);
        return true;
    }

    void setLocks(bool capsLock, bool numLock)
    {
        const std::uint16_t state = modifierState();
        if (bool(state & XCB_MOD_MASK_LOCK) != capsLock)
            QVERIFY(xdotool({QStringLiteral("key"), QStringLiteral("Caps_Lock")}));
        if (bool(state & XCB_MOD_MASK_2) != numLock)
            QVERIFY(xdotool({QStringLiteral("key"), QStringLiteral("Num_Lock")}));
        QTRY_COMPARE(bool(modifierState() & XCB_MOD_MASK_LOCK), capsLock);
        QTRY_COMPARE(bool(modifierState() & XCB_MOD_MASK_2), numLock);
    }

    std::unique_ptr<Barrier> m_barrier;
    QString m_barrierKeyName = u"bracketright"_qs;
    std::unique_ptr<X11GlobalHotKey> m_hotKey;
};

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        std::puts("SKIP: no X display (run under scripts/headless --x11)");
        return 77;
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication app(argc, argv);
    TestX11GlobalHotKey test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_globalhotkey_x11.moc"
