#include "platform/KGlobalAccelHotKey.h"

#include "core/AppInfo.h"
#include "platform/PlatformLog.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QKeySequence>

// A key sequence as the daemon sends it, D-Bus type (ai): four combined key codes of Qt, unused places 0 (Ctrl, Alt
// and the bracket have the same values in Qt 5, which the daemon may be built with, and in Qt 6). The daemon reads
// all four without looking at the length: a shorter array crashes it.
struct DaemonKeySequence {
    QList<int> codes;
};
Q_DECLARE_METATYPE(DaemonKeySequence)

QDBusArgument &operator<<(QDBusArgument &argument, const DaemonKeySequence &sequence)
{
    argument.beginStructure();
    argument << sequence.codes;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, DaemonKeySequence &sequence)
{
    argument.beginStructure();
    argument >> sequence.codes;
    argument.endStructure();
    return argument;
}

namespace {

const QString daemonService = QStringLiteral("org.kde.kglobalaccel");
const QString daemonPath = QStringLiteral("/kglobalaccel");
const QString daemonInterface = QStringLiteral("org.kde.KGlobalAccel");
const QString componentInterface = QStringLiteral("org.kde.kglobalaccel.Component");

// The flags of the daemon's setShortcutKeys, as KGlobalAccel sends them.
enum SetShortcutFlag : uint {
    // The action exists in the running application: the daemon grabs its key.
    SetPresent = 2,
    // Without it the daemon keeps a key it already knows for the action (the user's choice from System Settings,
    // kept in kglobalshortcutsrc) and only takes ours for an action it has never seen.
    NoAutoloading = 4,
    // The keys are the action's default, what "Reset to default" in System Settings goes back to.
    IsDefault = 8,
};

// The bus's own default. A working daemon answers at once, but one busy at login (or on a loaded machine) can take
// seconds, and a late answer is still an answer; the calls are asynchronous, so nothing waits meanwhile.
constexpr int callTimeoutMs = 25000;

// The calls that take key sequences rather than single key codes: the only ones left in Plasma 6's daemon once
// it is built without the deprecated interface.
DaemonKeySequence defaultSequence()
{
    return {{(Qt::CTRL | Qt::ALT | Qt::Key_BracketLeft).toCombined(), 0, 0, 0}};
}

QVariant defaultKeys()
{
    return QVariant::fromValue(QList<DaemonKeySequence> {defaultSequence()});
}

// The first sequence that has a key, as the user reads it; empty when there is none. A key that clashes with
// another component comes back as an empty sequence, in its place in the list.
QString firstKeyName(const QList<DaemonKeySequence> &sequences)
{
    for (const DaemonKeySequence &sequence : sequences) {
        const QList<int> codes = sequence.codes;
        const QKeySequence keys(QKeyCombination::fromCombined(codes.value(0)),
            QKeyCombination::fromCombined(codes.value(1)), QKeyCombination::fromCombined(codes.value(2)),
            QKeyCombination::fromCombined(codes.value(3)));
        if (!keys.isEmpty())
            return keys.toString(QKeySequence::NativeText);
    }
    return {};
}

} // namespace

bool KGlobalAccelHotKey::isOffered(const QDBusConnection &bus)
{
    return bus.isConnected() && bus.interface()->isServiceRegistered(daemonService).value();
}

KGlobalAccelHotKey::KGlobalAccelHotKey(const QDBusConnection &bus, QObject *parent)
    : GlobalHotKey(parent)
    , m_bus(bus)
{
    qDBusRegisterMetaType<DaemonKeySequence>();
    qDBusRegisterMetaType<QList<DaemonKeySequence>>();
}

KGlobalAccelHotKey::~KGlobalAccelHotKey()
{
    // The application quits: like KDE applications, leave the action filed but inactive, so the key the user gave
    // it in System Settings is still there next time. Only switching the option off removes it.
    if (m_state == State::Off)
        return;
    watch(false);
    send(QStringLiteral("setInactive"), {actionId()});
}

void KGlobalAccelHotKey::registerHotKey()
{
    if (m_state != State::Off)
        return;
    ++m_attempt;
    m_state = State::Registering;
    m_failure = Failure::None;
    call(QStringLiteral("doRegister"), {actionId()}, [this](const QDBusMessage &) { setDefaultShortcut(); });
}

void KGlobalAccelHotKey::unregisterHotKey()
{
    ++m_attempt;
    if (m_state != State::Off) {
        // Removed, not just made inactive: the user switched the shortcut off, so it leaves System Settings too.
        watch(false);
        removeAction();
    }
    m_state = State::Off;
    m_trigger.clear();
    setRegistered(false);
}

QString KGlobalAccelHotKey::description() const
{
    const QString settings = tr("The key can be changed on the Shortcuts page of KDE's System Settings.");
    if (m_state == State::Registered) {
        if (m_trigger.isEmpty())
            return tr("No key is assigned to creating a new note.") + u' ' + settings;
        return activeDescription(m_trigger) + u' ' + settings;
    }
    if (m_failure == Failure::Taken)
        return takenDescription() + u' ' + commandLineAdvice();
    if (m_failure == Failure::Error)
        return tr("KDE's shortcut service did not set up the shortcut.") + u' ' + commandLineAdvice();
    return tr("Switched on, %1 creates a new note through KDE's shortcut service.").arg(keyText()) + u' ' + settings;
}

void KGlobalAccelHotKey::setDefaultShortcut()
{
    // The order KGlobalAccel::setGlobalShortcut follows: the default first, then the active key with autoloading,
    // whose answer is what the daemon really assigned.
    const QString method = QStringLiteral("setShortcutKeys");
    call(method, {actionId(), defaultKeys(), uint(IsDefault)}, [this, method](const QDBusMessage &) {
        call(method, {actionId(), defaultKeys(), uint(SetPresent)}, [this](const QDBusMessage &reply) {
            shortcutAssigned(firstKeyName(qdbus_cast<QList<DaemonKeySequence>>(reply.arguments().value(0))));
        });
    });
}

void KGlobalAccelHotKey::shortcutAssigned(const QString &trigger)
{
    m_trigger = trigger;
    if (trigger.isEmpty())
        checkKeyIsFree();
    else
        findComponent();
}

void KGlobalAccelHotKey::checkKeyIsFree()
{
    // No key: either another component holds Ctrl+Alt+[, or the user removed the key in System Settings. The
    // user's "none" stands (the action stays, ready for a key); a taken key is a failed registration.
    call(QStringLiteral("globalShortcutAvailable"),
        {QVariant::fromValue(defaultSequence()), QString::fromLatin1(componentName)},
        [this](const QDBusMessage &reply) {
            if (reply.arguments().value(0).toBool())
                findComponent();
            else
                fail(Failure::Taken, keyText() + QStringLiteral(" belongs to another component"));
        });
}

void KGlobalAccelHotKey::findComponent()
{
    call(QStringLiteral("getComponent"), {QString::fromLatin1(componentName)}, [this](const QDBusMessage &reply) {
        componentFound(reply.arguments().value(0).value<QDBusObjectPath>().path());
    });
}

void KGlobalAccelHotKey::componentFound(const QString &path)
{
    m_componentPath = path;
    watch(true);
    m_state = State::Registered;
    setRegistered(true);
}

void KGlobalAccelHotKey::handlePressed(const QString &component, const QString &action, qlonglong)
{
    if (m_state == State::Registered && component == QLatin1String(componentName)
        && action == QLatin1String(actionName))
        notifyPressed();
}

void KGlobalAccelHotKey::handleShortcutsChanged(const QDBusMessage &change)
{
    // The user gave the action another key in System Settings while the application runs.
    const QStringList changedId = change.arguments().value(0).toStringList();
    if (changedId.value(0) != QLatin1String(componentName) || changedId.value(1) != QLatin1String(actionName))
        return;
    m_trigger = firstKeyName(qdbus_cast<QList<DaemonKeySequence>>(change.arguments().value(1)));
}

void KGlobalAccelHotKey::watch(bool watching)
{
    if (m_componentPath.isEmpty())
        return;
    const QString pressed = QStringLiteral("globalShortcutPressed");
    const QString changed = QStringLiteral("yourShortcutsChanged");
    if (watching) {
        m_bus.connect(daemonService, m_componentPath, componentInterface, pressed, this,
            SLOT(handlePressed(QString, QString, qlonglong)));
        m_bus.connect(
            daemonService, daemonPath, daemonInterface, changed, this, SLOT(handleShortcutsChanged(QDBusMessage)));
        return;
    }
    m_bus.disconnect(daemonService, m_componentPath, componentInterface, pressed, this,
        SLOT(handlePressed(QString, QString, qlonglong)));
    m_bus.disconnect(
        daemonService, daemonPath, daemonInterface, changed, this, SLOT(handleShortcutsChanged(QDBusMessage)));
    m_componentPath.clear();
}

void KGlobalAccelHotKey::call(
    const QString &method, const QVariantList &arguments, std::function<void(const QDBusMessage &)> next)
{
    QDBusMessage message = QDBusMessage::createMethodCall(daemonService, daemonPath, daemonInterface, method);
    message.setArguments(arguments);
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message, callTimeoutMs), this);
    const quint64 attempt = m_attempt;
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
        [this, attempt, method, next = std::move(next)](QDBusPendingCallWatcher *w) {
            w->deleteLater();
            if (attempt != m_attempt)
                return;
            const QDBusMessage reply = w->reply();
            if (reply.type() == QDBusMessage::ErrorMessage) {
                fail(Failure::Error, method + QStringLiteral(" failed: ") + reply.errorMessage());
                return;
            }
            next(reply);
        });
}

void KGlobalAccelHotKey::fail(Failure failure, const QString &why)
{
    qCWarning(lcPlatform).noquote() << "TackPad: KDE's shortcut service did not set up the global shortcut:" << why;
    // An action left without a key would sit in System Settings doing nothing; removed, the next attempt starts
    // afresh and gets Ctrl+Alt+[ once it is free.
    if (failure == Failure::Taken)
        removeAction();
    m_state = State::Off;
    m_failure = failure;
    m_trigger.clear();
    reportFailure();
}

void KGlobalAccelHotKey::removeAction()
{
    send(QStringLiteral("unregister"), {QString::fromLatin1(componentName), QString::fromLatin1(actionName)});
}

void KGlobalAccelHotKey::send(const QString &method, const QVariantList &arguments)
{
    // No answer is awaited: messages of one connection reach the daemon in order, so a later registration finds
    // this one done.
    QDBusMessage message = QDBusMessage::createMethodCall(daemonService, daemonPath, daemonInterface, method);
    message.setArguments(arguments);
    m_bus.send(message);
}

QStringList KGlobalAccelHotKey::actionId() const
{
    // Component and action, each by its unique name and the name System Settings shows.
    return {QString::fromLatin1(componentName), QString::fromLatin1(actionName), QString::fromLatin1(AppInfo::name),
        tr("Create a new note")};
}
