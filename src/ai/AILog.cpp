#include "ai/AILog.h"

Q_LOGGING_CATEGORY(lcAI, "tackpad.ai", QtInfoMsg)
