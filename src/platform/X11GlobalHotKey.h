#pragma once

#include "platform/GlobalHotKey.h"

#include <QAbstractNativeEventFilter>

#include <cstdint>
#include <vector>

struct xcb_connection_t;

// Ctrl+Alt+[ on an X server: a passive key grab on every root window of the application's own X connection, read
// back through a native event filter. The key is looked up by its symbol, so it follows the keyboard layout.
class X11GlobalHotKey : public GlobalHotKey, public QAbstractNativeEventFilter {
    Q_OBJECT

public:
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
