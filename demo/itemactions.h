#pragma once

#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUrl>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

class GalleryAccount;
class MediaFiles;
class MediaMgr;
class ResourceItem;

// What the gallery does with one item, from the context menu of its tile or row and from the
// viewer: open its file with the system's application or show the folder that holds it
// (downloading it first when it is not on disk), save it into a folder, copy it to the cloud
// drive, forward it to a chat, and delete it for the user or for everyone. Each action tells the
// user what it did through notice().
//
// Lives on the main thread; the account, the hub and the files helper belong to the caller and
// outlive it.
class ItemActions : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("the item actions belong to the gallery controller")
    Q_MOC_INCLUDE("resourceitem.h")

public:
    ItemActions(GalleryAccount *account, MediaMgr *hub, MediaFiles *files,
                QObject *parent = nullptr);

    // Whether the item has a file to open, save or copy; links and texts have none.
    Q_INVOKABLE bool hasFile(ResourceItem *item) const;
    // Opens the item's file with the system's application; a file not on disk is downloaded
    // first. False, with a notice, without a file.
    Q_INVOKABLE bool openFile(ResourceItem *item);
    // Opens the folder that holds the item's file, downloading the file first when needed.
    Q_INVOKABLE bool revealFile(ResourceItem *item);
    // Copies the item's file into folder, a local path or a file URL, under a name of its own
    // there; the notice tells where it went. False, with a notice, for a folder that does not
    // exist or an item without a file.
    Q_INVOKABLE bool saveAs(ResourceItem *item, const QUrl &folder);
    // Copies the item's file to the cloud drive.
    Q_INVOKABLE bool transferToCloudDrive(ResourceItem *item);
    // Forwards the item's message to the chat.
    Q_INVOKABLE bool forward(ResourceItem *item, const QString &dialogId);
    // What the delete dialog says of the item's message, from the hub's description for a
    // withdrawal: "sender" (a name), "canWithdraw" (the user sent it, so it can be deleted for
    // everyone) and "album" (the item is a photo of an album, which goes as a whole). Empty
    // without a message.
    Q_INVOKABLE QVariantMap deletionInfo(ResourceItem *item) const;
    // Deletes the item's message (for a photo of an album, the album), withdrawn for everyone
    // when bForEveryone.
    Q_INVOKABLE bool remove(ResourceItem *item, bool bForEveryone);

Q_SIGNALS:
    void notice(const QString &text);

private:
    enum class Use { Open, Reveal };

    bool useFile(ResourceItem *item, Use use);
    void useDownloaded(const QString &path, Use use);
    void onFileReady(const QString &fileId);

    GalleryAccount *const m_account;
    MediaMgr *const m_hub;
    MediaFiles *const m_files;
    QHash<QString, Use> m_waitingFiles; // downloading to be used: file id -> use
    QSet<int> m_saveBatches;            // the account's copy batches that saveAs started
};
