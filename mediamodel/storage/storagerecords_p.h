#pragma once

// Not API: the plain records the storage view's workers fill and hand to the UI thread.

#include "messagekey.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

// One file found by a scan of the cache folders.
struct CacheFileRecord
{
    QString path;
    qint64 size = 0;
    int dataType = 0; // MediaStorageModel::MediaDataType
};

// One cached resource of a message, as the dialog's view lists show it: the source file with
// its thumbnail and live-photo video, each with its size on disk (0 when not cached).
struct MediaContentRecord
{
    QString dialogId;
    MessageKey key;
    int type = 0; // content type: 2 image, 3 other, 4 music, 5 video, 6 file
    qint64 dateTime = 0;
    QString name;
    QString fileId;
    QString thumbId;
    QString livePhotoId;
    QString sourcePath;
    QString thumbPath;
    QString livePhotoPath;
    qint64 size = 0;
    qint64 thumbSize = 0;
    qint64 livePhotoSize = 0;

    bool isLivePhoto() const { return !livePhotoId.isEmpty(); }
    bool sameResource(const MediaContentRecord &other) const
    {
        return dialogId == other.dialogId && key == other.key && type == other.type;
    }
};

// What a scan attributed to one dialog: the cached files its messages name (file id to
// MediaDataType) and its cached resources.
struct DialogScanRecord
{
    QHash<QString, int> files;
    QList<MediaContentRecord> contents;
};
