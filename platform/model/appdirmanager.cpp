#include "appdirmanager.h"

#include "util.h"

#include <QStandardPaths>

AppDirManager *AppDirManager::instance()
{
    static AppDirManager manager;
    return &manager;
}

AppDirManager::AppDirManager()
    : m_dataDir(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation))
{ }

QString AppDirManager::dataDir() const
{
    QMutexLocker locker(&m_mutex);
    return m_dataDir;
}

void AppDirManager::setDataDir(const QString &path)
{
    QMutexLocker locker(&m_mutex);
    m_dataDir = path;
}

QString AppDirManager::stickerDir() const
{
    return Util::joinPath(dataDir(), QStringLiteral("stickers"));
}

QString AppDirManager::customEmojiDir() const
{
    return Util::joinPath(dataDir(), QStringLiteral("custom_emoji"));
}

QString AppDirManager::accountsDir() const
{
    return Util::joinPath(dataDir(), QStringLiteral("accounts"));
}
