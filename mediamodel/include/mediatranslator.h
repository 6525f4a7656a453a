#pragma once

#include "mediamodel_export.h"

#include <QLocale>
#include <QString>

// The media layer's own texts (the forward descriptions of a selection), compiled into the
// library. The application installs them once, before the first text is asked for: the texts
// are read once per process.
class MEDIAMODEL_EXPORT MediaTranslator
{
public:
    MediaTranslator() = delete;

    // The resource folder of the compiled translations, ":/mediamodel/i18n", holding
    // mediamodel_<language>.qm, for applications that load them with their own QTranslator.
    static QString translationsDir();
    // Loads the texts for locale, English where the locale has none, into a translator owned by
    // the application object and installs it. False, with a log line, without an application
    // object or when nothing could be loaded.
    static bool install(const QLocale &locale = QLocale());
};
