#pragma once

#include <QString>

// The client's application log. Lines go to the Qt message handler under the category
// "im.log", tagged with the source that wrote them, so a host can route them to its log file.
class ImLog
{
public:
    static void debug(const QString &text, const char *source = nullptr);
    static void info(const QString &text, const char *source = nullptr);
    static void warning(const QString &text, const char *source = nullptr);
    static void error(const QString &text, const char *source = nullptr);
};
