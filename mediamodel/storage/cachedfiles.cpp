#include "cachedfiles_p.h"

#include "cachefilestorage.h"
#include "filedatamgr.h"
#include "mediamodellog_p.h"

#include <QSet>

QList<QString> deleteCachedFiles(FileDataMgr *files, storage::CacheFileStorage *cacheTable,
                                 const QList<CachedFile> &batch, bool bNotify)
{
    QList<QString> gone;
    QSet<QString> seen;
    qsizetype stayed = 0;
    for (const CachedFile &file : batch) {
        if (file.fileId.isEmpty() || seen.contains(file.fileId)) {
            continue;
        }
        seen.insert(file.fileId);
        if (files->deleteCacheFile(file.folder, file.fileId, file.suffix, bNotify)) {
            gone.append(file.fileId);
        } else {
            ++stayed;
        }
    }
    if (stayed > 0) {
        qCWarning(lcMedia).nospace() << stayed << " of " << seen.size()
                                     << " cached files could not be deleted; they stay listed";
    }
    if (!gone.isEmpty() && !cacheTable->removeWithFileIds(gone)) {
        qCWarning(lcMedia) << "rows of" << gone.size()
                           << "deleted cached files stay; the next cleanup removes them";
    }
    return gone;
}
