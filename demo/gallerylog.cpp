#include "gallerylog.h"

Q_LOGGING_CATEGORY(lcGallery, "mediamodel.gallery")
