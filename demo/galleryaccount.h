#pragma once

#include "accountbase.h"

#include <QHash>
#include <QStringList>

class MediaMgr;

// The account as the gallery application hosts it. The message operations the media layer hands
// to the client act on the local store and on the server's history, as a client would once its
// server agreed: deleting removes the messages from both and tells the hub, which takes them out
// of the lists and the cache; forwarding stores a copy of each message in the chosen chat and
// hands it to the hub, so that the chat's open gallery shows it at once. The cloud drive is a
// folder of the account, into which transfers copy the messages' files.
//
// Lives on the main thread.
class GalleryAccount : public AccountBase
{
    Q_OBJECT

public:
    // The key of the forward options that names the chat to forward to.
    static const QString ForwardChatKey;
    // The cloud drive's only folder; every transfer goes there.
    static constexpr qint64 CloudDriveRoot = 0;

    GalleryAccount(qint64 userId, const QString &folder, QObject *parent = nullptr);

    // The hub told of new and deleted messages; not owned. Null until set.
    void setHub(MediaMgr *hub) { m_hub = hub; }

    // Where transfers to the cloud drive land: the account's cloud-drive folder.
    QString cloudDriveFolder() const;
    // The id for the next message of a chat: above every message it holds.
    qint64 nextMessageId(const QString &dialogId) const;
    // Takes in messages as a client does once the server has them: into the server's history and
    // the local store, then handed to the hub. False, with a log line, when they could not be
    // stored; nothing reaches the hub then.
    bool receive(const QString &dialogId, const QList<im::Message> &messages);

    // Copies the files of messages into folder, downloading those not on disk first, each under
    // its own name made unique there; messages without a file are skipped. Returns the batch
    // that filesCopied() reports, or 0 when nothing was started (no file, or no such folder).
    int copyFiles(const QList<QSharedPointer<MessageBase>> &messages, const QString &folder);

    // options[ForwardChatKey] names the chat; without a chat the account knows, nothing is sent.
    void forwardMessages(const QList<QSharedPointer<MessageBase>> &messages,
                         const QVariantMap &options) override;
    void deleteMessages(const QMap<QString, QList<DeletionRecord>> &records,
                        bool bRevocable) override;
    void transferToCloudDrive(const QList<QSharedPointer<MessageBase>> &messages,
                              qint64 nodeLocalId) override;

Q_SIGNALS:
    void messagesForwarded(const QString &dialogId, int count);
    // bForEveryone: withdrawn for the other members too.
    void messagesDeleted(const QString &dialogId, const QList<qint64> &messageIds,
                         bool bForEveryone);
    // Every copy of a batch ended: paths holds the copies made, failed counts the others.
    void filesCopied(int batch, const QStringList &paths, int failed);
    // A transfer to the cloud drive ended, as filesCopied() reports it.
    void cloudDriveTransferred(const QStringList &paths, int failed);

private:
    struct CopyBatch
    {
        int pending = 0;
        QStringList paths;
        int failed = 0;
    };

    void onSaveAsFinished(const QString &targetPath, bool ok);
    // Makes the folder of the node when missing; false, with a log line, for any other node.
    bool hasCloudDriveFolder(qint64 nodeLocalId) const;

    MediaMgr *m_hub = nullptr;
    int m_lastBatch = 0;
    QHash<int, CopyBatch> m_batches;
    QHash<QString, int> m_batchOfTarget; // copies under way: target path -> batch
    QList<int> m_cloudDriveBatches;
};
