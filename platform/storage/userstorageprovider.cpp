#include "userstorageprovider.h"

#include "bufferfilestorage.h"
#include "cachefilestorage.h"
#include "database.h"
#include "dialogstorage.h"
#include "filereferencestorage.h"
#include "filestorage.h"
#include "keepmediasettingstorage.h"
#include "messagestorage.h"
#include "resourcestorage.h"

namespace storage {

UserStorageProvider::UserStorageProvider(const QString &databasePath)
    : m_database(std::make_unique<Database>(databasePath))
    , m_resourceStorage(std::make_unique<ResourceStorage>(m_database.get()))
    , m_fileReferenceStorage(std::make_unique<FileReferenceStorage>(m_database.get()))
    , m_cacheFileStorage(std::make_unique<CacheFileStorage>(m_database.get()))
    , m_bufferFileStorage(std::make_unique<BufferFileStorage>(m_database.get()))
    , m_keepMediaSettingStorage(std::make_unique<KeepMediaSettingStorage>(m_database.get()))
    , m_fileStorage(std::make_unique<FileStorage>(m_database.get()))
    , m_messageStorage(std::make_unique<MessageStorage>(m_database.get()))
    , m_dialogStorage(std::make_unique<DialogStorage>(m_database.get()))
{ }

UserStorageProvider::~UserStorageProvider() = default;

Database *UserStorageProvider::database() const
{
    return m_database.get();
}

ResourceStorage *UserStorageProvider::resourceStorage() const
{
    return m_resourceStorage.get();
}

FileReferenceStorage *UserStorageProvider::fileReferenceStorage() const
{
    return m_fileReferenceStorage.get();
}

CacheFileStorage *UserStorageProvider::cacheFileStorage() const
{
    return m_cacheFileStorage.get();
}

BufferFileStorage *UserStorageProvider::bufferFileStorage() const
{
    return m_bufferFileStorage.get();
}

KeepMediaSettingStorage *UserStorageProvider::keepMediaSettingStorage() const
{
    return m_keepMediaSettingStorage.get();
}

FileStorage *UserStorageProvider::fileStorage() const
{
    return m_fileStorage.get();
}

MessageStorage *UserStorageProvider::messageStorage() const
{
    return m_messageStorage.get();
}

DialogStorage *UserStorageProvider::dialogStorage() const
{
    return m_dialogStorage.get();
}

} // namespace storage
