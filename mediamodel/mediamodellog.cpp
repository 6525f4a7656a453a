#include "mediamodellog_p.h"

Q_LOGGING_CATEGORY(lcMedia, "im.mediamodel")
