#pragma once

#include "platform/GlobalHotKey.h"

#include <QDBusConnection>

#include <functional>

class QDBusMessage;

// KDE Plasma's shortcut daemon (kglobalaccel, hosted by KWin under Wayland), spoken to over D-Bus the way KDE
// applications do through KGlobalAccel. The application files an action "Create a new note" with Ctrl+Alt+[ as its
// default; the daemon grabs the key and tells us of presses. The user may give the action another key, or none, in
// System Settings, and the daemon keeps that choice over our default. Registration is a short chain of calls that
// completes asynchronously; `registeredChanged` reports the outcome.
class KGlobalAccelHotKey : public GlobalHotKey {
    Q_OBJECT

public:
    static constexpr const char *componentName = "tackpad";
    static constexpr const char *actionName = "new-note";

    // Whether the daemon is running on `bus`. It asks only for the registered name: a daemon that the bus would
    // merely activate on demand belongs to a desktop that is not running.
    static bool isOffered(const QDBusConnection &bus);

    KGlobalAccelHotKey(const QDBusConnection &bus, QObject *parent);
    ~KGlobalAccelHotKey() override;

    void registerHotKey() override;
    void unregisterHotKey() override;
    bool isAvailable() const override { return true; }
    QString description() const override;

private Q_SLOTS:
    void handlePressed(const QString &component, const QString &action, qlonglong timestamp);
    void handleShortcutsChanged(const QDBusMessage &change);

private:
    enum class State { Off, Registering, Registered };
    enum class Failure { None, Taken, Error };

    void setDefaultShortcut();
    void shortcutAssigned(const QString &trigger);
    void checkKeyIsFree();
    void findComponent();
    void componentFound(const QString &path);
    void watch(bool watching);
    void call(const QString &method, const QVariantList &arguments, std::function<void(const QDBusMessage &)> next);
    void send(const QString &method, const QVariantList &arguments);
    void removeAction();
    void fail(Failure failure, const QString &why);
    QStringList actionId() const;

    QDBusConnection m_bus;
    State m_state = State::Off;
    Failure m_failure = Failure::None;
    // Counts registrations and unregistrations, so that a late answer to an abandoned attempt is recognised.
    quint64 m_attempt = 0;
    QString m_componentPath;
    // The key the daemon assigned, as the user reads it; empty when the action has none.
    QString m_trigger;
};
