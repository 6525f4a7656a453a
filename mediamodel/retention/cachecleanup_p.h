#pragma once

// Not API: the cleanups of the media cache besides the expiry, which the hub starts, and the walk
// over the cache-file table that the expiry and the hub's focus-loss cleanup share.

#include "cachefilestorage.h"

#include <QList>
#include <QString>

#include <functional>

class FileDataMgr;
namespace storage {
class UserStorageProvider;
}

enum class CacheWalk {
    Ended,      // the table ended
    Stopped,    // visit asked to stop
    Unreadable, // a page could not be read: nothing after it was visited
};

// Hands the cache table's rows to visit oldest first (by last use), LOAD_COUNT at a time, until
// the table ends or visit returns false. Each page starts after the last row of the one before
// rather than at an offset, so rows a cleanup deletes from a page do not shift those ahead.
CacheWalk
walkCacheOldestFirst(storage::CacheFileStorage *cache,
                     const std::function<bool(const QList<storage::CacheFileInfo> &page)> &visit);

// Temporary and stream-buffer files are never referenced by a message: every one goes, oldest
// first, a page at a time. A table that cannot be read or rows that cannot be removed stop it
// with one warning. Any thread.
void clearTempFiles(storage::UserStorageProvider *storage, FileDataMgr *files,
                    const QString &cacheRoot);
