#pragma once

#include "audioplayer.h"

#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>

class AccountBase;
class MediaMgr;
class MessageBase;
namespace im {
class Message;
}

namespace AudioTest {

constexpr qint64 UserId = 1;
constexpr qint64 SenderId = 7;
constexpr qint64 BaseTime = 1'690'000'000'000;

// An engine that plays nothing: it records every call, as "name:argument", and sends the events
// a test asks for through the same queue and callback as a real engine.
class ScriptedEngine : public AudioPlayer
{
    Q_OBJECT

public:
    using AudioPlayer::AudioPlayer;

    void play(const QString &path, qint64 seekPos) override;
    void breakPlay(const QString &path, qint64 duration) override;
    void pause(bool bPause) override;
    void stop(bool bSync) override;
    void seekPos(qint64 position) override;
    void setSpeed(double speed) override;

    void send(int type, const QVariantMap &params = {}, const QString &message = QString());
    // The paths handed to play, in order.
    QStringList plays() const;

    QStringList calls;
};

// The file of a voice or music message: what the message says of it and where its bytes come from.
struct AudioFile
{
    QString suffix;
    qint64 size = 0;
    qint64 durationMs = 0;
    QString url; // the download source; may be empty for files already on disk
};

// An account in a temporary folder, registered with the account manager, with its media hub and
// one dialog "d" of voice or music messages whose files are on disk.
class AudioAccount
{
public:
    AudioAccount();
    ~AudioAccount();

    bool isValid() const;
    AccountBase *account() const { return m_account.get(); }
    MediaMgr *hub() const { return m_hub; }

    // Messages ids first..last of type into dialogId, one second apart; the files are written
    // to disk unless bDownloaded is false.
    bool addMessages(int type, qint64 first, qint64 last, const QString &dialogId = "d",
                     bool bDownloaded = true);
    // Message id of type into dialog "d" with the given file; localCopy, when given, is copied into
    // the cache as the complete download, otherwise the file is still to be downloaded from its
    // url.
    bool addMessage(int type, qint64 id, const AudioFile &file, const QString &localCopy = {});
    QSharedPointer<MessageBase> message(qint64 id, const QString &dialogId = "d") const;
    // Where the file of a message lives once complete.
    QString localPath(int type, qint64 id, const QString &suffix = QStringLiteral("wav")) const;

private:
    static im::Message audioMessage(const QString &dialogId, int type, qint64 id,
                                    const AudioFile &file);

    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
    MediaMgr *m_hub = nullptr; // child of the account
};

QString fileIdOf(qint64 id);

// Gives the process-wide player an engine that plays nothing, and returns it (the player owns
// it): a test drives the player's events through it, on a machine with or without sound.
ScriptedEngine *installScriptedEngine();

} // namespace AudioTest
