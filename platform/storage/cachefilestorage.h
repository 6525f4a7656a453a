#pragma once

#include "storage_export.h"

#include <QList>
#include <QString>

namespace storage {

class Database;

// One file of the media cache.
struct CacheFileInfo
{
    QString fileId;
    int type = 0; // content type of the file
    QString suffix;
    qint64 size = 0;
    qint64 dateTime = 0; // last use, ms since epoch
};

// The cache-file table: one row per cached file, primary key fileId. Rows order by
// (dateTime, fileId), oldest first, which is the order the expiry walk pages through.
// Thread-safe; failures log one warning and return false or an empty result.
class STORAGE_EXPORT CacheFileStorage
{
public:
    explicit CacheFileStorage(Database *db);

    // Inserts or replaces by fileId, all rows in one transaction.
    bool save(const QList<CacheFileInfo> &rows);
    // At most count rows strictly after (dateTime, fileId), oldest first; (0, "") starts at the
    // oldest row.
    QList<CacheFileInfo> infosAfter(qint64 dateTime, const QString &fileId, int count);
    QList<CacheFileInfo> infosWithFileIds(const QList<QString> &fileIds);
    // Removes the rows with dateTime < time.
    bool removeBefore(qint64 time);
    bool removeWithFileIds(const QList<QString> &fileIds);
    bool removeAll();
    // The sum of the sizes of all rows; 0 when the query fails.
    qint64 totalSize();
    // The number of rows; 0 when the query fails.
    qint64 count();

private:
    Database *const m_db;
};

} // namespace storage
