#include "gallerycontroller.h"

#include "chatlistmodel.h"
#include "deletionrecord.h"
#include "galleryaccount.h"
#include "gallerylog.h"
#include "gallerysearch.h"
#include "im.pb.h"
#include "itemactions.h"
#include "loading/mediaresourcemgr.h"
#include "mediacalender.h"
#include "mediafiles.h"
#include "mediamgr.h"
#include "mediaplayer.h"
#include "mediapreview.h"
#include "mediaselector.h"
#include "resourceitem.h"
#include "resourcemodel.h"
#include "samplephoto.h"
#include "videoplayback.h"

#include <utility>

GalleryController::GalleryController(GalleryAccount *account, MediaMgr *hub, QObject *parent)
    : QObject(parent)
    , m_account(account)
    , m_hub(hub)
    , m_chats(new ChatListModel(account, this))
    , m_files(new MediaFiles(account->fileManager(), this))
    , m_video(new VideoPlayback(account, this))
    , m_search(new GallerySearch(account, hub->mediaPreview(), this))
    , m_actions(new ItemActions(account, hub, m_files, this))
{
    account->setHub(hub);
    connect(account, &GalleryAccount::messagesDeleted, this,
            [this](const QString &, const QList<qint64> &messageIds, bool bForEveryone) {
                announceDeletion(messageIds, bForEveryone);
            });
    connect(account, &GalleryAccount::messagesForwarded, this, &GalleryController::announceForward);
    connect(account, &GalleryAccount::cloudDriveTransferred, this,
            &GalleryController::announceCloudDriveTransfer);
    connect(m_actions, &ItemActions::notice, this, &GalleryController::notice);
}

void GalleryController::setCurrentChatId(const QString &dialogId)
{
    if (m_currentChatId == dialogId) {
        return;
    }
    m_currentChatId = dialogId;
    openGallery(dialogId);
    Q_EMIT currentChatIdChanged();
}

bool GalleryController::addSamplePhoto()
{
    if (!m_account->dialog(m_currentChatId)) {
        Q_EMIT notice(tr("Choose a chat first"));
        return false;
    }
    const qint64 time = m_account->currentTime();
    const qint64 msgId = m_account->nextMessageId(m_currentChatId);
    im::Message photo;
    if (!SamplePhoto::make(m_account, m_currentChatId, msgId, time, &photo)
        || !m_account->receive(m_currentChatId, {photo})) {
        Q_EMIT notice(tr("The photo could not be stored"));
        return false;
    }
    qCInfo(lcGallery) << "sent photo message" << msgId << "to" << m_currentChatId;
    Q_EMIT notice(tr("Photo sent"));
    return true;
}

bool GalleryController::deleteNewest(QObject *list)
{
    auto *model = qobject_cast<ResourceModel *>(list);
    qint64 messageId = 0;
    if (model) {
        model->foreachItem({0, 0}, {0, 0}, {-1, -1}, [&messageId](ResourceItem *item) {
            messageId = item ? item->messageId() : 0;
        });
    }
    if (messageId <= 0 || m_currentChatId.isEmpty()) {
        Q_EMIT notice(tr("Nothing to delete"));
        return false;
    }
    DeletionRecord record;
    record.messageId = messageId;
    m_account->deleteMessages({{m_currentChatId, {record}}}, false);
    return true;
}

void GalleryController::openGallery(const QString &dialogId)
{
    releaseGallery();
    m_gallery = m_hub->mediaResourceMgr(dialogId);
    m_calendar = m_hub->mediaCalender(dialogId);
    m_selector = m_hub->mediaSelector(dialogId);
    m_galleryChatId = dialogId;
    if (!m_gallery) {
        qCWarning(lcGallery) << "the account has no chat" << dialogId;
    }
    auto *gallery = qobject_cast<MediaResourceMgr *>(m_gallery);
    m_search->setChat(dialogId, gallery ? gallery->mediaSearch() : nullptr);
    Q_EMIT galleryChanged();
}

void GalleryController::releaseGallery()
{
    if (!m_gallery) {
        return;
    }
    m_gallery.clear();
    m_calendar.clear();
    m_selector.clear();
    const QString dialogId = std::exchange(m_galleryChatId, QString());
    m_hub->releaseResourceMgr(dialogId);
    m_hub->releaseMediaCalender(dialogId);
    m_hub->releaseMediaSelector(dialogId);
}

QObject *GalleryController::preview() const
{
    return m_hub->mediaPreview();
}

QObject *GalleryController::player() const
{
    return MediaPlayer::instance();
}

void GalleryController::announceForward(const QString &dialogId, int count)
{
    Q_EMIT notice(count == 0 ? tr("Nothing could be forwarded")
                             : tr("%n message(s) forwarded to %1", "", count)
                                       .arg(m_chats->nameOf(dialogId)));
}

void GalleryController::announceDeletion(const QList<qint64> &messageIds, bool bForEveryone)
{
    const int count = int(messageIds.size());
    if (bForEveryone) {
        Q_EMIT notice(tr("%n message(s) deleted for everyone", "", count));
    } else {
        Q_EMIT notice(count == 1 ? tr("Message deleted") : tr("%n messages deleted", "", count));
    }
}

void GalleryController::announceCloudDriveTransfer(const QStringList &paths, int failed)
{
    if (paths.isEmpty()) {
        Q_EMIT notice(tr("Nothing could be copied to the cloud drive"));
    } else if (paths.size() == 1 && failed == 0) {
        Q_EMIT notice(tr("Copied to the cloud drive: %1").arg(paths.constFirst()));
    } else {
        Q_EMIT notice(tr("%n file(s) copied to the cloud drive in %1", "", int(paths.size()))
                              .arg(m_account->cloudDriveFolder()));
    }
}
