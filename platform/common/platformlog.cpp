#include "platformlog.h"

// Debug lines are off unless QT_LOGGING_RULES asks for them: the platform is chatty on purpose.
Q_LOGGING_CATEGORY(lcPlatform, "im.platform", QtInfoMsg)
