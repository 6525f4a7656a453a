#include "mediacachecontext_p.h"

#include "accountbase.h"
#include "cachelayout.h"
#include "contenttype.h"
#include "filemanager.h"
#include "resourcedata.h"
#include "userstorageprovider.h"

#include <QFileInfo>

namespace {

bool isOnDisk(const QString &directory, const QString &fileId, const QString &suffix)
{
    return !fileId.isEmpty()
            && QFileInfo::exists(directory + CacheLayout::fileName(fileId, suffix));
}

bool isMissing(qint64 size, const QString &directory, const QString &fileId, const QString &suffix)
{
    return size >= 1 && !fileId.isEmpty() && !isOnDisk(directory, fileId, suffix);
}

} // namespace

MediaCacheContext::MediaCacheContext(AccountBase *account, const MediaKeepSetting *keepSetting)
    : m_account(account)
    , m_keepSetting(keepSetting)
{ }

bool MediaCacheContext::isMedia(int type)
{
    switch (type) {
    case CONTENT_PHOTO:
    case CONTENT_VOICE:
    case CONTENT_VIDEO:
    case CONTENT_FILE:
        return true;
    default:
        return false;
    }
}

FileDataMgr *MediaCacheContext::fileDataMgr() const
{
    return m_account->fileManager()->fileDataMgr();
}

storage::FileReferenceStorage *MediaCacheContext::fileReferences() const
{
    return m_account->storage()->fileReferenceStorage();
}

storage::CacheFileStorage *MediaCacheContext::cacheFiles() const
{
    return m_account->storage()->cacheFileStorage();
}

QString MediaCacheContext::mediaBaseDir(int type) const
{
    return CacheLayout::mediaPath(m_account->userCacheDataPath(), CacheLayout::MainCategory,
                                  CacheLayout::kindOfMessageType(type));
}

bool MediaCacheContext::fileExist(int type, const QString &fileId, const QString &suffix) const
{
    return isOnDisk(mediaBaseDir(type), fileId, suffix);
}

bool MediaCacheContext::existsFileInLocal(const ResourceData &data, int type) const
{
    const QString photoDir = mediaBaseDir(CONTENT_PHOTO);
    return isOnDisk(mediaBaseDir(type), data.fileId, data.suffix)
            || isOnDisk(photoDir, data.thumbId, data.thumbSuffix)
            || isOnDisk(photoDir, data.livePhotoId, data.livePhotoSuffix);
}

bool MediaCacheContext::allFileInLocal(const ResourceData &data, int type, qint64 &missingSize,
                                       qint64 &missingExtraSize) const
{
    missingSize = 0;
    missingExtraSize = 0;
    if (isMissing(data.size, mediaBaseDir(type), data.fileId, data.suffix)) {
        missingSize = data.size;
    }
    if (isMissing(data.thumbSize, mediaBaseDir(CONTENT_PHOTO), data.thumbId, data.thumbSuffix)) {
        missingExtraSize += data.thumbSize;
    }
    if (isMissing(data.livePhotoSize, mediaBaseDir(CONTENT_VIDEO), data.livePhotoId,
                  data.livePhotoSuffix)) {
        missingExtraSize += data.livePhotoSize;
    }
    return missingSize == 0 && missingExtraSize == 0;
}
