#pragma once

#include <QLoggingCategory>

// The gallery application's own category.
Q_DECLARE_LOGGING_CATEGORY(lcGallery)
