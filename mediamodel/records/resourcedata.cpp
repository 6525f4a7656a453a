#include "resourcedata.h"

#include "contenttype.h"
#include "filedata.h"
#include "imageitem.h"
#include "jsonutil.h"
#include "mediamodellog_p.h"

#include <QVariantMap>

namespace {

constexpr QLatin1String kFileName("fileName");
constexpr QLatin1String kFileId("fileId");
constexpr QLatin1String kSuffix("suffix");
constexpr QLatin1String kSize("size");
constexpr QLatin1String kThumbId("thumbId");
constexpr QLatin1String kThumbSuffix("thumbSuffix");
constexpr QLatin1String kThumbSize("thumbSize");
constexpr QLatin1String kLivePhotoId("livePhotoId");
constexpr QLatin1String kLivePhotoSuffix("livePhotoSuffix");
constexpr QLatin1String kLivePhotoSize("livePhotoSize");

} // namespace

// Keys in the order QJsonObject keeps them, so that the text is the one QJsonDocument would
// write; ingest writes one per media row.
void ResourceData::serialize(QByteArray &out) const
{
    if (fileId.isEmpty()) {
        return;
    }
    CompactJsonWriter json;
    json.add(kFileId, fileId);
    json.add(kFileName, fileName);
    if (!livePhotoId.isEmpty()) {
        json.add(kLivePhotoId, livePhotoId);
        json.add(kLivePhotoSize, livePhotoSize);
        json.add(kLivePhotoSuffix, livePhotoSuffix);
    }
    json.add(kSize, size);
    json.add(kSuffix, suffix);
    if (!thumbId.isEmpty()) {
        json.add(kThumbId, thumbId);
        json.add(kThumbSize, thumbSize);
        json.add(kThumbSuffix, thumbSuffix);
    }
    out = json.take();
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
    if (const QSharedPointer<FileData> &source = item->sourceFilePtr()) {
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
        const QSharedPointer<FileData> &thumb = item->thumbFilePtr();
        out.thumbId = thumb->fileId();
        out.thumbSuffix = thumb->suffix();
        out.thumbSize = thumb->size();
    }
}
