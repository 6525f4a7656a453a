#pragma once

#include "mediamodel_export.h"

#include <QFuture>
#include <QHash>
#include <QList>
#include <QObject>
#include <QRecursiveMutex>
#include <QSet>
#include <QSharedPointer>
#include <QString>
#include <array>
#include <atomic>
#include <memory>

class AccountBase;
class DialogBase;
class MediaChatItem;
class MediaChatModel;
class MediaChatSelectModel;
class MediaCacheContext;

// The bulk download of an account: the user picks chats and kinds of media, and every file of
// them that is not on disk yet is downloaded, at most three at a time, with a state, a progress
// fraction, the bytes still to fetch and the time that should take.
//
// What a chat still needs is counted on the global pool, from its file-reference rows (music,
// which that table does not keep, from the messages its resource rows list), a file id once per
// chat however many messages name it; messages the user cleared from the chat are left out.
// A run takes the files of the checked kinds of the selected chats, a file id once per run, and
// matches each report of the file library to the run by file id; reports of files the run does
// not wait for are ignored. A run ends when every one of its files has reported. Progress counts
// files over the whole run, a retry included. A resource's thumbnail and live-photo video are
// counted and fetched with it, so that a chat downloaded in full needs the network no more.
//
// A cancelled run keeps the partial files, so that a later run continues them; they never count
// as complete, and the chats keep what they still need.
//
// Lives on the main thread, where every slot runs and where the hub relays the file library's
// reports. Owned by MediaMgr; owns its two chat lists and every chat item.
class MEDIAMODEL_EXPORT MediaSync : public QObject
{
    Q_OBJECT
    Q_MOC_INCLUDE("mediachatmodel.h")
    Q_MOC_INCLUDE("mediachatselectmodel.h")
    Q_PROPERTY(MediaChatModel *syncChats READ syncChats CONSTANT)
    Q_PROPERTY(MediaChatSelectModel *selectChats READ selectChats CONSTANT)
    Q_PROPERTY(qlonglong remainingSize READ remainingSize NOTIFY remainingSizeChanged)
    Q_PROPERTY(qlonglong remainingTime READ remainingTime NOTIFY remainingTimeChanged)
    Q_PROPERTY(int syncState READ syncState WRITE setSyncState NOTIFY syncStateChanged)
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)

public:
    enum SyncState {
        SYNC_READY = 0,
        SYNC_DOWNLOADING = 1,
        SYNC_PAUSED = 2,
        SYNC_CANCELLED = 3,
        SYNC_FINISHED = 4,
        SYNC_FAILED = 5, // finished with failures, or stopped because the account cannot download
    };
    Q_ENUM(SyncState)

    // Files started at once; the others wait.
    static constexpr int MAX_IN_FLIGHT = 3;
    // Speeds below this many bytes per second count as this, so that the estimate stays finite.
    static constexpr qint64 MIN_SPEED = 1024;

    // The cache must outlive the object.
    MediaSync(const MediaCacheContext &cache, QObject *parent);
    ~MediaSync() override;

    MediaChatModel *syncChats() const { return m_syncChats; }
    MediaChatSelectModel *selectChats() const { return m_selectChats; }
    qlonglong remainingSize() const { return m_remainingSize; }
    // Seconds; -1 when unknown (the run ended with failures).
    qlonglong remainingTime() const { return m_remainingTime; }
    int syncState() const { return m_syncState; }
    void setSyncState(int syncState);
    // Files done over files in the run; 0 for an empty run.
    double progress() const;
    // Files of the current run, done ones included, and those done.
    int totalCount() const;
    int doneCount() const;
    // Files of the run the file library was asked for and has not reported yet.
    int inFlightCount() const;
    int failedCount() const;

    // A file of the run reached its end: succ, on disk; otherwise failed. Main thread.
    void onFileFinished(const QString &fileId, bool succ);
    // Teardown: cancels a run and waits for the size recount.
    void prepareToClearData();
    void clearData();

public Q_SLOTS:
    void initModel(int chatTimeType, int fileTimeType);
    void filterWithKeyword(const QString &keyword);
    void filterWithChatType(int chatType);
    void filterWithChatTimeType(int timeType);
    void filterWithFileTimeType(int timeType);
    // Ticks or unticks the chat; the selection list follows.
    void updateSelected(MediaChatItem *item);
    void updateSubSelected(MediaChatItem *item, int msgType);
    void removeSelect(MediaChatItem *item);
    void selectAll(bool bChecked);
    void readySync();
    void download();
    void pause();
    void cancel();
    // Resumes a run: the failed files again, and those the run had not started yet (it stopped
    // because the account could not download).
    void retry();
    void quitView();
    void onDownloadSpeed(qlonglong speed);

Q_SIGNALS:
    void remainingSizeChanged();
    void remainingTimeChanged();
    void syncStateChanged();
    void progressChanged();

private:
    struct SyncFile
    {
        QString fileId;
        QString dialogId;
        int kind = 0;
        qint64 size = 0;
    };
    struct ChatCount
    {
        QString dialogId;
        QList<SyncFile> files;
    };

    // Chats: query, filter, count.
    qint64 cutOff(int timeType) const;
    void queryChats();
    MediaChatItem *chatItem(const QSharedPointer<DialogBase> &dialog);
    void dropUnusedItems(const QSet<QString> &keep);
    void showChats();
    bool isShown(const MediaChatItem *item) const;
    void startRecount();
    static QList<ChatCount> countChats(const MediaCacheContext &cache,
                                       const QList<QString> &dialogIds, qint64 fileCutOff,
                                       const std::shared_ptr<std::atomic<bool>> &cancelled);
    static void addCachedFiles(const MediaCacheContext &cache, const DialogBase &dialog,
                               qint64 fileCutOff, QSet<QString> &seen, QList<SyncFile> &files);
    // Adds file, kept in the cache folder of folderType, unless it is on disk or listed already.
    static void addMissingFile(const MediaCacheContext &cache, int folderType,
                               const QString &suffix, const SyncFile &file, QSet<QString> &seen,
                               QList<SyncFile> &files);
    static void addMusicFiles(const MediaCacheContext &cache,
                              const QSharedPointer<DialogBase> &dialog, qint64 fileCutOff,
                              const std::shared_ptr<std::atomic<bool>> &cancelled,
                              QSet<QString> &seen, QList<SyncFile> &files);
    void applyCounts(int generation, const QList<ChatCount> &counts);
    void waitForRecount();
    void resetView();
    void setSelected(MediaChatItem *item, bool bSelect);

    // Runs.
    void pump();
    void startFile(const SyncFile &file);
    void finishFile(const SyncFile &file);
    void forgetChatFile(const SyncFile &file);
    void endRun();
    void endWithFailure();
    bool isRunEnded() const;
    void connectSpeed();
    void disconnectSpeed();
    qlonglong estimatedSeconds(qint64 bytes) const;
    qint64 bytesInFlight() const;
    void stopInFlight();
    void clearRun();
    void setRemainingSize(qlonglong size);
    void setRemainingTime(qlonglong seconds);

    const MediaCacheContext &m_cache;
    AccountBase *const m_account;
    MediaChatModel *m_syncChats = nullptr;         // child
    MediaChatSelectModel *m_selectChats = nullptr; // child

    int m_chatTimeType = 0;
    int m_fileTimeType = 0;
    int m_chatType = 0;
    QString m_keyword;
    QList<QString> m_queriedIds;                 // the chats of the last query, in its order
    QHash<QString, MediaChatItem *> m_chats;     // owned (children); the listed and selected chats
    QHash<QString, QList<SyncFile>> m_chatFiles; // what each counted chat still needs

    // The recount in flight: its future, its cancel flag and its number; results of an older one
    // are dropped.
    QFuture<void> m_recount;
    std::shared_ptr<std::atomic<bool>> m_recountCancelled;
    int m_recountGeneration = 0;
    bool m_quitting = false;

    // Guards the run's lists; every access is on the main thread today, the lock keeps it safe
    // should the file library report from its own.
    mutable QRecursiveMutex m_mutex;
    QList<SyncFile> m_files; // the run
    QList<SyncFile> m_waiting;
    QHash<QString, SyncFile> m_inFlight;
    QList<SyncFile> m_failed;
    qint32 m_totalCount = 0;
    qint32 m_doneCount = 0;

    qlonglong m_remainingSize = 0;
    qlonglong m_remainingTime = 0;
    int m_syncState = SYNC_READY;
    QMetaObject::Connection m_speedConnection;
};
