#pragma once

#include "platform/GlobalHotKey.h"

#include <QAbstractNativeEventFilter>

#include <cstdint>
#include <vector>

struct xcb_connection_t;

// Ctrl+Alt+[ on an X server: a passive key grab on every root window of the application's own X connection, read
// back through a native event filter.
//
// The key is a place on the keyboard, not a character: the one that types "[" on a US layout, whatever layout is
// active (on a German keyboard it types "ü"; the German "[" is AltGr+8, and Ctrl+Alt+8 must stay Ctrl+Alt+8).
class X11GlobalHotKey : public GlobalHotKey, public QAbstractNativeEventFilter {
    Q_OBJECT

public:
    // The X key code of that key. X servers number keys as the kernel does plus 8 (evdev: KEY_LEFTBRACE, 26); the
    // older XFree86 key codes, where they still exist, give the same key the same number.
    static constexpr std::uint8_t physicalKeycode = 34;

    // Uses the X connection of the running application; without one (another platform plugin) it is unavailable.
    explicit X11GlobalHotKey(QObject *parent);
    ~X11GlobalHotKey() override;

    void registerHotKey() override;
    void unregisterHotKey() override;
    bool isAvailable() const override { return m_connection != nullptr; }
    QString description() const override;

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

private:
    struct Grab {
        std::uint32_t root;
        std::uint8_t keycode;
        std::uint16_t modifiers;
    };

    bool grabAll(const std::vector<Grab> &grabs);
    void ungrab(const std::vector<Grab> &grabs);
    bool isHotKeyPress(const void *keyPressEvent) const;

    xcb_connection_t *m_connection = nullptr;
    std::vector<Grab> m_grabs;
    std::uint16_t m_lockMask = 0;
    // Why the last registration did not happen, for the settings dialog; empty when nothing went wrong.
    QString m_problem;
};
