#pragma once

#include "mediamodel_export.h"

#include <QByteArray>
#include <QSharedPointer>
#include <QString>

class FileItem;

// The files behind one resource: the source file, its thumbnail and, for a live photo, its video.
// Stored as JSON in the file-reference rows and read back when files are checked, counted or
// deleted. A record without a source file id describes nothing and is never written.
struct MEDIAMODEL_EXPORT ResourceData
{
    QString fileName;
    QString fileId;
    QString thumbId;     // empty: no thumbnail
    QString livePhotoId; // empty: not a live photo
    QString suffix;
    QString thumbSuffix;
    QString livePhotoSuffix;
    qint64 size = 0;
    qint64 thumbSize = 0;
    qint64 livePhotoSize = 0;

    // Replaces out with the record's JSON text; leaves out untouched when fileId is empty.
    // Thumbnail and live-photo keys are written only for the parts that exist.
    void serialize(QByteArray &out) const;
    // Reads a record written by serialize; an empty input changes nothing, bad JSON gives an empty
    // record. Keys may come in any order.
    void deserialize(const QByteArray &in);
};

// Fills out from a file-bearing content item: display name, source file, the live-photo video of
// an image, and the thumbnail when there is a valid one.
MEDIAMODEL_EXPORT void makeResourceData(const QSharedPointer<FileItem> &item, ResourceData &out);
