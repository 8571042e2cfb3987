#include "platform/UnavailableGlobalHotKey.h"

UnavailableGlobalHotKey::UnavailableGlobalHotKey(const QString &reason, QObject *parent)
    : GlobalHotKey(parent)
    , m_reason(reason)
{
}

QString UnavailableGlobalHotKey::description() const
{
    return m_reason + u' ' + commandLineAdvice();
}
