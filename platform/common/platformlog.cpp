#include "platformlog.h"

Q_LOGGING_CATEGORY(lcPlatform, "im.platform")
