#pragma once

#include "platform/GlobalHotKey.h"

#include <cstdint>

struct OpaqueEventHotKeyRef;
struct OpaqueEventHandlerRef;
struct OpaqueEventHandlerCallRef;
struct OpaqueEventRef;

// Command-Option-[ through the Carbon event manager, the one system-wide hot-key service of macOS: a handler for
// hot-key presses on the application's event dispatcher target and one registered hot key (US-layout key code 33,
// Command+Option, signature 'TPAD', id 1).
class MacGlobalHotKey : public GlobalHotKey {
    Q_OBJECT

public:
    explicit MacGlobalHotKey(QObject *parent);
    ~MacGlobalHotKey() override;

    void registerHotKey() override;
    // Unregisters the key and removes the handler: the off state holds neither.
    void unregisterHotKey() override;
    bool isAvailable() const override { return true; }
    QString description() const override;

private:
    // A Carbon event handler (EventHandlerProcPtr, spelled without the Carbon headers).
    static std::int32_t handleHotKey(OpaqueEventHandlerCallRef *callRef, OpaqueEventRef *event, void *userData);

    OpaqueEventHotKeyRef *m_hotKeyRef = nullptr;
    OpaqueEventHandlerRef *m_eventHandler = nullptr;
    bool m_taken = false;
};
