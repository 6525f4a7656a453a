#include "screenshotgrabber.h"

#include "gallerylog.h"

#include <QCoreApplication>
#include <QImage>
#include <QQuickWindow>

namespace {

constexpr int FrameRequestInterval = 50; // ms
constexpr int ReadyFramesNeeded = 2;

} // namespace

ScreenshotGrabber::ScreenshotGrabber(QQuickWindow *window, const QByteArray &readyProperty,
                                     const QString &path, QObject *parent)
    : QObject(parent)
    , m_window(window)
    , m_readyProperty(readyProperty)
    , m_path(path)
{
    m_frameRequest.setInterval(FrameRequestInterval);
    connect(&m_frameRequest, &QTimer::timeout, window, &QQuickWindow::update);
    m_timeout.setSingleShot(true);
    connect(&m_timeout, &QTimer::timeout, this, [this] {
        qCWarning(lcGallery) << "gave up on the screenshot: the list and its thumbnails were not"
                             << "shown in time";
        finish(1);
    });
    connect(window, &QQuickWindow::frameSwapped, this, &ScreenshotGrabber::onFrameSwapped,
            Qt::QueuedConnection);
}

void ScreenshotGrabber::start(int timeoutMs)
{
    m_timeout.start(timeoutMs);
    m_frameRequest.start();
    m_window->update();
}

bool ScreenshotGrabber::isViewReady() const
{
    return m_window->property(m_readyProperty.constData()).toBool();
}

void ScreenshotGrabber::onFrameSwapped()
{
    if (m_finished) {
        return;
    }
    m_readyFrames = isViewReady() ? m_readyFrames + 1 : 0;
    if (m_readyFrames >= ReadyFramesNeeded) {
        grab();
    }
}

void ScreenshotGrabber::grab()
{
    const QImage image = m_window->grabWindow();
    if (image.isNull() || !image.save(m_path, "PNG")) {
        qCWarning(lcGallery) << "cannot write the screenshot" << m_path;
        finish(1);
        return;
    }
    qCInfo(lcGallery) << "screenshot" << image.size() << "written to" << m_path;
    finish(0);
}

void ScreenshotGrabber::finish(int exitCode)
{
    m_finished = true;
    m_frameRequest.stop();
    m_timeout.stop();
    QCoreApplication::exit(exitCode);
}
