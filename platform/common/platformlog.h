#pragma once

#include <QLoggingCategory>

// The platform libraries' own category; the media layer logs under "im.mediamodel".
Q_DECLARE_LOGGING_CATEGORY(lcPlatform)
