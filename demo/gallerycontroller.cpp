#include "gallerycontroller.h"

#include "chatlistmodel.h"
#include "deletionrecord.h"
#include "galleryaccount.h"
#include "gallerylog.h"
#include "im.pb.h"
#include "loading/mediaresourcemgr.h"
#include "mediacalender.h"
#include "mediafiles.h"
#include "mediainfo.h"
#include "mediamgr.h"
#include "mediaplayer.h"
#include "mediapreview.h"
#include "mediaselector.h"
#include "messagebase.h"
#include "messagestorage.h"
#include "resourceitem.h"
#include "resourcemodel.h"
#include "samplephoto.h"
#include "userstorageprovider.h"
#include "videoplayback.h"

#include <utility>

namespace {

// Message ids of the sample chats grow in steps of two; new messages keep to that.
constexpr qint64 MessageIdStep = 2;

} // namespace

GalleryController::GalleryController(GalleryAccount *account, MediaMgr *hub, QObject *parent)
    : QObject(parent)
    , m_account(account)
    , m_hub(hub)
    , m_chats(new ChatListModel(account, this))
    , m_files(new MediaFiles(account->fileManager(), this))
    , m_video(new VideoPlayback(account, this))
{
    account->setHub(hub);
    connect(account, &GalleryAccount::messagesDeleted, this, [this](int count) {
        Q_EMIT notice(count == 1 ? tr("Message deleted") : tr("%n messages deleted", "", count));
    });
    connect(account, &GalleryAccount::messagesForwarded, this,
            [this](int count) { Q_EMIT notice(tr("%n message(s) forwarded", "", count)); });
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
    const qint64 msgId = nextMessageId();
    im::Message photo;
    if (!SamplePhoto::make(m_account, m_currentChatId, msgId, time, &photo)
        || !m_account->storeMessages({photo})) {
        Q_EMIT notice(tr("The photo could not be stored"));
        return false;
    }
    const MediaInfo info {MessageBase::create(photo, m_account->fileManager(), m_account->userId()),
                          time, msgId, 0, false};
    m_hub->saveResources(m_currentChatId, {info}, false);
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

// The newest stored message decides, so that a new photo lands above everything the chat holds.
qint64 GalleryController::nextMessageId() const
{
    storage::MessageSearchInfo newest;
    newest.dialogIds = {m_currentChatId};
    newest.count = 1;
    const QList<storage::MessageRecord> records =
            m_account->storage()->messageStorage()->search(newest, nullptr);
    return records.isEmpty() ? MessageIdStep : records.first().messageId + MessageIdStep;
}
