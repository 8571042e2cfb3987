#pragma once

#include <QLoggingCategory>

// Background events of AI requests ("TackPad: pre-AI backup failed: …", retries). Never the key, never a header.
Q_DECLARE_LOGGING_CATEGORY(lcAI)
