#pragma once

// Not API: the media layer's logging category, shared by its sources.

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcMedia)
