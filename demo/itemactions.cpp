#include "itemactions.h"

#include "chatmembers.h"
#include "dialogbase.h"
#include "galleryaccount.h"
#include "gallerylog.h"
#include "mediafiles.h"
#include "mediamgr.h"
#include "messagebase.h"
#include "resourceitem.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>

ItemActions::ItemActions(GalleryAccount *account, MediaMgr *hub, MediaFiles *files, QObject *parent)
    : QObject(parent)
    , m_account(account)
    , m_hub(hub)
    , m_files(files)
{
    connect(files, &MediaFiles::fileReady, this, &ItemActions::onFileReady);
    connect(account, &GalleryAccount::filesCopied, this,
            [this](int batch, const QStringList &paths) {
                if (!m_saveBatches.remove(batch)) {
                    return;
                }
                Q_EMIT notice(paths.isEmpty() ? tr("The file could not be saved")
                                              : tr("Saved as %1").arg(paths.constFirst()));
            });
}

bool ItemActions::hasFile(ResourceItem *item) const
{
    return !m_files->fileId(item).isEmpty();
}

bool ItemActions::openFile(ResourceItem *item)
{
    return useFile(item, Use::Open);
}

bool ItemActions::revealFile(ResourceItem *item)
{
    return useFile(item, Use::Reveal);
}

bool ItemActions::saveAs(ResourceItem *item, const QUrl &folder)
{
    if (!hasFile(item)) {
        Q_EMIT notice(tr("There is no file to save"));
        return false;
    }
    const QString path = folder.isLocalFile() ? folder.toLocalFile() : folder.toString();
    if (!QFileInfo(path).isDir()) {
        qCWarning(lcGallery) << "cannot save" << m_files->fileName(item) << "into" << folder;
        Q_EMIT notice(tr("Choose a folder on this computer to save into"));
        return false;
    }
    const int batch = m_account->copyFiles({item->msgDataPtr()}, QDir::cleanPath(path));
    if (batch == 0) {
        Q_EMIT notice(tr("The file could not be saved"));
        return false;
    }
    m_saveBatches.insert(batch);
    return true;
}

// As a selection does, a message that may not be forwarded stays in the chat.
bool ItemActions::transferToCloudDrive(ResourceItem *item)
{
    if (!hasFile(item) || !item->msgDataPtr()->canForward(true)) {
        Q_EMIT notice(tr("This item cannot be copied to the cloud drive"));
        return false;
    }
    m_account->transferToCloudDrive({item->msgDataPtr()}, GalleryAccount::CloudDriveRoot);
    return true;
}

bool ItemActions::forward(ResourceItem *item, const QString &dialogId)
{
    if (!item || !item->msgDataPtr() || !m_account->dialog(dialogId)) {
        Q_EMIT notice(tr("Nothing was forwarded"));
        return false;
    }
    m_hub->forwardMessage(item, {{GalleryAccount::ForwardChatKey, dialogId}});
    return true;
}

// The hub describes a withdrawal by the value each message gives for it, which on this account
// is the sender: only what the user sent can be withdrawn.
QVariantMap ItemActions::deletionInfo(ResourceItem *item) const
{
    const QVariantMap revoke = m_hub->revokeInfo(item);
    const QVariantList values = item ? revoke.value(item->dialogId()).toList() : QVariantList();
    if (values.isEmpty()) {
        return {};
    }
    const qint64 senderId = values.constFirst().toLongLong();
    return {{QStringLiteral("sender"), ChatMembers::nameOf(m_account, item->dialogId(), senderId)},
            {QStringLiteral("canWithdraw"), senderId == m_account->userId()},
            {QStringLiteral("album"), item->msgDataPtr()->isChildMsg()}};
}

// A photo of an album is no message of its own, so the album it belongs to is deleted.
bool ItemActions::remove(ResourceItem *item, bool bForEveryone)
{
    if (!item || !item->msgDataPtr()) {
        Q_EMIT notice(tr("Nothing to delete"));
        return false;
    }
    if (!item->msgDataPtr()->isChildMsg()) {
        m_hub->deleteMessage(item, bForEveryone);
        return true;
    }
    const QSharedPointer<DialogBase> dialog = m_account->dialog(item->dialogId());
    const QSharedPointer<MessageBase> album =
            dialog ? dialog->message(MessageKey(item->messageId(), 0)) : nullptr;
    if (!album) {
        qCWarning(lcGallery) << "no album" << item->messageId() << "in" << item->dialogId();
        Q_EMIT notice(tr("Nothing to delete"));
        return false;
    }
    ResourceItem albumItem(album);
    m_hub->deleteMessage(&albumItem, bForEveryone);
    return true;
}

bool ItemActions::useFile(ResourceItem *item, Use use)
{
    const QString fileId = m_files->fileId(item);
    if (fileId.isEmpty()) {
        Q_EMIT notice(tr("There is no file to open"));
        return false;
    }
    const QString path = m_files->downloadedPath(fileId);
    if (!path.isEmpty()) {
        useDownloaded(path, use);
        return true;
    }
    m_waitingFiles.insert(fileId, use);
    m_files->fetch(item);
    Q_EMIT notice(tr("Downloading %1…").arg(m_files->fileName(item)));
    return true;
}

void ItemActions::useDownloaded(const QString &path, Use use)
{
    const QUrl url = QUrl::fromLocalFile(use == Use::Open ? path : QFileInfo(path).absolutePath());
    qCInfo(lcGallery) << "asking the desktop to open" << url;
    if (!QDesktopServices::openUrl(url)) {
        qCWarning(lcGallery) << "no application opens" << url;
        Q_EMIT notice(tr("No application opens %1").arg(url.toLocalFile()));
    }
}

void ItemActions::onFileReady(const QString &fileId)
{
    const auto waiting = m_waitingFiles.constFind(fileId);
    if (waiting == m_waitingFiles.cend()) {
        return;
    }
    const Use use = waiting.value();
    m_waitingFiles.erase(waiting);
    const QString path = m_files->downloadedPath(fileId);
    if (path.isEmpty()) {
        Q_EMIT notice(tr("The file could not be downloaded"));
        return;
    }
    useDownloaded(path, use);
}
