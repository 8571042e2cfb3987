#pragma once

#include "platform/GlobalHotKey.h"

#include <QDBusConnection>
#include <QVariantMap>

class QDBusObjectPath;

// The global-shortcuts interface of the freedesktop desktop portal, the way a Wayland desktop lets an application
// have a system-wide shortcut. The application only proposes Ctrl+Alt+[: the desktop asks the user, who may pick
// another combination or none, and that choice stands. Registration is a two-step conversation (create a session,
// then bind the shortcut), each step answered later through a Response signal of a request object, so it
// completes asynchronously; `registeredChanged` reports the outcome. Any failure leaves the shortcut off and is
// logged.
class PortalGlobalHotKey : public GlobalHotKey {
    Q_OBJECT

public:
    static constexpr const char *shortcutId = "new-note";

    // Whether `bus` offers the global-shortcuts portal. A short blocking call on the bus: it is answered at once
    // when no portal is installed.
    static bool isOffered(const QDBusConnection &bus);

    PortalGlobalHotKey(const QDBusConnection &bus, QObject *parent);
    ~PortalGlobalHotKey() override;

    void registerHotKey() override;
    void unregisterHotKey() override;
    bool isAvailable() const override { return true; }
    QString description() const override;

private Q_SLOTS:
    void handleResponse(uint response, const QVariantMap &results);
    void handleActivated(
        const QDBusObjectPath &session, const QString &shortcut, qulonglong timestamp, const QVariantMap &options);
    void handleSessionClosed();

private:
    enum class State { Off, CreatingSession, Binding, Bound };

    void announceApplication();
    void createSession();
    void sessionCreated(const QVariantMap &results);
    void bindShortcut();
    void shortcutBound(const QVariantMap &results);
    void callPortal(const QString &method, const QVariantList &arguments, const QString &handleToken);
    void watchRequest(const QString &requestPath);
    void stopWatchingRequest();
    void watchSession(bool watch);
    void closeSession();
    void fail(const QString &why);
    QString newToken();

    QDBusConnection m_bus;
    State m_state = State::Off;
    // Counts registrations and unregistrations, so that a late answer to an abandoned attempt is recognised.
    quint64 m_attempt = 0;
    bool m_failed = false;
    bool m_announced = false;
    QString m_requestPath;
    QString m_sessionHandle;
    QString m_trigger;
    quint64 m_tokenCounter = 0;
};
