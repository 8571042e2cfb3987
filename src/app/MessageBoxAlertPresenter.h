#pragma once

#include "core/Alerts.h"

// Asks the user with an application-modal QMessageBox: buttons in the given order, the first one the default.
class MessageBoxAlertPresenter : public AlertPresenter {
public:
    int show(const Alert &alert) override;

    // What Escape answers: a "Cancel"-like button where there is one, the only button of a one-button alert,
    // otherwise -1 (the alert was dismissed without choosing).
    static int escapeIndex(const Alert &alert);
};
