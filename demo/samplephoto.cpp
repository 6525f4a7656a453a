#include "samplephoto.h"

#include "accountbase.h"
#include "cachefilestorage.h"
#include "cachelayout.h"
#include "contenttype.h"
#include "gallerylog.h"
#include "im.pb.h"
#include "samplemedia.h"
#include "userstorageprovider.h"
#include "util.h"

#include <QColor>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QUrl>
#include <iterator>

namespace {

const char *const Captions[] = {"fresh from the camera", "look at this light", "just now",
                                "view from the window", "today's walk"};

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        qCWarning(lcGallery) << "cannot write" << path << file.errorString();
        return false;
    }
    return true;
}

// Writes one picture where its message names it and into the cache, and records the cached copy
// so that the cache cleanup knows about it.
bool storePicture(AccountBase *account, const QString &fileId, const QString &name,
                  const QByteArray &bytes, qint64 time, im::FileInfo *info)
{
    const QString suffix = QStringLiteral("jpg");
    const QString fileName = CacheLayout::fileName(fileId, suffix);
    const QString source =
            Util::joinPath(Util::joinPath(account->folder(), QStringLiteral("source")), fileName);
    const QString cached =
            CacheLayout::mediaPath(account->userCacheDataPath(), CacheLayout::MainCategory,
                                   CacheLayout::kindOfMessageType(CONTENT_PHOTO))
            + fileName;
    if (!writeFile(source, bytes) || !writeFile(cached, bytes)) {
        return false;
    }
    account->storage()->cacheFileStorage()->save(
            {{fileId, CONTENT_PHOTO, suffix, qint64(bytes.size()), time}});
    info->set_file_id(fileId.toStdString());
    info->set_suffix(suffix.toStdString());
    info->set_size(bytes.size());
    info->set_name(name.toStdString());
    info->set_url(QUrl::fromLocalFile(source).toString().toStdString());
    return true;
}

} // namespace

bool SamplePhoto::make(AccountBase *account, const QString &dialogId, qint64 msgId, qint64 time,
                       im::Message *message)
{
    QRandomGenerator *random = QRandomGenerator::global();
    const int hue = random->bounded(360);
    const QColor from = QColor::fromHsv(hue, 170, 235);
    const QColor to = QColor::fromHsv((hue + 150) % 360, 200, 125);
    const quint32 seed = random->generate();
    // Time in the ids keeps a photo made again under a reused message id apart from the first.
    const QString id = dialogId + QLatin1Char('_') + QString::number(msgId) + QLatin1Char('_')
            + QString::number(time);

    im::Message photo;
    if (!storePicture(account, QStringLiteral("f") + id, QStringLiteral("IMG_%1.jpg").arg(time),
                      SampleMedia::picture(640, 480, from, to, seed), time, photo.mutable_file())
        || !storePicture(
                account, QStringLiteral("t") + id, QStringLiteral("IMG_%1_thumb.jpg").arg(time),
                SampleMedia::picture(160, 120, from, to, seed), time, photo.mutable_thumb())) {
        return false;
    }
    photo.set_dialog_id(dialogId.toStdString());
    photo.set_msg_id(msgId);
    photo.set_sender_id(account->userId());
    photo.set_time(time);
    photo.set_type(CONTENT_PHOTO);
    photo.set_text(Captions[random->bounded(int(std::size(Captions)))]);
    *message = photo;
    return true;
}
