#include "platform/HotKeyBackends.h"

#include "platform/MacGlobalHotKey.h"

namespace HotKeyBackends {

std::unique_ptr<GlobalHotKey> create(const QString &, QObject *parent)
{
    // Carbon hot keys work under every macOS platform plugin ("cocoa", and "offscreen" in tests alike).
    return std::make_unique<MacGlobalHotKey>(parent);
}

} // namespace HotKeyBackends
