#pragma once

#include <QObject>
#include <QSet>
#include <QSharedPointer>
#include <QString>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

class FileData;
class FileManager;
class MusicItem;
class ResourceItem;

// What the gallery's delegates show of an item's files, which QML cannot reach itself: the
// content item behind a message is no QObject. Thumbnails that are not in the cache yet are
// downloaded here; fileReady() tells the delegates to ask again.
//
// Lives on the main thread; the file library's download signals arrive queued from the network
// thread.
class MediaFiles : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("the files helper belongs to the gallery controller")
    Q_MOC_INCLUDE("resourceitem.h")
    Q_PROPERTY(int pendingDownloads READ pendingDownloads NOTIFY pendingDownloadsChanged)

public:
    // files must outlive this object.
    explicit MediaFiles(FileManager *files, QObject *parent = nullptr);
    // Lets the thumbnail downloads still running end first; see waitForDownloads().
    ~MediaFiles() override;

    // Thumbnail downloads asked for and not finished.
    int pendingDownloads() const { return int(m_pending.size()); }

    // The rounded thumbnail of a photo or video for an Image, once its picture is on disk; empty
    // while it downloads or when the item has no picture.
    Q_INVOKABLE QUrl thumbnailUrl(ResourceItem *item);
    // The picture the viewer shows: a photo itself once on disk (asked for, and the thumbnail
    // shown, until then), else the thumbnail. A plain file URL; empty when nothing is on disk.
    Q_INVOKABLE QUrl pictureUrl(ResourceItem *item);
    // The id of the file thumbnailUrl() shows, to match fileReady() against.
    Q_INVOKABLE QString thumbnailFileId(ResourceItem *item) const;
    // The name the user sees: the file's display name, or its own name.
    Q_INVOKABLE QString fileName(ResourceItem *item) const;
    Q_INVOKABLE QString suffix(ResourceItem *item) const;
    // Bytes; 0 without a file.
    Q_INVOKABLE qint64 fileSize(ResourceItem *item) const;
    // Milliseconds of a video, music or voice message; 0 for anything else.
    Q_INVOKABLE qint64 duration(ResourceItem *item) const;
    // A song's title and artist from its tags; empty for anything else or when the file had none.
    Q_INVOKABLE QString title(ResourceItem *item) const;
    Q_INVOKABLE QString artist(ResourceItem *item) const;

Q_SIGNALS:
    void pendingDownloadsChanged();
    // A thumbnail download ended, well or not.
    void fileReady(const QString &fileId);

private:
    QSharedPointer<FileData> pictureOf(ResourceItem *item) const;
    QSharedPointer<FileData> sourceOf(ResourceItem *item) const;
    static QSharedPointer<MusicItem> musicOf(ResourceItem *item);
    void requestDownload(const QSharedPointer<FileData> &file);
    void onDownloadFinished(const QString &fileId, bool ok);
    void waitForDownloads() const;

    FileManager *const m_files;
    QSet<QString> m_requested; // every thumbnail id asked for
    QSet<QString> m_pending;   // thumbnail ids asked for whose end was not told yet
    QSet<QString> m_failed;    // not asked for again, so that a broken source cannot loop
};
