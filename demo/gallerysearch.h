#pragma once

#include "mediasearch.h"
#include "searchkey.h"

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QtQml/qqmlregistration.h>
#include <memory>

class ChatMembers;
class DatedSections;
class GalleryAccount;
class MediaPreview;
class ResourceItem;
class ResourceModel;

// The gallery's media search: a keyword, a sender and a span of days, in the open chat (its
// gallery's search, which pages on into the server's history) or in all chats (a search of the
// gallery's own over the local rows of every chat). The hits of the list type shown replace the
// chat's lists while any filter is set.
//
// Typing waits for a pause before it searches, and a search is started only when what it asks
// differs from the one the same search ran last, so no search runs twice.
//
// Lives on the main thread. The chat's search belongs to the hub's gallery and is only held while
// that gallery is open; the search across chats is owned here.
class GallerySearch : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("the search belongs to the gallery controller")
    Q_MOC_INCLUDE("chatmembers.h")
    Q_MOC_INCLUDE("resourcemodel.h")
    Q_PROPERTY(QString keyword READ keyword WRITE setKeyword NOTIFY keywordChanged)
    // 0: any sender.
    Q_PROPERTY(qlonglong senderId READ senderId WRITE setSenderId NOTIFY senderIdChanged)
    // The span of the hits' times, bounds included, in ms since the epoch; 0 leaves a side open.
    Q_PROPERTY(qlonglong startTime READ startTime WRITE setStartTime NOTIFY startTimeChanged)
    Q_PROPERTY(qlonglong endTime READ endTime WRITE setEndTime NOTIFY endTimeChanged)
    Q_PROPERTY(bool allChats READ allChats WRITE setAllChats NOTIFY allChatsChanged)
    // The list type whose hits are searched: the tab shown.
    Q_PROPERTY(int type READ type WRITE setType NOTIFY typeChanged)
    // A search is shown instead of the chat's lists.
    Q_PROPERTY(bool isActive READ isActive NOTIFY isActiveChanged)
    Q_PROPERTY(bool isQuerying READ isQuerying NOTIFY isQueryingChanged)
    // The hits as the tab shows them: photos and videos in dated sections, others in rows. Null
    // while no search is shown.
    Q_PROPERTY(ResourceModel *resourceModel READ resourceModel NOTIFY resourceModelChanged)
    // The senders the filter offers.
    Q_PROPERTY(ChatMembers *members READ members CONSTANT)

public:
    static constexpr int TypingPauseMs = 300;

    // preview is the hub's viewer, which the hits open in; account and preview must outlive this.
    GallerySearch(GalleryAccount *account, MediaPreview *preview, QObject *parent = nullptr);
    ~GallerySearch() override;

    QString keyword() const { return m_keyword; }
    void setKeyword(const QString &keyword);
    qint64 senderId() const { return m_senderId; }
    void setSenderId(qint64 senderId);
    qint64 startTime() const { return m_startTime; }
    void setStartTime(qint64 startTime);
    qint64 endTime() const { return m_endTime; }
    void setEndTime(qint64 endTime);
    bool allChats() const { return m_allChats; }
    void setAllChats(bool allChats);
    int type() const { return m_type; }
    void setType(int type);

    bool isActive() const { return !m_shown.isNull(); }
    bool isQuerying() const;
    ResourceModel *resourceModel() const;
    ChatMembers *members() const { return m_members; }
    // The search whose hits are shown; null while none is.
    MediaSearch *shownSearch() const { return m_shown; }
    // The filters as they stand, typed or not.
    SearchKey searchKey() const;

    // The chat searched, and its gallery's search (null without a gallery). Clears the filters.
    void setChat(const QString &dialogId, MediaSearch *chatSearch);

    // Drops every filter, so that the chat's lists show again. The scope stays.
    Q_INVOKABLE void clear();
    // The next older page of the hits shown.
    Q_INVOKABLE void loadBefore(int loadCount = 50);
    // Opens the viewer on a hit, stepping through the hits of the search shown.
    Q_INVOKABLE void openInPreview(ResourceItem *item);

Q_SIGNALS:
    void keywordChanged();
    void senderIdChanged();
    void startTimeChanged();
    void endTimeChanged();
    void allChatsChanged();
    void typeChanged();
    void isActiveChanged();
    void isQueryingChanged();
    void resourceModelChanged();
    // A search was started with the filters as they stood.
    void searchStarted();

private:
    // What a search was started with, to tell whether the next one would be the same.
    struct Request
    {
        QString dialogId;
        int type = 0;
        SearchKey key;

        bool operator==(const Request &other) const
        {
            return dialogId == other.dialogId && type == other.type && key == other.key;
        }
    };

    // Stores a filter, telling of the change, and searches again when it changed.
    template<typename T>
    void setFilter(T &filter, const T &value, void (GallerySearch::*changed)(), bool typed);
    // Typed filters wait for a pause; chosen ones search at once.
    void filtersChanged(bool typed);
    void run();
    void show(MediaSearch *search);
    MediaSearch *searchAcrossChats();
    void dropHits(const QString &dialogId, const QList<qint64> &messageIds);

    GalleryAccount *const m_account;
    MediaPreview *const m_preview;
    ChatMembers *const m_members;    // child
    DatedSections *const m_sections; // child: the photo hits across chats, in sections
    QTimer m_typingPause;
    QString m_dialogId;
    QPointer<MediaSearch> m_chatSearch;         // the gallery's, owned by the hub
    std::unique_ptr<MediaSearch> m_acrossChats; // made when first asked for
    QPointer<MediaSearch> m_shown;              // one of the two, or null
    QMetaObject::Connection m_shownQuerying;
    Request m_chatRequest;        // the last search started in the chat
    Request m_acrossChatsRequest; // the last search started across chats

    QString m_keyword;
    qint64 m_senderId = 0;
    qint64 m_startTime = 0;
    qint64 m_endTime = 0;
    bool m_allChats = false;
    int m_type = 2;
};
