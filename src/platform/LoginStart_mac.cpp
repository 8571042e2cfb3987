// The macOS side of LoginStart: login items need a signed app bundle and the Service Management framework, which
// this build does not make; Settings hides the choice.
#include "platform/LoginStart.h"

bool LoginStart::isSupported()
{
    return false;
}

bool LoginStart::isEnabled()
{
    return false;
}

bool LoginStart::setEnabled(bool, QString *error)
{
    *error = QStringLiteral("starting at login is not available on this system");
    return false;
}
