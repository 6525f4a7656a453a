#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

class QQuickWindow;

// Saves the window to a PNG once the view says it is complete, then ends the application: exit
// code 0 when the file is written, 1 with a log line when it is not or the view never got ready.
//
// The view tells through a boolean property of the window (readyProperty). It must hold for two
// rendered frames in a row, so that what a change set in motion (delegates made, thumbnails
// asked for) has shown up or taken the readiness back before the grab.
class ScreenshotGrabber : public QObject
{
    Q_OBJECT

public:
    ScreenshotGrabber(QQuickWindow *window, const QByteArray &readyProperty, const QString &path,
                      QObject *parent = nullptr);

    // Starts watching; gives up after timeoutMs.
    void start(int timeoutMs);

private:
    bool isViewReady() const;
    void onFrameSwapped();
    void grab();
    void finish(int exitCode);

    QQuickWindow *const m_window;
    const QByteArray m_readyProperty;
    const QString m_path;
    QTimer m_frameRequest; // keeps frames coming while the view is not ready
    QTimer m_timeout;
    int m_readyFrames = 0;
    bool m_finished = false;
};
