#include "gallerysearch.h"

#include "chatmembers.h"
#include "contenttype.h"
#include "datedsections.h"
#include "dialogbase.h"
#include "galleryaccount.h"
#include "gallerylog.h"
#include "mediamodel.h"
#include "mediapreview.h"
#include "mediasearch.h"
#include "resourceitem.h"
#include "resourcemodel.h"

namespace {

// Stores value and emits changed when it differs from member; tells whether it did.
template<typename T>
bool assign(GallerySearch *search, T &member, const T &value, void (GallerySearch::*changed)())
{
    if (member == value) {
        return false;
    }
    member = value;
    Q_EMIT(search->*changed)();
    return true;
}

} // namespace

GallerySearch::GallerySearch(GalleryAccount *account, MediaPreview *preview, QObject *parent)
    : QObject(parent)
    , m_account(account)
    , m_preview(preview)
    , m_members(new ChatMembers(account, this))
    , m_sections(new DatedSections(this))
{
    m_typingPause.setSingleShot(true);
    m_typingPause.setInterval(TypingPauseMs);
    connect(&m_typingPause, &QTimer::timeout, this, &GallerySearch::run);
    // The hub prunes the hits of a chat's search; the search across chats is this object's own.
    connect(account, &GalleryAccount::messagesDeleted, this,
            [this](const QString &dialogId, const QList<qint64> &messageIds) {
                dropHits(dialogId, messageIds);
            });
}

// The sections follow the search's model, which goes with it.
GallerySearch::~GallerySearch()
{
    m_sections->follow(nullptr);
}

void GallerySearch::setKeyword(const QString &keyword)
{
    setFilter(m_keyword, keyword, &GallerySearch::keywordChanged, true);
}

void GallerySearch::setSenderId(qint64 senderId)
{
    setFilter(m_senderId, senderId, &GallerySearch::senderIdChanged, false);
}

void GallerySearch::setStartTime(qint64 startTime)
{
    setFilter(m_startTime, startTime, &GallerySearch::startTimeChanged, false);
}

void GallerySearch::setEndTime(qint64 endTime)
{
    setFilter(m_endTime, endTime, &GallerySearch::endTimeChanged, false);
}

void GallerySearch::setAllChats(bool allChats)
{
    setFilter(m_allChats, allChats, &GallerySearch::allChatsChanged, false);
}

void GallerySearch::setType(int type)
{
    setFilter(m_type, type, &GallerySearch::typeChanged, false);
}

template<typename T>
void GallerySearch::setFilter(T &filter, const T &value, void (GallerySearch::*changed)(),
                              bool typed)
{
    if (assign(this, filter, value, changed)) {
        filtersChanged(typed);
    }
}

bool GallerySearch::isQuerying() const
{
    return m_shown && m_shown->isQuerying();
}

ResourceModel *GallerySearch::resourceModel() const
{
    if (!m_shown) {
        return nullptr;
    }
    if (m_shown == m_acrossChats.get() && m_type == CONTENT_PHOTO) {
        return m_sections->model();
    }
    return m_shown->currentModel();
}

SearchKey GallerySearch::searchKey() const
{
    SearchKey key;
    key.keyword = m_keyword.trimmed();
    if (m_senderId > 0) {
        key.senderIds = {m_senderId};
    }
    key.startTime = m_startTime;
    key.endTime = m_endTime;
    return key;
}

void GallerySearch::setChat(const QString &dialogId, MediaSearch *chatSearch)
{
    m_dialogId = dialogId;
    m_chatSearch = chatSearch;
    m_chatRequest = {};
    m_members->setDialogId(dialogId);
    clear();
}

void GallerySearch::clear()
{
    // Every filter goes before the search is looked at again, once.
    assign(this, m_keyword, QString(), &GallerySearch::keywordChanged);
    assign(this, m_senderId, qint64(0), &GallerySearch::senderIdChanged);
    assign(this, m_startTime, qint64(0), &GallerySearch::startTimeChanged);
    assign(this, m_endTime, qint64(0), &GallerySearch::endTimeChanged);
    run();
}

void GallerySearch::loadBefore(int loadCount)
{
    if (m_shown) {
        m_shown->loadBefore(loadCount);
    }
}

void GallerySearch::openInPreview(ResourceItem *item)
{
    if (!item || !m_shown) {
        return;
    }
    m_preview->loadFirstByMedia(item, false, m_shown->searchFilter(),
                                m_shown == m_acrossChats.get());
}

void GallerySearch::filtersChanged(bool typed)
{
    if (typed && !searchKey().isEmpty()) {
        m_typingPause.start();
    } else {
        run();
    }
}

void GallerySearch::run()
{
    m_typingPause.stop();
    const SearchKey key = searchKey();
    MediaSearch *search = m_allChats ? searchAcrossChats() : m_chatSearch.data();
    if (key.isEmpty() || !search) {
        show(nullptr);
        return;
    }
    Request &last = m_allChats ? m_acrossChatsRequest : m_chatRequest;
    const Request request {m_dialogId, m_type, key};
    if (!(last == request)) {
        last = request;
        search->searchMediaInfo(m_dialogId, m_type, key, m_allChats);
        qCInfo(lcGallery) << "searching" << (m_allChats ? "all chats" : qPrintable(m_dialogId))
                          << "for type" << m_type << key;
        Q_EMIT searchStarted();
    }
    show(search);
}

void GallerySearch::show(MediaSearch *search)
{
    const bool wasActive = isActive();
    const bool wasQuerying = isQuerying();
    const ResourceModel *oldModel = resourceModel();
    disconnect(m_shownQuerying);
    m_shown = search;
    if (search) {
        m_shownQuerying = connect(search, &MediaSearch::isQueryingChanged, this,
                                  &GallerySearch::isQueryingChanged);
    }
    m_sections->follow(search && search == m_acrossChats.get() && m_type == CONTENT_PHOTO
                               ? search->currentModel()
                               : nullptr);
    if (wasActive != isActive()) {
        Q_EMIT isActiveChanged();
    }
    if (wasQuerying != isQuerying()) {
        Q_EMIT isQueryingChanged();
    }
    if (oldModel != resourceModel()) {
        Q_EMIT resourceModelChanged();
    }
}

MediaSearch *GallerySearch::searchAcrossChats()
{
    if (!m_acrossChats) {
        QList<QString> dialogIds;
        for (const QSharedPointer<DialogBase> &dialog : m_account->dialogs()) {
            dialogIds.append(dialog->dialogId());
        }
        m_acrossChats = std::make_unique<MediaSearch>(m_account, true, dialogIds);
    }
    return m_acrossChats.get();
}

void GallerySearch::dropHits(const QString &dialogId, const QList<qint64> &messageIds)
{
    if (m_acrossChats) {
        m_acrossChats->batchRemove(dialogId, messageIds);
    }
}
