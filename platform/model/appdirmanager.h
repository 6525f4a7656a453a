#pragma once

#include <QMutex>
#include <QString>

// The application's own folders, shared by every account. The data folder defaults to the
// platform's application data location and can be moved (tests, the command-line tool).
class AppDirManager
{
public:
    static AppDirManager *instance();

    QString dataDir() const;
    void setDataDir(const QString &path);
    QString stickerDir() const;
    QString customEmojiDir() const;
    // Where accounts live, one folder per user id.
    QString accountsDir() const;

private:
    AppDirManager();

    mutable QMutex m_mutex; // guards m_dataDir
    QString m_dataDir;
};
