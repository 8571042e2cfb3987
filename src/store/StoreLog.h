#pragma once

#include <QLoggingCategory>

// Background failures of the note store ("TackPad: failed to save …", "TackPad: attachment write failed: …").
Q_DECLARE_LOGGING_CATEGORY(lcStore)
