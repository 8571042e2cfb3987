#pragma once

#include <QLoggingCategory>

// Background failures of the platform mechanisms (hot key, keyring, single instance, reveal). Messages start with
// "TackPad: " so they can be found in the journal among other programs' output.
Q_DECLARE_LOGGING_CATEGORY(lcPlatform)
