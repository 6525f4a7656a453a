#pragma once

#include "storage_export.h"

#include <QString>
#include <memory>

namespace storage {

class Database;
class ResourceStorage;
class FileReferenceStorage;
class CacheFileStorage;
class BufferFileStorage;
class KeepMediaSettingStorage;
class FileStorage;
class MessageStorage;
class DialogStorage;

// The storage of one account: one database file and its tables. Owns the Database and every
// table object; the pointers it hands out live as long as the provider. The tables may be used
// from any thread while the provider exists.
class STORAGE_EXPORT UserStorageProvider
{
public:
    explicit UserStorageProvider(const QString &databasePath);
    ~UserStorageProvider();

    Database *database() const;
    ResourceStorage *resourceStorage() const;
    FileReferenceStorage *fileReferenceStorage() const;
    CacheFileStorage *cacheFileStorage() const;
    BufferFileStorage *bufferFileStorage() const;
    KeepMediaSettingStorage *keepMediaSettingStorage() const;
    FileStorage *fileStorage() const;
    MessageStorage *messageStorage() const;
    DialogStorage *dialogStorage() const;

private:
    Q_DISABLE_COPY(UserStorageProvider)

    // Declared first so that it is destroyed last, after every table that points to it.
    const std::unique_ptr<Database> m_database;
    const std::unique_ptr<ResourceStorage> m_resourceStorage;
    const std::unique_ptr<FileReferenceStorage> m_fileReferenceStorage;
    const std::unique_ptr<CacheFileStorage> m_cacheFileStorage;
    const std::unique_ptr<BufferFileStorage> m_bufferFileStorage;
    const std::unique_ptr<KeepMediaSettingStorage> m_keepMediaSettingStorage;
    const std::unique_ptr<FileStorage> m_fileStorage;
    const std::unique_ptr<MessageStorage> m_messageStorage;
    const std::unique_ptr<DialogStorage> m_dialogStorage;
};

} // namespace storage
