#pragma once

#include <QHash>
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
// downloaded here, and so are the files the user opens; fileReady() tells the delegates to ask
// again.
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
    // Lets the downloads still running end first; see waitForDownloads().
    ~MediaFiles() override;

    // Downloads asked for and not finished.
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

    // The id of the item's own file (not its thumbnail); empty without one.
    Q_INVOKABLE QString fileId(ResourceItem *item) const;
    // Where a file is, once complete on disk; empty before, and for an unknown file.
    QString downloadedPath(const QString &fileId) const;
    // Downloads the item's own file, which the user wants on disk: asked for even after an
    // earlier failure. fileReady() tells the end. False without a file.
    bool fetch(ResourceItem *item);
    // The share of a file downloaded, from 0 to 1, while a download asked for here runs; -1
    // otherwise.
    Q_INVOKABLE qreal progress(const QString &fileId) const;

Q_SIGNALS:
    void pendingDownloadsChanged();
    // A download asked for here ended, well or not.
    void fileReady(const QString &fileId);
    void progressChanged(const QString &fileId);

private:
    QSharedPointer<FileData> pictureOf(ResourceItem *item) const;
    QSharedPointer<FileData> sourceOf(ResourceItem *item) const;
    static QSharedPointer<MusicItem> musicOf(ResourceItem *item);
    void requestDownload(const QSharedPointer<FileData> &file);
    void onDownloadProgress(const QString &fileId, qint64 received, qint64 total);
    void onDownloadFinished(const QString &fileId, bool ok);
    void waitForDownloads() const;

    FileManager *const m_files;
    QSet<QString> m_requested; // every file id asked for
    QSet<QString> m_pending;   // file ids asked for whose end was not told yet
    QSet<QString> m_failed;    // thumbnails not asked for again, so a broken source cannot loop
    QHash<QString, qreal> m_progress; // pending downloads that reported progress
};
