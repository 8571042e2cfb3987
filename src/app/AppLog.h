#pragma once

#include <QLoggingCategory>

// The application shell's log: what the user was shown (toasts, alerts) at debug level, so that a run can be
// followed from its output, and the shell's own problems.
Q_DECLARE_LOGGING_CATEGORY(lcApp)
