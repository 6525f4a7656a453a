#include "appsettingmodel.h"

#include "appdirmanager.h"
#include "util.h"

static const QString CacheMaxSizeKey = QStringLiteral("local_cache_max_size");
static const QString MusicPlayKey = QStringLiteral("music_play");

static QString settingsPath()
{
    return Util::joinPath(AppDirManager::instance()->dataDir(), QStringLiteral("settings.json"));
}

AppSettingModel *AppSettingModel::instance()
{
    static AppSettingModel model;
    return &model;
}

AppSettingModel::AppSettingModel()
    : m_settings(std::make_shared<JsonSettings>(settingsPath()))
{ }

std::shared_ptr<JsonSettings> AppSettingModel::settings() const
{
    QMutexLocker locker(&m_mutex);
    return m_settings;
}

void AppSettingModel::reload()
{
    QMutexLocker locker(&m_mutex);
    m_settings = std::make_shared<JsonSettings>(settingsPath());
}

qint64 AppSettingModel::localCacheMaxSize() const
{
    return settings()->value(CacheMaxSizeKey, 0).toLongLong();
}

void AppSettingModel::setLocalCacheMaxSize(qint64 bytes)
{
    if (settings()->setValue(CacheMaxSizeKey, bytes)) {
        Q_EMIT localCacheMaxSizeChanged(bytes);
    }
}

QString AppSettingModel::musicPlay() const
{
    return settings()->value(MusicPlayKey).toString();
}

void AppSettingModel::setMusicPlay(const QString &json, bool bPersist)
{
    if (settings()->setValue(MusicPlayKey, json, bPersist)) {
        Q_EMIT musicPlayChanged();
    }
}
