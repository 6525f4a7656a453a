#pragma once

#include "storage_export.h"

#include <QList>
#include <QString>

#include <functional>

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
// Thread-safe; failures log one warning and return false or an empty result. The reads a deletion
// rests on also tell a failed read from one that found nothing through ok.
class STORAGE_EXPORT CacheFileStorage
{
public:
    explicit CacheFileStorage(Database *db);

    // Inserts or replaces by fileId, all rows in one transaction.
    bool save(const QList<CacheFileInfo> &rows);
    // Inserts the rows whose fileId has none yet, in one transaction; a row already there stays
    // as it is.
    bool add(const QList<CacheFileInfo> &rows);
    // At most count rows strictly after (dateTime, fileId), oldest first; (0, "") starts at the
    // oldest row.
    QList<CacheFileInfo> infosAfter(qint64 dateTime, const QString &fileId, int count,
                                    bool *ok = nullptr);

    enum class Walk {
        Ended,      // the table ended
        Stopped,    // visit asked to stop
        Unreadable, // a page could not be read: nothing after it was visited
    };
    // Hands the rows to visit oldest first, pageSize at a time, until the table ends or visit
    // returns false. Each page starts after the last row of the one before rather than at an
    // offset, so rows that visit removes do not shift those ahead.
    Walk walkOldestFirst(int pageSize,
                         const std::function<bool(const QList<CacheFileInfo> &page)> &visit);
    QList<CacheFileInfo> infosWithFileIds(const QList<QString> &fileIds);
    // Removes the rows with dateTime < time.
    bool removeBefore(qint64 time);
    bool removeWithFileIds(const QList<QString> &fileIds);
    // Removes each row that still has the dateTime given, in one transaction: a row written anew
    // since it was read stays.
    bool removeUnchanged(const QList<CacheFileInfo> &rows);
    bool removeAll();
    // The sum of the sizes of all rows; 0 when the query fails.
    qint64 totalSize(bool *ok = nullptr);
    // The number of rows; 0 when the query fails.
    qint64 count(bool *ok = nullptr);

private:
    Database *const m_db;
};

} // namespace storage
