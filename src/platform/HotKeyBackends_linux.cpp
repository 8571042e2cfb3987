#include "platform/HotKeyBackends.h"

#include "platform/PortalGlobalHotKey.h"
#include "platform/UnavailableGlobalHotKey.h"
#include "platform/X11GlobalHotKey.h"

#include <QCoreApplication>
#include <QDBusConnection>

namespace HotKeyBackends {

std::unique_ptr<GlobalHotKey> create(const QString &platformName, QObject *parent)
{
    if (platformName == QLatin1String("xcb"))
        return std::make_unique<X11GlobalHotKey>(parent);
    if (platformName == QLatin1String("wayland")) {
        const QDBusConnection bus = QDBusConnection::sessionBus();
        if (PortalGlobalHotKey::isOffered(bus))
            return std::make_unique<PortalGlobalHotKey>(bus, parent);
        return std::make_unique<UnavailableGlobalHotKey>(QCoreApplication::translate("GlobalHotKey",
                                                             "This Wayland desktop does not offer global shortcuts to "
                                                             "applications."),
            parent);
    }
    return std::make_unique<UnavailableGlobalHotKey>(
        QCoreApplication::translate("GlobalHotKey", "Global shortcuts are not available on this display."), parent);
}

} // namespace HotKeyBackends
