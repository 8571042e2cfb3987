#include "platform/MacGlobalHotKey.h"

#include "platform/PlatformLog.h"

#include <Carbon/Carbon.h>

namespace {

constexpr UInt32 leftBracketKeyCode = 33; // kVK_ANSI_LeftBracket: the key's position, whatever the layout prints
constexpr UInt32 commandOption = cmdKey | optionKey; // 256 + 2048
constexpr OSType signature = (OSType('T') << 24) | (OSType('P') << 16) | (OSType('A') << 8) | OSType('D');

} // namespace

MacGlobalHotKey::MacGlobalHotKey(QObject *parent)
    : GlobalHotKey(parent)
{
}

MacGlobalHotKey::~MacGlobalHotKey()
{
    unregisterHotKey();
}

std::int32_t MacGlobalHotKey::handleHotKey(OpaqueEventHandlerCallRef *, OpaqueEventRef *, void *userData)
{
    // There is one hot key, so which one fired needs no looking at. The handler is removed before the object dies,
    // so the user data is always a live object.
    if (auto *self = static_cast<MacGlobalHotKey *>(userData))
        self->notifyPressed();
    return noErr;
}

void MacGlobalHotKey::registerHotKey()
{
    if (m_hotKeyRef)
        return;
    if (!m_eventHandler) {
        const EventTypeSpec hotKeyPressed {kEventClassKeyboard, kEventHotKeyPressed};
        EventHandlerRef handler = nullptr;
        if (InstallEventHandler(GetEventDispatcherTarget(), NewEventHandlerUPP(&MacGlobalHotKey::handleHotKey), 1,
                &hotKeyPressed, this, &handler)
            == noErr)
            m_eventHandler = handler;
    }
    const EventHotKeyID hotKeyID {signature, 1};
    EventHotKeyRef hotKey = nullptr;
    const OSStatus status
        = RegisterEventHotKey(leftBracketKeyCode, commandOption, hotKeyID, GetEventDispatcherTarget(), 0, &hotKey);
    m_taken = status != noErr;
    if (m_taken) {
        qCInfo(lcPlatform) << "TackPad: Command-Option-[ could not be registered, status" << int(status);
        return;
    }
    m_hotKeyRef = hotKey;
    setRegistered(true);
}

void MacGlobalHotKey::unregisterHotKey()
{
    m_taken = false;
    if (m_hotKeyRef) {
        UnregisterEventHotKey(m_hotKeyRef);
        m_hotKeyRef = nullptr;
    }
    if (m_eventHandler) {
        RemoveEventHandler(m_eventHandler);
        m_eventHandler = nullptr;
    }
    setRegistered(false);
}

QString MacGlobalHotKey::description() const
{
    return m_taken ? takenDescription() : activeDescription(keyText());
}
