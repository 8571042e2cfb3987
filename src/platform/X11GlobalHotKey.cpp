#include "platform/X11GlobalHotKey.h"

#include "platform/PlatformLog.h"

#include <QGuiApplication>

#include <X11/keysym.h>
#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr std::uint16_t hotKeyModifiers = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1; // Ctrl+Alt
constexpr std::uint8_t badAccess = 10; // X error code of a grab that another client holds

std::vector<xcb_keycode_t> keycodesOf(xcb_key_symbols_t *symbols, xcb_keysym_t keysym)
{
    std::vector<xcb_keycode_t> codes;
    if (xcb_keycode_t *list = xcb_key_symbols_get_keycode(symbols, keysym)) {
        for (const xcb_keycode_t *code = list; *code != XCB_NO_SYMBOL; ++code) {
            if (std::find(codes.begin(), codes.end(), *code) == codes.end())
                codes.push_back(*code);
        }
        std::free(list);
    }
    return codes;
}

// NumLock is a modifier like any other, usually Mod2 but not necessarily: find the bit it sits on.
std::uint16_t numLockMask(xcb_connection_t *connection, xcb_key_symbols_t *symbols)
{
    const std::vector<xcb_keycode_t> numLockCodes = keycodesOf(symbols, XK_Num_Lock);
    xcb_get_modifier_mapping_reply_t *reply
        = xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr);
    std::uint16_t mask = XCB_MOD_MASK_2;
    if (reply) {
        const xcb_keycode_t *map = xcb_get_modifier_mapping_keycodes(reply);
        const int perModifier = reply->keycodes_per_modifier;
        for (int modifier = 0; modifier < 8; ++modifier) {
            for (int i = 0; i < perModifier; ++i) {
                const xcb_keycode_t code = map[modifier * perModifier + i];
                if (code != 0 && std::find(numLockCodes.begin(), numLockCodes.end(), code) != numLockCodes.end())
                    mask = std::uint16_t(1u << modifier);
            }
        }
        std::free(reply);
    }
    return mask;
}

std::vector<xcb_window_t> rootWindows(xcb_connection_t *connection)
{
    std::vector<xcb_window_t> roots;
    for (auto it = xcb_setup_roots_iterator(xcb_get_setup(connection)); it.rem > 0; xcb_screen_next(&it))
        roots.push_back(it.data->root);
    return roots;
}

} // namespace

X11GlobalHotKey::X11GlobalHotKey(QObject *parent)
    : GlobalHotKey(parent)
{
    // qGuiApp would blindly cast a QCoreApplication.
    auto *application = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    if (auto *x11 = application ? application->nativeInterface<QNativeInterface::QX11Application>() : nullptr)
        m_connection = x11->connection();
}

X11GlobalHotKey::~X11GlobalHotKey()
{
    // After the application object is gone its X connection is closed, and the server dropped the grabs with it.
    if (QCoreApplication::instance())
        unregisterHotKey();
}

void X11GlobalHotKey::registerHotKey()
{
    if (isRegistered())
        return;
    if (!m_connection) {
        reportFailure();
        return;
    }

    xcb_key_symbols_t *symbols = xcb_key_symbols_alloc(m_connection);
    if (!symbols) {
        reportFailure();
        return;
    }
    const std::uint16_t numLock = numLockMask(m_connection, symbols);
    xcb_key_symbols_free(symbols);

    // A passive grab matches the modifier state exactly, so CapsLock and NumLock each need their own variant or
    // the shortcut dies whenever one of them is on.
    m_lockMask = XCB_MOD_MASK_LOCK | numLock;
    const std::uint16_t variants[] = {0, XCB_MOD_MASK_LOCK, numLock, std::uint16_t(XCB_MOD_MASK_LOCK | numLock)};
    std::vector<Grab> grabs;
    for (xcb_window_t root : rootWindows(m_connection)) {
        for (std::uint16_t variant : variants)
            grabs.push_back({root, physicalKeycode, std::uint16_t(hotKeyModifiers | variant)});
    }

    if (!grabAll(grabs)) {
        m_problem = takenDescription();
        reportFailure();
        return;
    }
    m_problem.clear();
    m_grabs = std::move(grabs);
    QCoreApplication::instance()->installNativeEventFilter(this);
    setRegistered(true);
}

bool X11GlobalHotKey::grabAll(const std::vector<Grab> &grabs)
{
    // Send every grab first and collect the answers afterwards: one round trip instead of one per grab.
    std::vector<xcb_void_cookie_t> cookies;
    cookies.reserve(grabs.size());
    for (const Grab &grab : grabs) {
        cookies.push_back(xcb_grab_key_checked(
            m_connection, 1, grab.root, grab.modifiers, grab.keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    }
    std::vector<Grab> granted;
    bool allGranted = true;
    for (std::size_t i = 0; i < grabs.size(); ++i) {
        if (xcb_generic_error_t *error = xcb_request_check(m_connection, cookies[i])) {
            if (allGranted) {
                if (error->error_code == badAccess) {
                    qCInfo(lcPlatform) << "TackPad: another application holds Ctrl+Alt+[; the global shortcut "
                                          "stays off";
                } else {
                    qCWarning(lcPlatform) << "TackPad: could not grab Ctrl+Alt+[, X error" << int(error->error_code);
                }
            }
            allGranted = false;
            std::free(error);
        } else {
            granted.push_back(grabs[i]);
        }
    }
    // Half a shortcut (working only with NumLock off, say) is worse than none: give back what was granted.
    if (!allGranted)
        ungrab(granted);
    return allGranted;
}

void X11GlobalHotKey::ungrab(const std::vector<Grab> &grabs)
{
    for (const Grab &grab : grabs)
        xcb_ungrab_key(m_connection, grab.keycode, grab.root, grab.modifiers);
    xcb_flush(m_connection);
}

void X11GlobalHotKey::unregisterHotKey()
{
    m_problem.clear();
    if (!isRegistered())
        return;
    QCoreApplication::instance()->removeNativeEventFilter(this);
    ungrab(m_grabs);
    m_grabs.clear();
    setRegistered(false);
}

QString X11GlobalHotKey::description() const
{
    if (!m_connection)
        return tr("The application is not connected to an X server.") + u' ' + commandLineAdvice();
    if (!m_problem.isEmpty())
        return m_problem;
    // Through XWayland a Wayland desktop passes keys to X11 clients only while one of them has the focus.
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return tr("%1 creates a new note while an X11 application is active; this Wayland desktop offers no "
                  "shortcut that works everywhere.")
                   .arg(keyText())
            + u' ' + commandLineAdvice();
    return activeDescription(keyText()) + u' ' + tr("The key is taken from the X server.");
}

bool X11GlobalHotKey::isHotKeyPress(const void *keyPressEvent) const
{
    const auto *event = static_cast<const xcb_key_press_event_t *>(keyPressEvent);
    // Only the key modifiers count (the upper bits of the state are mouse buttons), and the lock keys do not.
    const std::uint16_t modifiers = event->state & 0xff & ~m_lockMask;
    if (modifiers != hotKeyModifiers)
        return false;
    return std::any_of(m_grabs.begin(), m_grabs.end(),
        [event](const Grab &grab) { return grab.keycode == event->detail && grab.root == event->event; });
}

bool X11GlobalHotKey::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    // The top bit marks events sent by another client (SendEvent); a faked key is not a key stroke.
    if (event->response_type != XCB_KEY_PRESS || !isHotKeyPress(event))
        return false;
    notifyPressed();
    return true;
}
