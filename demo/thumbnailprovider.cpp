#include "thumbnailprovider.h"

#include "gallerylog.h"

#include <QImageReader>
#include <QPainter>
#include <QPainterPath>

namespace {

constexpr int DefaultSide = 160;
// Corner radius as a share of the tile's side.
constexpr qreal CornerShare = 0.07;

QString pathOfId(const QString &id)
{
    return QString::fromUtf8(QByteArray::fromBase64(
            id.toLatin1(), QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

QImage centredSquare(const QImage &image, int side)
{
    const QImage filled =
            image.scaled(side, side, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    return filled.copy((filled.width() - side) / 2, (filled.height() - side) / 2, side, side);
}

QImage rounded(const QImage &square)
{
    QImage tile(square.size(), QImage::Format_ARGB32_Premultiplied);
    tile.fill(Qt::transparent);
    QPainter painter(&tile);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal radius = qMax<qreal>(4, square.width() * CornerShare);
    QPainterPath path;
    path.addRoundedRect(QRectF(tile.rect()), radius, radius);
    painter.setClipPath(path);
    painter.drawImage(0, 0, square);
    return tile;
}

} // namespace

ThumbnailProvider::ThumbnailProvider()
    : QQuickImageProvider(QQuickImageProvider::Image)
{ }

QUrl ThumbnailProvider::urlOf(const QString &localPath)
{
    return QUrl(QStringLiteral("image://%1/").arg(QLatin1String(Name))
                + QString::fromLatin1(localPath.toUtf8().toBase64(
                        QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals)));
}

QImage ThumbnailProvider::requestImage(const QString &id, QSize *size, const QSize &requestedSize)
{
    const QString path = pathOfId(id);
    QImageReader reader(path);
    const QImage image = reader.read();
    if (image.isNull()) {
        qCWarning(lcGallery) << "cannot read the picture" << path << reader.errorString();
        return {};
    }
    const int requested = qMax(requestedSize.width(), requestedSize.height());
    const QImage tile = rounded(centredSquare(image, requested > 0 ? requested : DefaultSide));
    if (size) {
        *size = tile.size();
    }
    return tile;
}
