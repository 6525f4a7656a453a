#pragma once

#include <QList>
#include <QString>

class MediaMgr;
class QTextStream;

// What the cache of an account takes on disk, as the storage screen measures it.
namespace StorageReport {

struct ChatUsage
{
    QString dialogId;
    QString name;
    qint64 bytes = 0;
};

struct Usage
{
    QList<QPair<int, qint64>> byType; // MediaStorageModel::MediaDataType, bytes; kinds with bytes
    QList<ChatUsage> byChat;          // largest first
    qint64 totalBytes = 0;
};

// Runs the hub's storage scan to its end (a local event loop turns meanwhile).
Usage measure(MediaMgr &hub);
void print(const Usage &usage, QTextStream &out);
// Bytes as "512 B", "1.5 KB", "2.0 MB", "3.1 GB" (units of 1024).
QString formatSize(qint64 bytes);
QString typeName(int dataType);

} // namespace StorageReport
