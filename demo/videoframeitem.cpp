#include "videoframeitem.h"

#include <QPainter>
#include <QVideoFrame>
#include <QVideoSink>

VideoFrameItem::VideoFrameItem(QQuickItem *parent)
    : QQuickPaintedItem(parent)
{ }

QObject *VideoFrameItem::videoSink() const
{
    return m_sink;
}

void VideoFrameItem::setVideoSink(QObject *sink)
{
    auto *videoSink = qobject_cast<QVideoSink *>(sink);
    if (m_sink == videoSink) {
        return;
    }
    if (m_sink) {
        disconnect(m_sink, nullptr, this, nullptr);
    }
    m_sink = videoSink;
    if (m_sink) {
        connect(m_sink, &QVideoSink::videoFrameChanged, this, &VideoFrameItem::onFrame);
    }
    Q_EMIT videoSinkChanged();
}

void VideoFrameItem::onFrame(const QVideoFrame &frame)
{
    // Only what is shown is converted: a hidden item keeps no pictures.
    if (!isVisible() || !frame.isValid()) {
        m_frame = QImage();
        return;
    }
    m_frame = frame.toImage();
    ++m_frameCount;
    Q_EMIT frameCountChanged();
    update();
}

void VideoFrameItem::paint(QPainter *painter)
{
    if (m_frame.isNull()) {
        return;
    }
    const QSizeF fitted = QSizeF(m_frame.size()).scaled(size(), Qt::KeepAspectRatio);
    const QRectF target(QPointF((width() - fitted.width()) / 2, (height() - fitted.height()) / 2),
                        fitted);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(target, m_frame);
}
