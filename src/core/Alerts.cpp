#include "core/Alerts.h"

Alert Alert::failure(const QString &message, const QString &informativeText)
{
    Alert alert;
    alert.style = Warning;
    alert.message = message;
    alert.informativeText = informativeText;
    return alert;
}

AlertPresenter::~AlertPresenter() = default;
