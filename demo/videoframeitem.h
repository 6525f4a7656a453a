#pragma once

#include <QImage>
#include <QPointer>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

class QVideoFrame;
class QVideoSink;

// Paints the frames a video sink receives as pictures, for scenes that cannot show a VideoOutput:
// the software scene graph of a headless gallery (screenshots, UI tests) draws no video nodes.
// Costs a conversion of each frame to RGB on the main thread, which a VideoOutput on the GPU
// does not.
class VideoFrameItem : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QObject *videoSink READ videoSink WRITE setVideoSink NOTIFY videoSinkChanged)
    // Frames painted so far.
    Q_PROPERTY(int frameCount READ frameCount NOTIFY frameCountChanged)

public:
    explicit VideoFrameItem(QQuickItem *parent = nullptr);

    QObject *videoSink() const;
    void setVideoSink(QObject *sink);
    int frameCount() const { return m_frameCount; }

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void videoSinkChanged();
    void frameCountChanged();

private:
    void onFrame(const QVideoFrame &frame);

    QPointer<QVideoSink> m_sink;
    QImage m_frame;
    int m_frameCount = 0;
};
