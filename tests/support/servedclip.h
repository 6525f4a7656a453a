#pragma once

#include "accountbase.h"
#include "accountmanager.h"
#include "cachelayout.h"
#include "filemanager.h"
#include "filestorage.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QUrl>

#include <sys/resource.h>

// An account holding one complete file, "clip", served by `mediactl serve` in a child process
// whose descriptor limit is lowered: what a flood of connections from another process meets.
namespace ServedClip {

inline const QString kFileId = QStringLiteral("clip");

// Writes the account in folder with bytes as the clip, complete in its cache.
inline bool writeAccount(const QString &folder, qint64 userId, const QByteArray &bytes)
{
    if (!AccountManager::writeAccountInfo(folder, userId, QStringLiteral("Flooded"))) {
        return false;
    }
    AccountBase account(userId, folder);
    const QString copy = CacheLayout::mediaPath(account.userCacheDataPath(),
                                                CacheLayout::MainCategory, CacheLayout::VideoKind)
            + kFileId + QStringLiteral(".bin");
    QFile file(copy);
    if (!account.isValid() || !QDir().mkpath(QFileInfo(copy).path())
        || !file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        return false;
    }
    file.close();
    storage::FileRecord record;
    record.fileId = kFileId;
    record.type = 5;
    record.suffix = QStringLiteral("bin");
    record.size = bytes.size();
    record.name = kFileId + QStringLiteral(".bin");
    record.url = QStringLiteral("file:///nonexistent/clip.bin");
    return !account.fileManager()->registerFiles({record}).value(0).isNull();
}

// Starts `mediactl serve` on the clip with at most descriptorLimit descriptors and reads the URL
// it prints. Its warnings go to this process's standard error: a pipe nobody read would fill up
// and stop it.
inline bool startServer(QProcess &server, const QString &mediactl, const QString &folder,
                        rlim_t descriptorLimit, int timeoutMs, QUrl &url)
{
    server.setChildProcessModifier([descriptorLimit] {
        const rlimit limit {descriptorLimit, descriptorLimit};
        ::setrlimit(RLIMIT_NOFILE, &limit);
    });
    server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    server.start(mediactl, {QStringLiteral("serve"), folder, kFileId});
    if (!server.waitForStarted(timeoutMs)) {
        return false;
    }
    const QDeadlineTimer deadline(timeoutMs);
    while (!server.canReadLine()) {
        if (deadline.hasExpired() || !server.waitForReadyRead(int(deadline.remainingTime()))) {
            return false;
        }
    }
    url = QUrl(QString::fromUtf8(server.readLine().trimmed()));
    return url.isValid();
}

inline QByteArray rangeRequest(const QUrl &url, const QByteArray &range)
{
    return "GET " + url.path().toUtf8() + " HTTP/1.1\r\nHost: 127.0.0.1\r\nRange: " + range
            + "\r\n\r\n";
}

} // namespace ServedClip
