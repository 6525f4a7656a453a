#include "mediaplayer.h"

#include "accountbase.h"
#include "accountmanager.h"
#include "appsettingmodel.h"
#include "audioplayer.h"
#include "contentitem.h"
#include "contenttype.h"
#include "downloadfilemgr.h"
#include "filedata.h"
#include "filemanager.h"
#include "imlog.h"
#include "jsonutil.h"
#include "mediaaudio.h"
#include "mediamodellog_p.h"
#include "mediautil.h"
#include "messagebase.h"
#include "multimediaaudioplayer.h"
#include "musicitem.h"
#include "notifyingsetter_p.h"
#include "ownerthread_p.h"
#include "playlists_p.h"
#include "resourceitem.h"
#include "voiceitem.h"

#include <QCoreApplication>
#include <QJSEngine>
#include <QThread>

namespace {

const QString PlaySequenceKey = QStringLiteral("play_sequence");
const QString PlayLoopKey = QStringLiteral("play_loop");

qint64 durationOf(const QSharedPointer<ContentItem> &content)
{
    if (content->type() == CONTENT_VOICE) {
        const auto voice = qSharedPointerDynamicCast<VoiceItem>(content);
        return voice ? voice->duration() : 0;
    }
    const auto music = qSharedPointerDynamicCast<MusicItem>(content);
    return music ? music->duration() : 0;
}

void releaseAtExit()
{
    MediaPlayer::instance()->release();
}

} // namespace

MediaPlayer *MediaPlayer::instance()
{
    static MediaPlayer player;
    return &player;
}

// Whoever asks first, ingest and removal on a host thread included, the player lives on the
// application's main thread, where QML binds to it.
MediaPlayer::MediaPlayer()
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
    if (QCoreApplication *app = QCoreApplication::instance()) {
        moveToThread(app->thread());
    }
    connect(this, &MediaPlayer::playModeChanged, this, &MediaPlayer::updateConfig);
    connect(this, &MediaPlayer::loopModeChanged, this, &MediaPlayer::updateConfig);
    m_audioPlayer = std::make_unique<MultimediaAudioPlayer>();
    attachEngine();
    // The engine owns a thread; it goes while the application object still exists.
    qAddPostRoutine(releaseAtExit);
}

MediaPlayer::~MediaPlayer()
{
    release();
}

void MediaPlayer::release()
{
    m_audioPlayer.reset();
}

void MediaPlayer::setAudioPlayer(std::unique_ptr<AudioPlayer> engine)
{
    m_audioPlayer = std::move(engine);
    attachEngine();
}

void MediaPlayer::attachEngine()
{
    if (!m_audioPlayer) {
        return;
    }
    if (m_audioPlayer->thread() == QThread::currentThread()) {
        m_audioPlayer->moveToThread(thread());
    }
    m_audioPlayer->regCallBack(&MediaPlayer::onEngineEvent, this);
    connect(this, &MediaPlayer::sigAudioPlayerPlay, m_audioPlayer.get(), &AudioPlayer::play,
            Qt::QueuedConnection);
}

// Engine thread: only hands the event over to the player's thread.
void MediaPlayer::onEngineEvent(void *context)
{
    auto *player = static_cast<MediaPlayer *>(context);
    QMetaObject::invokeMethod(
            player, [player] { player->audioEvent(); }, Qt::QueuedConnection);
}

// ---- settings ----

void MediaPlayer::loadConfig()
{
    const QVariantMap config = jsonToMap(AppSettingModel::instance()->musicPlay());
    if (config.isEmpty()) {
        return;
    }
    setPlayMode(config.value(PlaySequenceKey).toInt());
    setLoopMode(config.value(PlayLoopKey).toInt());
}

void MediaPlayer::updateConfig()
{
    const QVariantMap config {{PlaySequenceKey, m_playMode}, {PlayLoopKey, m_loopMode}};
    AppSettingModel::instance()->setMusicPlay(QString::fromUtf8(mapToJson(config)), true);
}

void MediaPlayer::setPlayMode(int playMode)
{
    setAndNotify(this, m_playMode, playMode, &MediaPlayer::playModeChanged);
}

void MediaPlayer::setLoopMode(int loopMode)
{
    setAndNotify(this, m_loopMode, loopMode, &MediaPlayer::loopModeChanged);
}

void MediaPlayer::setPlaySpeed(double playSpeed)
{
    if (m_playSpeed == playSpeed) {
        return;
    }
    m_playSpeed = playSpeed;
    if (m_audioPlayer) {
        m_audioPlayer->setSpeed(playSpeed);
    }
    Q_EMIT playSpeedChanged(playSpeed);
}

// ---- queries ----

bool MediaPlayer::isLoaded(ResourceItem *item, qlonglong accountId) const
{
    return item && m_playingItem && m_userId == accountId
            && item->mediaKey() == m_playingItem->mediaKey()
            && item->dialogId() == m_activedDialogId;
}

bool MediaPlayer::isLoadedByMsg(MessageBase *msgData, qlonglong accountId) const
{
    return msgData && m_playingItem && m_userId == accountId
            && MediaUtil::makeMediaKey(msgData) == m_playingItem->mediaKey()
            && msgData->dialogId() == m_activedDialogId;
}

bool MediaPlayer::isLoaded(qint64 accountId, const QString &dialogId) const
{
    return m_userId == accountId && m_activedDialogId == dialogId;
}

qint64 MediaPlayer::playingMessageId() const
{
    return m_playingItem ? m_playingItem->messageId() : 0;
}

// ---- starting playback ----

void MediaPlayer::playVoice(qlonglong accountId, MessageBase *msgData, bool bOnlyOne)
{
    const SearchKey unfiltered;
    startPlaylist(accountId, msgData, false, bOnlyOne, bOnlyOne ? nullptr : &unfiltered);
}

void MediaPlayer::playMusic(qlonglong accountId, MessageBase *msgData, SearchKey searchFilter,
                            bool bTopicParent)
{
    if (msgData) {
        setPlaySpeed(1.0);
    }
    startPlaylist(accountId, msgData, true, false, bTopicParent ? nullptr : &searchFilter);
}

void MediaPlayer::playMusic(qlonglong accountId, MessageBase *msgData)
{
    if (msgData) {
        setPlaySpeed(1.0);
    }
    startPlaylist(accountId, msgData, true, true, nullptr);
}

// aroundFilter null: a list of the message alone; otherwise the dialog's list around it.
void MediaPlayer::startPlaylist(qlonglong accountId, MessageBase *msgData, bool bMusic,
                                bool bOnlyOne, const SearchKey *aroundFilter)
{
    if (!msgData) {
        return;
    }
    m_isMusic = bMusic;
    setIsOnlyOne(bOnlyOne);
    setUserId(accountId);
    setActivedDialogId(msgData->dialogId());
    MediaAudio *list = playlistOf(accountId);
    if (list) {
        if (aroundFilter) {
            list->loadAroundMessage(msgData, *aroundFilter);
        } else {
            list->loadWithMessage(msgData);
        }
    }
    setPlayList(list);
    play(list ? list->find(msgData) : nullptr, 0);
}

void MediaPlayer::playSchedule(qint64 accountId, ResourceItem *item, bool bOnlyOne, bool bMusic)
{
    m_isMusic = bMusic;
    setPlayList(nullptr);
    setPlaySpeed(1.0);
    setIsOnlyOne(bOnlyOne);
    setUserId(accountId);
    setActivedDialogId(item ? item->dialogId() : QString());
    play(item, 0);
}

void MediaPlayer::playItem(ResourceItem *item)
{
    if (item && m_playList) {
        play(item, 0);
    }
}

void MediaPlayer::playTempVoice(QString filePath)
{
    setLoadedTempVoice(true);
    setPlayList(nullptr);
    setPlayingItem(nullptr);
    setPlaySpeed(1.0);
    setPlayTime(0);
    setActivedDialogId(QString());
    setSamples({});
    setPlayState(STATE_PLAYING);
    if (m_audioPlayer) {
        m_audioPlayer->breakPlay(filePath, 0);
    }
    Q_EMIT sigAudioPlayerPlay(filePath, 0);
}

MediaAudio *MediaPlayer::playlistOf(qint64 accountId) const
{
    MediaAudio *playlist = PlaylistPublication::playlistOf(accountId);
    if (!playlist) {
        qCWarning(lcMedia) << "no playlist: account" << accountId << "has no media hub";
    }
    return playlist;
}

// A file on disk plays from there; one still downloading streams through the local server, so
// that playback starts before the download ends.
bool MediaPlayer::play(ResourceItem *item, qint64 seekPos)
{
    setLoadedTempVoice(false);
    AccountBase *account = AccountManager::getInstance()->getAccount(m_userId);
    if (!account) {
        qCWarning(lcMedia) << "nothing played: account" << m_userId << "is not loaded";
        return false;
    }
    const QSharedPointer<ContentItem> content = item ? item->contentItem() : nullptr;
    if (!content) {
        return false;
    }
    setPlayingItem(item);
    setDuration(durationOf(content));
    if (!m_activedDialogId.isEmpty()) {
        Q_EMIT playingMedia(m_userId, m_activedDialogId, item->messageId());
    }
    const QSharedPointer<FileData> file = item->sourceFilePtr();
    if (!file) {
        qCWarning(lcMedia) << "nothing played: message" << item->messageId() << "has no file";
        return false;
    }
    if (file->isComplete()) {
        playAudio(file->localPath(), seekPos, 0);
        return true;
    }
    if (m_playingWhileDownloading) {
        playAudio(account->streamUrl(file->fileId()), seekPos, m_duration);
        return true;
    }
    account->fileManager()->downloadFileMgr()->download(file, false, DOWNLOAD_PLAYER);
    return false;
}

void MediaPlayer::playAudio(const QString &path, qint64 seekPos, qint64 duration)
{
    setPlayState(STATE_PLAYING);
    if (m_audioPlayer) {
        m_audioPlayer->breakPlay(path, duration);
    }
    Q_EMIT sigAudioPlayerPlay(path, seekPos);
}

// ---- controls ----

void MediaPlayer::pause(bool bPause)
{
    if (m_playState == STATE_STOPPED || m_playState == STATE_LIST_END) {
        play(m_playingItem, 0);
        return;
    }
    if (m_audioPlayer) {
        m_audioPlayer->pause(bPause);
    }
    setPlayState(bPause ? STATE_PAUSED : STATE_PLAYING);
}

void MediaPlayer::seekPos(qlonglong seekPos)
{
    switch (m_playState) {
    case STATE_PAUSED:
        setPlayTime(seekPos);
        Q_FALLTHROUGH();
    case STATE_PLAYING:
        if (m_audioPlayer) {
            m_audioPlayer->seekPos(seekPos);
        }
        break;
    default:
        play(m_playingItem, seekPos);
        break;
    }
}

void MediaPlayer::stop(bool sync)
{
    if (m_playState == STATE_STOPPED) {
        return;
    }
    if (m_audioPlayer) {
        m_audioPlayer->breakPlay(QString(), 0);
        m_audioPlayer->stop(sync);
    }
    resetPlayer();
}

void MediaPlayer::stop()
{
    stop(false);
}

void MediaPlayer::resetPlayer()
{
    setPlayState(STATE_STOPPED);
    setPlayList(nullptr);
    setPlayingItem(nullptr);
    setPlayTime(0);
    setActivedDialogId(QString());
    setSamples({});
    setLoadedTempVoice(false);
}

// ---- stops on deletion ----

void MediaPlayer::onPlayerThread(std::function<void()> fn)
{
    runOnOwnerThread(this, std::move(fn));
}

void MediaPlayer::stopIf(std::function<bool()> condition)
{
    onPlayerThread([this, condition = std::move(condition)] {
        if (condition()) {
            stop(true);
        }
    });
}

void MediaPlayer::reset(qint64 accountId)
{
    stop(accountId);
}

void MediaPlayer::stop(qint64 accountId)
{
    stopIf([this, accountId] { return m_userId == accountId; });
}

void MediaPlayer::stop(qint64 accountId, const QString &dialogId)
{
    stopIf([this, accountId, dialogId] {
        return m_activedDialogId == dialogId && m_userId == accountId;
    });
}

void MediaPlayer::stop(qint64 accountId, const QString &dialogId, qint64 messageId)
{
    stopIf([this, accountId, dialogId, messageId] {
        return m_userId == accountId && m_activedDialogId == dialogId && m_playingItem
                && messageId > m_playingItem->messageId();
    });
}

void MediaPlayer::stop(qint64 accountId, const QString &dialogId, const MessageIdRange &range)
{
    stopIf([this, accountId, dialogId, range] {
        const qint64 playing = playingMessageId();
        return m_userId == accountId && m_activedDialogId == dialogId && m_playingItem
                && range.first < playing && playing < range.second;
    });
}

void MediaPlayer::stop(qint64 accountId, int type)
{
    stopIf([this, accountId, type] {
        return m_playingItem && m_playingItem->type() == type && m_userId == accountId;
    });
}

void MediaPlayer::stop(const QString &dialogId, const MessageKey &key)
{
    stopIf([this, dialogId, key] {
        return key.subMsgId < 1 && m_activedDialogId == dialogId && m_playingItem
                && key.messageId == m_playingItem->messageId();
    });
}

void MediaPlayer::stop(const QString &dialogId, const QList<qint64> &messageIds)
{
    stopIf([this, dialogId, messageIds] {
        return m_activedDialogId == dialogId && m_playingItem
                && messageIds.contains(m_playingItem->messageId());
    });
}

void MediaPlayer::stop(const QString &dialogId, qint64 senderId, qint64 messageId)
{
    stopIf([this, dialogId, senderId, messageId] {
        const MessageBase *msg = m_playingItem ? m_playingItem->msgData() : nullptr;
        return m_activedDialogId == dialogId && msg && messageId > m_playingItem->messageId()
                && msg->senderId() == senderId;
    });
}

// ---- engine events ----

void MediaPlayer::audioEvent()
{
    if (!m_audioPlayer) {
        return;
    }
    const AudioEvents event = m_audioPlayer->audioEvent();
    switch (event.type) {
    case AudioEvents::ResetPlayer:
        resetPlayer();
        break;
    case AudioEvents::EndOfTrack:
        onPlayEnd();
        break;
    case AudioEvents::Playing:
        setPlayState(STATE_PLAYING);
        break;
    case AudioEvents::Paused:
        setPlayState(STATE_PAUSED);
        break;
    case AudioEvents::Progress:
        applyProgress(event.params);
        break;
    case AudioEvents::Error:
        ImLog::error(QStringLiteral("audioEvent error: ") + event.message);
        onPlayError();
        break;
    case AudioEvents::Duration:
        setDuration(event.params.value(QStringLiteral("Duration")).toLongLong());
        break;
    case AudioEvents::Underload:
        setIsUnderload(event.params.value(QStringLiteral("IsUnderload")).toBool());
        break;
    default:
        break;
    }
}

void MediaPlayer::applyProgress(const QVariantMap &params)
{
    setPlayTime(params.value(QStringLiteral("PlayTime")).toLongLong());
    setSamples(params.value(QStringLiteral("Samples")).toStringList());
}

bool MediaPlayer::endTempVoice()
{
    if (!m_loadedTempVoice) {
        return false;
    }
    setPlayState(STATE_STOPPED);
    setLoadedTempVoice(false);
    return true;
}

void MediaPlayer::onPlayEnd()
{
    setPlayTime(0);
    if (endTempVoice()) {
        return;
    }
    if (!m_isMusic) {
        if (m_isOnlyOne) {
            resetPlayer();
        } else {
            nextTrackVoice();
        }
        return;
    }
    if (m_isOnlyOne) {
        if (m_loopMode != 0) {
            play(m_playingItem, 0);
        } else {
            resetPlayer();
        }
        return;
    }
    advanceMusic();
}

// A failing single item is not tried again: it would fail again at once, for ever.
void MediaPlayer::onPlayError()
{
    setPlayTime(0);
    if (endTempVoice()) {
        return;
    }
    if (!m_playingItem) {
        setPlayState(STATE_STOPPED);
        return;
    }
    if (m_isOnlyOne) {
        resetPlayer();
        return;
    }
    if (!m_isMusic) {
        nextTrackVoice();
        return;
    }
    advanceMusic();
}

void MediaPlayer::advanceMusic()
{
    switch (m_playMode) {
    case MODE_SEQUENCE:
    case MODE_REVERSE: {
        const bool bOlder = m_playMode == MODE_SEQUENCE;
        ResourceItem *following = !m_playList ? nullptr
                : bOlder                      ? m_playList->next(m_playingItem)
                                              : m_playList->previous(m_playingItem);
        if (!following) {
            resetPlayer();
        } else if (!play(following, 0)) {
            stepMusic(bOlder, false);
        }
        break;
    }
    case MODE_RANDOM:
        randomMusic();
        break;
    case MODE_REPEAT_ONE:
        play(m_playingItem, 0);
        break;
    case MODE_LIST_LOOP:
        nextTrackMusic(true);
        break;
    default:
        break;
    }
}

// ---- navigation ----

// Voice plays on towards newer messages, as a conversation is listened to.
void MediaPlayer::nextTrackVoice()
{
    stepVoice(true);
}

void MediaPlayer::previousTrackVoice()
{
    stepVoice(false);
}

// Starts from the item that failed last, not from the loaded one, so that a run of voices that
// cannot start is walked through once instead of retrying the same one.
void MediaPlayer::stepVoice(bool bNewer)
{
    ResourceItem *current = m_playingItem;
    while (!m_isOnlyOne && m_playList) {
        ResourceItem *following =
                bNewer ? m_playList->previous(current) : m_playList->next(current);
        if (!following) {
            break;
        }
        if (play(following, 0)) {
            return;
        }
        current = following;
    }
    finishVoice();
}

void MediaPlayer::finishVoice()
{
    setPlayList(nullptr);
    setPlayingItem(nullptr);
    setActivedDialogId(QString());
    setPlayState(STATE_STOPPED);
}

void MediaPlayer::nextTrackMusic(bool loop)
{
    stepMusic(true, loop);
}

void MediaPlayer::previousTrackMusic(bool loop)
{
    stepMusic(false, loop);
}

// Each item is tried at most once per call: when every item of a wrapping list fails, the list
// ends as it does without wrap instead of cycling for ever.
void MediaPlayer::stepMusic(bool bOlder, bool loop)
{
    if (m_isOnlyOne) {
        play(m_playingItem, 0);
        return;
    }
    ResourceItem *current = m_playingItem;
    for (int tried = 0; m_playList && tried <= m_playList->count(); ++tried) {
        if (m_playMode == MODE_RANDOM) {
            randomMusic();
            return;
        }
        ResourceItem *following =
                bOlder ? m_playList->next(current) : m_playList->previous(current);
        if (!following) {
            if (!loop) {
                break;
            }
            following = bOlder ? m_playList->first() : m_playList->last();
            if (!following) {
                break;
            }
        }
        if (play(following, 0)) {
            return;
        }
        if (m_isOnlyOne) {
            play(m_playingItem, 0);
            return;
        }
        current = following;
    }
    endOfList();
}

void MediaPlayer::endOfList()
{
    setPlayState(STATE_LIST_END);
    setPlayTime(0);
    if (m_audioPlayer) {
        m_audioPlayer->seekPos(0);
        m_audioPlayer->breakPlay(QString(), 0);
        m_audioPlayer->pause(true);
    }
}

// Draws are bounded by the list's size, so that a list whose items all fail to start ends.
void MediaPlayer::randomMusic()
{
    int n = m_playList ? m_playList->count() : 0;
    if (n == 0) {
        return;
    }
    if (n == 1) {
        play(m_playingItem, 0);
        return;
    }
    for (int draws = 0; n > 1 && draws < n; ++draws) {
        if (play(m_playList->random(playingMessageId()), 0)) {
            return;
        }
        n = m_playList ? m_playList->count() : 0;
    }
    if (n == 1) {
        play(m_playingItem, 0);
    } else {
        endOfList();
    }
}

// ---- setters ----

// The playlist and the item belong to an account's hub, which may delete them while they are
// loaded (a rebuilt list, a signed-out account); QML then learns that they are gone.
void MediaPlayer::setPlayList(MediaAudio *playList)
{
    if (m_playList == playList) {
        return;
    }
    disconnect(m_playListGone);
    m_playList = playList;
    if (playList) {
        m_playListGone = connect(playList, &QObject::destroyed, this, [this] {
            m_playList = nullptr;
            Q_EMIT playListChanged(nullptr);
        });
    }
    Q_EMIT playListChanged(playList);
}

void MediaPlayer::setPlayingItem(ResourceItem *item)
{
    if (m_playingItem == item) {
        return;
    }
    disconnect(m_playingItemGone);
    m_playingItem = item;
    if (item) {
        m_playingItemGone = connect(item, &QObject::destroyed, this, [this] {
            m_playingItem = nullptr;
            Q_EMIT playingItemChanged(nullptr);
        });
    }
    Q_EMIT playingItemChanged(item);
}

void MediaPlayer::setActivedDialogId(const QString &dialogId)
{
    setAndNotify(this, m_activedDialogId, dialogId, &MediaPlayer::activedDialogIdChanged);
}

void MediaPlayer::setUserId(qint64 userId)
{
    setAndNotify(this, m_userId, userId, &MediaPlayer::userIdChanged);
}

void MediaPlayer::setIsOnlyOne(bool isOnlyOne)
{
    setAndNotify(this, m_isOnlyOne, isOnlyOne, &MediaPlayer::isOnlyOneChanged);
}

void MediaPlayer::setPlayTime(qint64 playTime)
{
    setAndNotify(this, m_playTime, playTime, &MediaPlayer::playTimeChanged);
}

void MediaPlayer::setDuration(qint64 duration)
{
    setAndNotify(this, m_duration, duration, &MediaPlayer::durationChanged);
}

void MediaPlayer::setPlayState(int playState)
{
    setAndNotify(this, m_playState, playState, &MediaPlayer::playStateChanged);
}

void MediaPlayer::setSamples(const QStringList &samples)
{
    setAndNotify(this, m_samples, samples, &MediaPlayer::samplesChanged);
}

// A buffer running dry matters only while the file still downloads; for a complete file the
// change is kept without telling the bar.
void MediaPlayer::setIsUnderload(bool isUnderload)
{
    if (m_isUnderload == isUnderload) {
        return;
    }
    m_isUnderload = isUnderload;
    const QSharedPointer<FileData> file =
            m_playingItem ? m_playingItem->sourceFilePtr() : QSharedPointer<FileData>();
    if (isUnderload && file && file->isComplete()) {
        return;
    }
    Q_EMIT isUnderloadChanged(isUnderload);
}

void MediaPlayer::setLoadedTempVoice(bool loaded)
{
    setAndNotify(this, m_loadedTempVoice, loaded, &MediaPlayer::loadedTempVoiceChanged);
}
