#pragma once

#include "storage_export.h"

#include <QList>
#include <QString>

namespace storage {

class Database;

// A temporary or stream-buffer file; category and kind name its folder (see CacheLayout).
struct BufferFileInfo
{
    QString fileId;
    int category = 0;
    int kind = 0;
    QString suffix;
    qint64 size = 0;
    qint64 dateTime = 0; // creation, ms since epoch
};

// The buffer-file table: temporary and stream-buffer files, primary key fileId. The cleanup
// reads the oldest rows, deletes their files and removes the rows, page after page.
// Thread-safe; failures log one warning and return false or an empty result.
class STORAGE_EXPORT BufferFileStorage
{
public:
    explicit BufferFileStorage(Database *db);

    // Inserts or replaces by fileId, all rows in one transaction.
    bool save(const QList<BufferFileInfo> &rows);
    // At most count rows, oldest first.
    QList<BufferFileInfo> infos(int count, bool *ok = nullptr);
    bool remove(const QList<QString> &fileIds);

private:
    Database *const m_db;
};

} // namespace storage
