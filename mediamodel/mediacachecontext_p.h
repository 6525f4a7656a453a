#pragma once

// Not API: what the storage view, the retention passes, the bulk download and the hub's removals
// need of one account's media cache, so that none of them reaches up into the hub for it.

#include <QString>

class AccountBase;
class FileDataMgr;
class MediaKeepSetting;
struct ResourceData;
namespace storage {
class CacheFileStorage;
class FileReferenceStorage;
} // namespace storage

// The account, its file library and its file-reference and cache-file tables, where each content
// type's files lie, and how long each dialog keeps them.
//
// Made by the hub, which outlives everything it hands the context to. Any thread: the tables and
// the file library lock themselves, and the keep-time queries are locked.
class MediaCacheContext
{
public:
    MediaCacheContext(AccountBase *account, const MediaKeepSetting *keepSetting);

    // Photos, voice, videos and files: the content types whose files the cache keeps.
    static bool isMedia(int type);

    AccountBase *account() const { return m_account; }
    FileDataMgr *fileDataMgr() const;
    storage::FileReferenceStorage *fileReferences() const;
    storage::CacheFileStorage *cacheFiles() const;
    const MediaKeepSetting &keepSetting() const { return *m_keepSetting; }

    // The cache folder of a content type, ending with a separator.
    QString mediaBaseDir(int type) const;
    bool fileExist(int type, const QString &fileId, const QString &suffix) const;
    // Whether any file of the record is on disk.
    bool existsFileInLocal(const ResourceData &data, int type) const;
    // Whether every file of the record with a size is on disk; the outputs sum what is missing,
    // the source file apart from its thumbnail and live-photo video.
    bool allFileInLocal(const ResourceData &data, int type, qint64 &missingSize,
                        qint64 &missingExtraSize) const;

private:
    AccountBase *const m_account;
    const MediaKeepSetting *const m_keepSetting;
};
