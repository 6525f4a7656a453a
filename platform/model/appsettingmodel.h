#pragma once

#include "jsonsettings.h"

#include <QObject>
#include <memory>

// The application's settings, shared by every account, kept in settings.json of the
// application's data folder. Lives on the main thread; reads are thread-safe.
class AppSettingModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(qint64 localCacheMaxSize READ localCacheMaxSize WRITE setLocalCacheMaxSize NOTIFY
                       localCacheMaxSizeChanged)
    Q_PROPERTY(QString musicPlay READ musicPlay NOTIFY musicPlayChanged)

public:
    static AppSettingModel *instance();

    // The cache size limit in bytes; 0 or less means no limit.
    qint64 localCacheMaxSize() const;
    void setLocalCacheMaxSize(qint64 bytes);
    // The music player's mode, a JSON object text; empty when never set.
    QString musicPlay() const;
    void setMusicPlay(const QString &json, bool bPersist);

    // Re-reads the settings file, e.g. after the data folder moved.
    void reload();

Q_SIGNALS:
    void localCacheMaxSizeChanged(qint64 bytes);
    void musicPlayChanged();

private:
    AppSettingModel();
    std::shared_ptr<JsonSettings> settings() const;

    mutable QMutex m_mutex; // guards m_settings
    std::shared_ptr<JsonSettings> m_settings;
};
