#include "app/AppLog.h"

Q_LOGGING_CATEGORY(lcApp, "tackpad.app", QtInfoMsg)
