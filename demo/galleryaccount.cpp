#include "galleryaccount.h"

#include "deletionrecord.h"
#include "fileitem.h"
#include "filemanager.h"
#include "gallerylog.h"
#include "im.pb.h"
#include "mediainfo.h"
#include "mediamgr.h"
#include "messagebase.h"
#include "messagerecords.h"
#include "messagestorage.h"
#include "resourcestorage.h"
#include "serverhistory.h"
#include "userstorageprovider.h"
#include "util.h"

#include <QDir>
#include <QFileInfo>

const QString GalleryAccount::ForwardChatKey = QStringLiteral("dialogId");

namespace {

// Message ids of the sample chats grow in steps of two; new messages keep to that.
constexpr qint64 MessageIdStep = 2;

// A message as the server hands it back once forwarded: the same content, the media files
// included, as a new message of the user's in the chosen chat. What tied it to its old chat (the
// quote, the withdrawal and edit marks) stays behind.
im::Message forwardedCopy(const im::Message &original, const QString &dialogId, qint64 msgId,
                          qint64 senderId, qint64 time)
{
    im::Message copy = original;
    copy.set_dialog_id(dialogId.toStdString());
    copy.set_msg_id(msgId);
    copy.set_sub_msg_id(0);
    copy.set_parent_msg_id(0);
    copy.set_sender_id(senderId);
    copy.set_time(time);
    copy.set_edit_version(0);
    copy.set_stored_edit_version(0);
    copy.set_revoked(false);
    copy.set_removed(false);
    copy.clear_ref_dialog_id();
    copy.clear_ref_msg_id();
    copy.clear_quote();
    for (im::Message &child : *copy.mutable_combined_messages()) {
        child.set_dialog_id(copy.dialog_id());
        child.set_parent_msg_id(msgId);
        child.set_sender_id(senderId);
        child.set_time(time);
    }
    return copy;
}

QSharedPointer<FileItem> fileItemOf(const QSharedPointer<MessageBase> &message)
{
    return message ? message->contentItem().dynamicCast<FileItem>() : nullptr;
}

} // namespace

GalleryAccount::GalleryAccount(qint64 userId, const QString &folder, QObject *parent)
    : AccountBase(userId, folder, parent)
{
    connect(fileManager(), &FileManager::saveAsFinished, this,
            [this](const QString &, const QString &targetPath, bool ok) {
                onSaveAsFinished(targetPath, ok);
            });
}

QString GalleryAccount::cloudDriveFolder() const
{
    return Util::joinPath(folder(), QStringLiteral("cloud-drive"));
}

// The newest stored message decides, so that a new one lands above everything the chat holds.
qint64 GalleryAccount::nextMessageId(const QString &dialogId) const
{
    storage::MessageSearchInfo newest;
    newest.dialogIds = {dialogId};
    newest.count = 1;
    const QList<storage::MessageRecord> records =
            storage()->messageStorage()->search(newest, nullptr);
    return records.isEmpty() ? MessageIdStep : records.first().messageId + MessageIdStep;
}

bool GalleryAccount::receive(const QString &dialogId, const QList<im::Message> &messages)
{
    if (!serverHistory()->store(messages) || !storeMessages(messages)) {
        qCWarning(lcGallery) << "cannot store" << messages.size() << "messages of" << dialogId;
        return false;
    }
    if (!m_hub) {
        return true;
    }
    QList<MediaInfo> infos;
    MessageRecords::forEachStored(messages, [&](const im::Message &message, const MessageKey &key) {
        infos.append({MessageBase::create(message, fileManager(), userId()), message.time(),
                      key.messageId, qint32(key.subMsgId), false});
    });
    m_hub->saveResources(dialogId, infos, false);
    return true;
}

int GalleryAccount::copyFiles(const QList<QSharedPointer<MessageBase>> &messages,
                              const QString &folder)
{
    if (!QFileInfo(folder).isDir()) {
        qCWarning(lcGallery) << "cannot copy files into" << folder << ": no such folder";
        return 0;
    }
    CopyBatch batch;
    const int batchId = ++m_lastBatch;
    for (const QSharedPointer<MessageBase> &message : messages) {
        const QSharedPointer<FileItem> content = fileItemOf(message);
        const QSharedPointer<FileData> file = content ? content->sourceFilePtr() : nullptr;
        if (!file) {
            qCInfo(lcGallery) << "message" << (message ? message->msgId() : 0)
                              << "has no file to copy";
            continue;
        }
        const QString name =
                content->displayName().isEmpty() ? file->name() : content->displayName();
        const QString target = Util::makeFilePath(folder, name, QString());
        m_batchOfTarget.insert(target, batchId);
        ++batch.pending;
        fileManager()->saveAsFile(file->fileId(), target, 0);
    }
    if (batch.pending == 0) {
        return 0;
    }
    m_batches.insert(batchId, batch);
    return batchId;
}

void GalleryAccount::onSaveAsFinished(const QString &targetPath, bool ok)
{
    const auto target = m_batchOfTarget.constFind(targetPath);
    if (target == m_batchOfTarget.cend()) {
        return; // a copy someone else asked for, e.g. a selection's
    }
    const int batchId = target.value();
    m_batchOfTarget.erase(target);
    CopyBatch &batch = m_batches[batchId];
    if (ok) {
        batch.paths.append(targetPath);
    } else {
        qCWarning(lcGallery) << "cannot copy a file to" << targetPath;
        ++batch.failed;
    }
    if (--batch.pending > 0) {
        return;
    }
    const CopyBatch done = m_batches.take(batchId);
    Q_EMIT filesCopied(batchId, done.paths, done.failed);
    if (m_cloudDriveBatches.removeOne(batchId)) {
        Q_EMIT cloudDriveTransferred(done.paths, done.failed);
    }
}

void GalleryAccount::forwardMessages(const QList<QSharedPointer<MessageBase>> &messages,
                                     const QVariantMap &options)
{
    AccountBase::forwardMessages(messages, options);
    const QString dialogId = options.value(ForwardChatKey).toString();
    if (!dialog(dialogId)) {
        qCWarning(lcGallery) << "cannot forward" << messages.size() << "messages: no chat"
                             << dialogId;
        return;
    }
    QList<im::Message> copies;
    qint64 msgId = nextMessageId(dialogId);
    const qint64 time = currentTime();
    for (const QSharedPointer<MessageBase> &message : messages) {
        if (message) {
            copies.append(forwardedCopy(message->proto(), dialogId, msgId, userId(), time));
            msgId += MessageIdStep;
        }
    }
    if (!copies.isEmpty() && !receive(dialogId, copies)) {
        return;
    }
    qCInfo(lcGallery) << "forwarded" << copies.size() << "messages to" << dialogId;
    Q_EMIT messagesForwarded(dialogId, int(copies.size()));
}

// The server drops the messages from the account's history either way; withdrawn, it drops them
// for the other members too, whose side this account does not keep.
void GalleryAccount::deleteMessages(const QMap<QString, QList<DeletionRecord>> &records,
                                    bool bRevocable)
{
    AccountBase::deleteMessages(records, bRevocable);
    for (auto it = records.cbegin(); it != records.cend(); ++it) {
        QList<qint64> messageIds;
        for (const DeletionRecord &record : it.value()) {
            messageIds.append(record.messageId);
        }
        storage()->messageStorage()->removeWithMessageIds(it.key(), messageIds);
        storage()->resourceStorage()->removeWithMessageIds(it.key(), messageIds);
        serverHistory()->messages()->removeWithMessageIds(it.key(), messageIds);
        if (m_hub) {
            m_hub->removeResource(it.key(), messageIds, false);
        }
        qCInfo(lcGallery) << "deleted messages" << messageIds << "of" << it.key()
                          << (bRevocable ? "for everyone" : "for the user");
        Q_EMIT messagesDeleted(it.key(), messageIds, bRevocable);
    }
}

void GalleryAccount::transferToCloudDrive(const QList<QSharedPointer<MessageBase>> &messages,
                                          qint64 nodeLocalId)
{
    AccountBase::transferToCloudDrive(messages, nodeLocalId);
    const int batch =
            hasCloudDriveFolder(nodeLocalId) ? copyFiles(messages, cloudDriveFolder()) : 0;
    if (batch == 0) {
        Q_EMIT cloudDriveTransferred({}, int(messages.size()));
        return;
    }
    m_cloudDriveBatches.append(batch);
}

bool GalleryAccount::hasCloudDriveFolder(qint64 nodeLocalId) const
{
    if (nodeLocalId != CloudDriveRoot) {
        qCWarning(lcGallery) << "the cloud drive has no folder" << nodeLocalId;
        return false;
    }
    if (!QDir().mkpath(cloudDriveFolder())) {
        qCWarning(lcGallery) << "cannot make the cloud drive folder" << cloudDriveFolder();
        return false;
    }
    return true;
}
