#include "resourcedata.h"

#include "contenttype.h"
#include "filedata.h"
#include "imageitem.h"
#include "jsonutil.h"
#include "mediamodellog_p.h"

#include <QVariantMap>

namespace {

const QString kFileName = QStringLiteral("fileName");
const QString kFileId = QStringLiteral("fileId");
const QString kSuffix = QStringLiteral("suffix");
const QString kSize = QStringLiteral("size");
const QString kThumbId = QStringLiteral("thumbId");
const QString kThumbSuffix = QStringLiteral("thumbSuffix");
const QString kThumbSize = QStringLiteral("thumbSize");
const QString kLivePhotoId = QStringLiteral("livePhotoId");
const QString kLivePhotoSuffix = QStringLiteral("livePhotoSuffix");
const QString kLivePhotoSize = QStringLiteral("livePhotoSize");

} // namespace

void ResourceData::serialize(QByteArray &out) const
{
    if (fileId.isEmpty()) {
        return;
    }
    QVariantMap map {{kFileName, fileName}, {kFileId, fileId}, {kSuffix, suffix}, {kSize, size}};
    if (!thumbId.isEmpty()) {
        map.insert(kThumbId, thumbId);
        map.insert(kThumbSuffix, thumbSuffix);
        map.insert(kThumbSize, thumbSize);
    }
    if (!livePhotoId.isEmpty()) {
        map.insert(kLivePhotoId, livePhotoId);
        map.insert(kLivePhotoSuffix, livePhotoSuffix);
        map.insert(kLivePhotoSize, livePhotoSize);
    }
    out = mapToJson(map);
}

void ResourceData::deserialize(const QByteArray &in)
{
    if (in.isEmpty()) {
        return;
    }
    const QVariantMap map = jsonToMap(in);
    fileId = map.value(kFileId).toString();
    if (fileId.isEmpty()) {
        return;
    }
    fileName = map.value(kFileName).toString();
    suffix = map.value(kSuffix).toString();
    size = map.value(kSize).toLongLong();
    thumbId = map.value(kThumbId).toString();
    if (!thumbId.isEmpty()) {
        thumbSuffix = map.value(kThumbSuffix).toString();
        thumbSize = map.value(kThumbSize).toLongLong();
    }
    livePhotoId = map.value(kLivePhotoId).toString();
    if (!livePhotoId.isEmpty()) {
        livePhotoSuffix = map.value(kLivePhotoSuffix).toString();
        livePhotoSize = map.value(kLivePhotoSize).toLongLong();
    }
}

void makeResourceData(const QSharedPointer<FileItem> &item, ResourceData &out)
{
    if (!item) {
        qCWarning(lcMedia) << "no file content to describe; the resource record is left as it was";
        return;
    }
    out.fileName = item->displayName();
    if (const QSharedPointer<FileData> source = item->sourceFilePtr()) {
        out.fileId = source->fileId();
        out.suffix = source->suffix();
        out.size = source->size();
    }
    if (item->type() == CONTENT_PHOTO) {
        const auto image = item.dynamicCast<ImageItem>();
        if (image && image->hasLivePhoto()) {
            const QSharedPointer<FileData> video = image->livePhotoFilePtr();
            out.livePhotoId = video->fileId();
            out.livePhotoSuffix = video->suffix();
            out.livePhotoSize = video->size();
        }
    }
    if (item->validThumbFile()) {
        const QSharedPointer<FileData> thumb = item->thumbFilePtr();
        out.thumbId = thumb->fileId();
        out.thumbSuffix = thumb->suffix();
        out.thumbSize = thumb->size();
    }
}
