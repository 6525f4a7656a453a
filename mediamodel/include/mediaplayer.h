#pragma once

#include "mediaaudio.h"
#include "mediamodel_export.h"
#include "messageidrange.h"
#include "messagekey.h"
#include "resourceitem.h"
#include "searchkey.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <memory>

class AudioPlayer;
class MessageBase;

// The one audio player of the process: plays voice messages, music messages and temporary voice
// recordings through the audio engine, keeps what the player bar shows, decides what plays next
// when a track ends or fails, keeps the music play and loop modes in the application settings,
// and stops when the media it plays are deleted. Shared by every account; userId names the
// account of the loaded item, whose MediaMgr's MediaAudio is the playlist.
//
// Lives on the thread that first asks for it (the main thread); every state change happens there.
// The engine reports on its own thread through a callback that only posts audioEvent() here.
// Owns the engine; the playlist and the playing item belong to the account's hub and may go away
// while loaded, which the player sees as a null playlist or item.
class MEDIAMODEL_EXPORT MediaPlayer : public QObject
{
    Q_OBJECT
    Q_MOC_INCLUDE("mediaaudio.h")
    Q_MOC_INCLUDE("resourceitem.h")
    Q_MOC_INCLUDE("messagebase.h")
    Q_PROPERTY(MediaAudio *playList READ playList NOTIFY playListChanged)
    Q_PROPERTY(ResourceItem *playingItem READ playingItem NOTIFY playingItemChanged)
    Q_PROPERTY(QString activedDialogId READ activedDialogId NOTIFY activedDialogIdChanged)
    Q_PROPERTY(qlonglong userId READ userId NOTIFY userIdChanged)
    Q_PROPERTY(int playMode READ playMode WRITE setPlayMode NOTIFY playModeChanged)
    Q_PROPERTY(int loopMode READ loopMode WRITE setLoopMode NOTIFY loopModeChanged)
    Q_PROPERTY(double playSpeed READ playSpeed WRITE setPlaySpeed NOTIFY playSpeedChanged)
    Q_PROPERTY(bool isOnlyOne READ isOnlyOne NOTIFY isOnlyOneChanged)
    Q_PROPERTY(qlonglong playTime READ playTime NOTIFY playTimeChanged)
    Q_PROPERTY(qlonglong duration READ duration NOTIFY durationChanged)
    Q_PROPERTY(int playState READ playState NOTIFY playStateChanged)
    Q_PROPERTY(QStringList samples READ samples NOTIFY samplesChanged)
    Q_PROPERTY(bool playingWhileDownloading READ playingWhileDownloading NOTIFY
                       playingWhileDownloadingChanged)
    Q_PROPERTY(bool isUnderload READ isUnderload NOTIFY isUnderloadChanged)
    Q_PROPERTY(bool loadedTempVoice READ loadedTempVoice NOTIFY loadedTempVoiceChanged)

public:
    enum PlayState {
        STATE_STOPPED = 0, // nothing loaded, or playback reset
        STATE_PLAYING = 1,
        STATE_PAUSED = 2,
        STATE_LIST_END = 3, // a music list ran out without wrap: item loaded, engine paused at 0
    };
    Q_ENUM(PlayState)

    // What follows the end of a music track.
    enum PlayMode {
        MODE_SEQUENCE = 0, // the next (older) item
        MODE_REVERSE = 1,  // the previous (newer) item
        MODE_RANDOM = 2,
        MODE_REPEAT_ONE = 3,
        MODE_LIST_LOOP = 4, // the next item, the first after the last
    };
    Q_ENUM(PlayMode)

    static MediaPlayer *instance();
    ~MediaPlayer() override;

    // Deletes the engine; engine calls are skipped afterwards. Runs by itself when the
    // application object goes.
    void release();
    // Replaces the engine (owned) with another one, e.g. a host's own.
    void setAudioPlayer(std::unique_ptr<AudioPlayer> engine);
    AudioPlayer *audioPlayer() const { return m_audioPlayer.get(); }

    // Same as stop(accountId).
    void reset(qint64 accountId);
    // Plays item alone (no playlist) from its start.
    void playSchedule(qint64 accountId, ResourceItem *item, bool bOnlyOne, bool bMusic);
    bool isLoaded(qint64 accountId, const QString &dialogId) const;
    // Whether the loaded item belongs to a music list (false: voice).
    bool isMusic() const { return m_isMusic; }

    // Stops synchronously when the playing media are among those deleted. Any thread: called
    // elsewhere, the test and the stop run on the player's thread later.
    // The account's media.
    void stop(qint64 accountId);
    // The dialog's media.
    void stop(qint64 accountId, const QString &dialogId);
    // The dialog's media before messageId.
    void stop(qint64 accountId, const QString &dialogId, qint64 messageId);
    // The dialog's media strictly between the range's bounds.
    void stop(qint64 accountId, const QString &dialogId, const MessageIdRange &range);
    // The account's media of a content type.
    void stop(qint64 accountId, int type);
    // One message (not a child of a combined message).
    void stop(const QString &dialogId, const MessageKey &key);
    void stop(const QString &dialogId, const QList<qint64> &messageIds);
    // A sender's media before messageId.
    void stop(const QString &dialogId, qint64 senderId, qint64 messageId);

    MediaAudio *playList() const { return m_playList; }
    ResourceItem *playingItem() const { return m_playingItem; }
    QString activedDialogId() const { return m_activedDialogId; }
    qlonglong userId() const { return m_userId; }
    int playMode() const { return m_playMode; }
    int loopMode() const { return m_loopMode; }
    double playSpeed() const { return m_playSpeed; }
    bool isOnlyOne() const { return m_isOnlyOne; }
    qlonglong playTime() const { return m_playTime; }
    qlonglong duration() const { return m_duration; }
    int playState() const { return m_playState; }
    QStringList samples() const { return m_samples; }
    bool playingWhileDownloading() const { return m_playingWhileDownloading; }
    bool isUnderload() const { return m_isUnderload; }
    bool loadedTempVoice() const { return m_loadedTempVoice; }

public Q_SLOTS:
    // Reads the music play and loop modes from the application settings.
    void loadConfig();
    void setPlayMode(int playMode);
    void setLoopMode(int loopMode);
    void setPlaySpeed(double playSpeed);
    bool isLoaded(ResourceItem *item, qlonglong accountId) const;
    bool isLoadedByMsg(MessageBase *msgData, qlonglong accountId) const;
    // A music message in the list of its dialog filtered by searchFilter; bTopicParent plays it
    // alone (without automatic next). Speed goes back to 1.0.
    void playMusic(qlonglong accountId, MessageBase *msgData, SearchKey searchFilter,
                   bool bTopicParent);
    // A music message alone.
    void playMusic(qlonglong accountId, MessageBase *msgData);
    // Another item of the current playlist.
    void playItem(ResourceItem *item);
    // A voice message; bOnlyOne stops after it, otherwise the newer voices of the dialog follow.
    // The chosen speed stays.
    void playVoice(qlonglong accountId, MessageBase *msgData, bool bOnlyOne);
    // A recording that is not a message; never advances.
    void playTempVoice(QString filePath);
    // Pauses or resumes; stopped or at a list's end, restarts the item from its start.
    void pause(bool bPause);
    // Stops and unloads; sync waits for the engine to stop.
    void stop(bool sync);
    void stop();
    // Milliseconds; stopped or at a list's end, plays the item from there.
    void seekPos(qlonglong seekPos);
    // Voice: the newer and the older voice of the list.
    void nextTrackVoice();
    void previousTrackVoice();
    // Music: the older and the newer item; loop wraps at the ends, else the list's end leaves
    // the item loaded in STATE_LIST_END.
    void nextTrackMusic(bool loop = false);
    void previousTrackMusic(bool loop = false);
    void randomMusic();
    // Reads one event of the engine; posted by the engine's callback.
    void audioEvent();
    // Unloads without telling the engine; the playlist itself is left as it is.
    void resetPlayer();

Q_SIGNALS:
    void playListChanged(MediaAudio *playList);
    void playingItemChanged(ResourceItem *playingItem);
    void activedDialogIdChanged(const QString &activedDialogId);
    void userIdChanged(qlonglong userId);
    void playModeChanged(int playMode);
    void loopModeChanged(int loopMode);
    void playSpeedChanged(double playSpeed);
    void isOnlyOneChanged(bool isOnlyOne);
    void playTimeChanged(qlonglong playTime);
    void durationChanged(qlonglong duration);
    void playStateChanged(int playState);
    void samplesChanged(const QStringList &samples);
    void playingWhileDownloadingChanged(bool playingWhileDownloading);
    void isUnderloadChanged(bool isUnderload);
    void loadedTempVoiceChanged(bool loadedTempVoice);
    void isIdleChanged(bool isIdle);
    // Internal: reaches the engine's play, queued, after breakPlay was called directly.
    void sigAudioPlayerPlay(const QString &path, qlonglong seekPos);
    void playingMedia(qlonglong accountId, const QString &dialogId, qlonglong messageId);

private:
    MediaPlayer();
    Q_DISABLE_COPY(MediaPlayer)

    static void onEngineEvent(void *context);
    void attachEngine();
    void updateConfig();

    // Loads item and starts it at seekPos; false when it cannot start now.
    bool play(ResourceItem *item, qint64 seekPos);
    void playAudio(const QString &path, qint64 seekPos, qint64 duration);
    void startPlaylist(qlonglong accountId, MessageBase *msgData, bool bMusic, bool bOnlyOne,
                       const SearchKey *aroundFilter);
    MediaAudio *playlistOf(qint64 accountId) const;
    void onPlayEnd();
    void onPlayError();
    bool endTempVoice();
    void advanceMusic();
    void finishVoice();
    void endOfList();
    void stepMusic(bool bOlder, bool loop);
    void stepVoice(bool bNewer);
    void applyProgress(const QVariantMap &params);
    // Runs fn on the player's thread, now when called there.
    void onPlayerThread(std::function<void()> fn);
    void stopIf(std::function<bool()> condition);
    qint64 playingMessageId() const;

    void setPlayList(MediaAudio *playList);
    void setPlayingItem(ResourceItem *item);
    void setActivedDialogId(const QString &dialogId);
    void setUserId(qint64 userId);
    void setIsOnlyOne(bool isOnlyOne);
    void setPlayTime(qint64 playTime);
    void setDuration(qint64 duration);
    void setPlayState(int playState);
    void setSamples(const QStringList &samples);
    void setIsUnderload(bool isUnderload);
    void setLoadedTempVoice(bool loaded);

    QPointer<MediaAudio> m_playList;
    std::unique_ptr<AudioPlayer> m_audioPlayer;
    QPointer<ResourceItem> m_playingItem;
    QMetaObject::Connection m_playListGone;
    QMetaObject::Connection m_playingItemGone;
    QString m_activedDialogId;
    QStringList m_samples;
    qint64 m_userId = 0;
    qint64 m_playTime = 0;
    qint64 m_duration = 0;
    double m_playSpeed = 1.0;
    int m_playMode = MODE_SEQUENCE;
    int m_loopMode = 0;
    int m_playState = STATE_STOPPED;
    bool m_isMusic = false;
    bool m_isOnlyOne = false;
    const bool m_playingWhileDownloading = true;
    bool m_isUnderload = false;
    bool m_loadedTempVoice = false;
};
