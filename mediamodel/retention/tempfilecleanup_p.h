#pragma once

// Not API: the cleanup of the temporary and stream-buffer files, which the hub runs after each
// expiry.

#include <QString>

class FileDataMgr;
namespace storage {
class UserStorageProvider;
}

// Temporary and stream-buffer files are never referenced by a message: every one goes, oldest
// first, a page at a time. A table that cannot be read or rows that cannot be removed stop it
// with one warning. Any thread.
void clearTempFiles(storage::UserStorageProvider *storage, FileDataMgr *files,
                    const QString &cacheRoot);
