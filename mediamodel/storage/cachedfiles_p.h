#pragma once

// Not API: the one way the media layer deletes files of the account's cache, shared by the hub,
// the storage view and the expiry.

#include <QList>
#include <QString>

class FileDataMgr;
namespace storage {
class CacheFileStorage;
}

// A file of the media cache: its id, the folder it lies in (ending with a separator) and its
// suffix, as the file library names cached files.
struct CachedFile
{
    QString fileId;
    QString folder;
    QString suffix;
};

// Deletes the files through the file library and removes the cache-file rows of those that are
// gone; returns their ids, each once, in the order given. A file that could not be deleted keeps
// its row and its place in every size, so that the storage view still counts it and the next
// cleanup tries it again; one warning per call tells how many stayed. Files without an id are
// skipped. Any thread.
QList<QString> deleteCachedFiles(FileDataMgr *files, storage::CacheFileStorage *cacheTable,
                                 const QList<CachedFile> &batch, bool bNotify = false);
