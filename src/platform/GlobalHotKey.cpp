#include "platform/GlobalHotKey.h"

#include "platform/HotKeyBackends.h"

#include <QGuiApplication>
#include <QKeySequence>

std::unique_ptr<GlobalHotKey> GlobalHotKey::create(QObject *parent)
{
    return createFor(QGuiApplication::platformName(), parent);
}

std::unique_ptr<GlobalHotKey> GlobalHotKey::createFor(const QString &platformName, QObject *parent)
{
    return HotKeyBackends::create(platformName, parent);
}

QString GlobalHotKey::keyText()
{
    return QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_BracketLeft).toString(QKeySequence::NativeText);
}

GlobalHotKey::GlobalHotKey(QObject *parent)
    : QObject(parent)
{
}

GlobalHotKey::~GlobalHotKey() = default;

void GlobalHotKey::setRegistered(bool registered)
{
    if (m_registered == registered)
        return;
    m_registered = registered;
    Q_EMIT registeredChanged(registered);
}

void GlobalHotKey::notifyPressed()
{
    // Queued with this object as context: a press that is still pending when the hot key is destroyed is dropped.
    QMetaObject::invokeMethod(
        this, [this] { Q_EMIT pressed(); }, Qt::QueuedConnection);
}

void GlobalHotKey::reportFailure()
{
    setRegistered(false);
    Q_EMIT registrationFailed();
}

QString GlobalHotKey::activeDescription(const QString &trigger)
{
    return tr("%1 creates a new note from any application.").arg(trigger);
}

QString GlobalHotKey::takenDescription()
{
    return tr("Another application already uses %1, so the shortcut does nothing here.").arg(keyText());
}

QString GlobalHotKey::commandLineAdvice()
{
    return tr("To create notes from the keyboard, bind the command “tackpad --new-note” to a key in your desktop's "
              "keyboard settings.");
}
