#include "imlog.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcImLog, "im.log")

static QString tagged(const QString &text, const char *source)
{
    if (!source) {
        return text;
    }
    return QLatin1Char('[') + QLatin1String(source) + QStringLiteral("] ") + text;
}

void ImLog::debug(const QString &text, const char *source)
{
    qCDebug(lcImLog).noquote() << tagged(text, source);
}

void ImLog::info(const QString &text, const char *source)
{
    qCInfo(lcImLog).noquote() << tagged(text, source);
}

void ImLog::warning(const QString &text, const char *source)
{
    qCWarning(lcImLog).noquote() << tagged(text, source);
}

void ImLog::error(const QString &text, const char *source)
{
    qCCritical(lcImLog).noquote() << tagged(text, source);
}
