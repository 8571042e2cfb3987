#include "platform/HotKeyBackends.h"

#include "platform/FallbackGlobalHotKey.h"
#include "platform/GnomeShortcutHotKey.h"
#include "platform/KGlobalAccelHotKey.h"
#include "platform/PortalGlobalHotKey.h"
#include "platform/UnavailableGlobalHotKey.h"
#include "platform/X11GlobalHotKey.h"

#include <QCoreApplication>
#include <QDBusConnection>

namespace HotKeyBackends {

namespace {

bool isWaylandSession()
{
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || qEnvironmentVariable("XDG_SESSION_TYPE") == QLatin1String("wayland");
}

bool isGnome()
{
    const QStringList desktops = qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':', Qt::SkipEmptyParts);
    return desktops.contains(QLatin1String("GNOME"), Qt::CaseInsensitive);
}

QString noWaylandShortcut()
{
    return QCoreApplication::translate("GlobalHotKey",
        "This Wayland desktop does not offer global shortcuts to "
        "applications.");
}

// A Wayland session, whether Tackpad runs natively or through XWayland: the portal where it binds, else the
// desktop's own shortcut service (KDE's, or a GNOME custom shortcut the user agrees to), and the X11 grab only
// where there is none of these (it reaches the application only while an X11 window has the focus).
std::unique_ptr<GlobalHotKey> createForWayland(bool throughXWayland, QObject *parent)
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    const bool gnome = isGnome();
    std::vector<FallbackGlobalHotKey::Candidate> candidates;
    candidates.push_back({[bus] { return PortalGlobalHotKey::isOffered(bus); },
        [bus](QObject *owner) { return std::make_unique<PortalGlobalHotKey>(bus, owner); }});
    candidates.push_back({[bus] { return KGlobalAccelHotKey::isOffered(bus); },
        [bus](QObject *owner) { return std::make_unique<KGlobalAccelHotKey>(bus, owner); }});
    candidates.push_back({[gnome] { return gnome && GnomeShortcutHotKey::isOffered(); },
        [](QObject *owner) {
            return std::make_unique<GnomeShortcutHotKey>(QCoreApplication::applicationFilePath(), owner);
        }});
    if (throughXWayland) {
        candidates.push_back({[bus, gnome] {
                                  return !KGlobalAccelHotKey::isOffered(bus)
                                      && !(gnome && GnomeShortcutHotKey::isOffered());
                              },
            [](QObject *owner) { return std::make_unique<X11GlobalHotKey>(owner); }});
    }
    return std::make_unique<FallbackGlobalHotKey>(
        std::move(candidates), noWaylandShortcut() + u' ' + GlobalHotKey::commandLineAdvice(), parent);
}

} // namespace

std::unique_ptr<GlobalHotKey> create(const QString &platformName, QObject *parent)
{
    const bool xcb = platformName == QLatin1String("xcb");
    if (platformName == QLatin1String("wayland") || (xcb && isWaylandSession()))
        return createForWayland(xcb, parent);
    if (xcb)
        return std::make_unique<X11GlobalHotKey>(parent);
    return std::make_unique<UnavailableGlobalHotKey>(
        QCoreApplication::translate("GlobalHotKey", "Global shortcuts are not available on this display."), parent);
}

} // namespace HotKeyBackends
