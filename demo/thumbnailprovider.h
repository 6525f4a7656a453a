#pragma once

#include <QQuickImageProvider>
#include <QUrl>

// Serves the gallery's tiles: a cached picture cut to a centred square of the size the Image asks
// for, with rounded corners drawn into the pixels, so that every scene graph backend (the software
// one of headless runs included) shows the same rounded tile.
//
// Called by the QML engine, possibly on its image loader thread; keeps no state.
class ThumbnailProvider : public QQuickImageProvider
{
public:
    static constexpr const char *Name = "thumbnail";

    ThumbnailProvider();

    // The image URL of a picture on disk.
    static QUrl urlOf(const QString &localPath);

    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;
};
