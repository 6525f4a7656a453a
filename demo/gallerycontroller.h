#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QtQml/qqmlregistration.h>

class GalleryAccount;
class GallerySearch;
class ChatListModel;
class ItemActions;
class MediaFiles;
class VideoPlayback;
class MediaMgr;

// What the gallery window works with: the chats, the gallery of the chosen chat with its search,
// the actions on one item, and the two actions that let a user watch media arrive and go. Holds
// one gallery at a time and releases it to the hub when another chat is chosen.
//
// Lives on the main thread; the hub and the account belong to the caller and outlive it.
class GalleryController : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the application")
    Q_MOC_INCLUDE("chatlistmodel.h")
    Q_MOC_INCLUDE("mediafiles.h")
    Q_MOC_INCLUDE("mediamgr.h")
    Q_MOC_INCLUDE("galleryaccount.h")
    Q_MOC_INCLUDE("videoplayback.h")
    Q_MOC_INCLUDE("gallerysearch.h")
    Q_MOC_INCLUDE("itemactions.h")
    Q_PROPERTY(ChatListModel *chats READ chats CONSTANT)
    Q_PROPERTY(MediaFiles *files READ files CONSTANT)
    // The media search of the chosen chat, or of all chats.
    Q_PROPERTY(GallerySearch *search READ search CONSTANT)
    // Open, save, forward and delete one item.
    Q_PROPERTY(ItemActions *actions READ actions CONSTANT)
    // The viewer's video player.
    Q_PROPERTY(VideoPlayback *video READ video CONSTANT)
    Q_PROPERTY(MediaMgr *hub READ hub CONSTANT)
    Q_PROPERTY(GalleryAccount *account READ account CONSTANT)
    Q_PROPERTY(QString currentChatId READ currentChatId WRITE setCurrentChatId NOTIFY
                       currentChatIdChanged)
    // The hub's gallery of the chat; QML reaches its typed lists through mediaResource(type).
    Q_PROPERTY(QObject *gallery READ gallery NOTIFY galleryChanged)
    // The hub's calendar of the chat (its days with photos and videos), held with the gallery.
    Q_PROPERTY(QObject *calendar READ calendar NOTIFY galleryChanged)
    // The hub's full-screen viewer.
    Q_PROPERTY(QObject *preview READ preview CONSTANT)
    // The hub's selection of the chat, held with the gallery.
    Q_PROPERTY(QObject *selector READ selector NOTIFY galleryChanged)
    // The process-wide player of voice and music.
    Q_PROPERTY(QObject *player READ player CONSTANT)

public:
    // The gallery open at the end stays with the hub, which deletes it in clearData(). Tells the
    // account of the hub, so that the messages it stores and deletes reach the lists.
    GalleryController(GalleryAccount *account, MediaMgr *hub, QObject *parent = nullptr);

    ChatListModel *chats() const { return m_chats; }
    MediaFiles *files() const { return m_files; }
    GallerySearch *search() const { return m_search; }
    ItemActions *actions() const { return m_actions; }
    VideoPlayback *video() const { return m_video; }
    MediaMgr *hub() const { return m_hub; }
    GalleryAccount *account() const { return m_account; }

    QString currentChatId() const { return m_currentChatId; }
    // Opens the chat's gallery; an id the account does not know leaves no gallery open.
    void setCurrentChatId(const QString &dialogId);
    QObject *gallery() const { return m_gallery; }
    QObject *calendar() const { return m_calendar; }
    QObject *preview() const;
    QObject *selector() const { return m_selector; }
    QObject *player() const;

    // Sends a new photo into the open chat: stored as the client stores a received message, then
    // handed to the hub, which puts it at the top of the photo list. False, with a notice, when
    // no chat is open or the photo could not be written.
    Q_INVOKABLE bool addSamplePhoto();
    // Deletes the message of the newest item of list (a typed list's model): gone from the
    // account's store as the host deletes it, then from the lists, tables and cache through the
    // hub. False, with a notice, when the list is empty.
    Q_INVOKABLE bool deleteNewest(QObject *list);

Q_SIGNALS:
    void currentChatIdChanged();
    void galleryChanged();
    // A line for the user about what an action did.
    void notice(const QString &text);

private:
    void openGallery(const QString &dialogId);
    void releaseGallery();
    void announceForward(const QString &dialogId, int count);
    void announceDeletion(const QList<qint64> &messageIds, bool bForEveryone);
    void announceCloudDriveTransfer(const QStringList &paths, int failed);

    GalleryAccount *const m_account;
    MediaMgr *const m_hub;
    ChatListModel *const m_chats;  // child
    MediaFiles *const m_files;     // child
    VideoPlayback *const m_video;  // child
    GallerySearch *const m_search; // child
    ItemActions *const m_actions;  // child
    QString m_currentChatId;
    // Owned by the hub, which deletes it some time after releaseGallery(): only held while open.
    QPointer<QObject> m_gallery;
    QPointer<QObject> m_calendar; // owned by the hub likewise
    QPointer<QObject> m_selector; // owned by the hub likewise
    QString m_galleryChatId;      // the id the hub handed m_gallery out for
};
