#pragma once

#include "encodedmedia.h"

#include <QMap>
#include <QString>

// Makes the embedded sample account: a dozen chats with photos, videos, files, links, music and
// voice spread over several months up to today, quotes, combined messages, history that only
// the server holds, and files not downloaded yet whose bytes wait in a local source folder
// (served through file://). The same seed gives the same account, byte for byte. Videos, music and
// voice messages are encoded with ffmpeg, which must be installed; documents are drawn with fonts,
// which needs a QGuiApplication.
class SampleAccount
{
public:
    static constexpr qint64 UserId = 10001;

    struct Options
    {
        quint32 seed = 7;
        int mediaCount = 600; // media items, children of combined messages included
        qint64 now = 0;       // the account's "today", ms since the epoch; 0 is the current time
        // Where the encoded videos, music and voice messages are kept between accounts; empty
        // encodes them for this account alone.
        QString mediaCache = EncodedMedia::defaultCacheFolder();
    };

    struct Report
    {
        int dialogs = 0;
        int messages = 0;           // top-level messages in the local store
        int serverOnlyMessages = 0; // top-level messages only the server holds
        int combinedMessages = 0;
        int quotes = 0;
        QMap<int, int> localMediaByType; // content type -> media rows in the local store
        int filesDownloaded = 0;         // files of locally stored messages
        int filesNotDownloaded = 0;
        qint64 bytesOnDisk = 0; // cached copies
        qint64 bytesNotDownloaded = 0;
        bool mediaFromCache = false; // the encoded media were copied from Options::mediaCache
    };

    // Creates the account in folder, which must not hold an account yet. False, with a log line,
    // when anything could not be written.
    static bool create(const QString &folder, const Options &options, Report *report);
};
