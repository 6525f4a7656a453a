#include "tonemedia.h"

#include <QProcess>

namespace {
constexpr int kEncodeTimeoutMs = 180000;
} // namespace

double ToneSteps::frequencyAt(qint64 positionMs) const
{
    const qint64 step = qBound(qint64(0), positionMs / stepMs, qint64(count - 1));
    return firstHz + double(step) * stepHz;
}

namespace ToneMedia {

bool write(const QString &path, const ToneSteps &steps, Container container, QString *error)
{
    const QString seconds = QString::number(steps.durationMs() / 1000.0);
    // The phase restarts at every step; what counts is the frequency within each.
    const QString tones = QStringLiteral("aevalsrc=exprs='0.4*sin(2*PI*(%1+%2*floor(t*1000/%3))*t)'"
                                         ":s=48000:d=%4")
                                  .arg(steps.firstHz)
                                  .arg(steps.stepHz)
                                  .arg(steps.stepMs)
                                  .arg(seconds);
    QStringList arguments {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y")};
    if (container == LargeVideoMp4) {
        arguments << QStringLiteral("-f") << QStringLiteral("lavfi") << QStringLiteral("-i")
                  << QStringLiteral("testsrc=size=480x270:rate=25:duration=%1,noise=alls=30:allf=t")
                             .arg(seconds);
    }
    arguments << QStringLiteral("-f") << QStringLiteral("lavfi") << QStringLiteral("-i") << tones;
    if (container == LargeVideoMp4) {
        arguments << QStringLiteral("-c:v") << QStringLiteral("mpeg4") << QStringLiteral("-q:v")
                  << QStringLiteral("5") << QStringLiteral("-c:a") << QStringLiteral("aac")
                  << QStringLiteral("-f") << QStringLiteral("mp4");
    } else {
        arguments << QStringLiteral("-c:a") << QStringLiteral("libopus") << QStringLiteral("-f")
                  << QStringLiteral("ogg");
    }
    arguments << path;
    QProcess ffmpeg;
    ffmpeg.setProcessChannelMode(QProcess::MergedChannels);
    ffmpeg.start(QStringLiteral("ffmpeg"), arguments);
    if (!ffmpeg.waitForFinished(kEncodeTimeoutMs) || ffmpeg.exitStatus() != QProcess::NormalExit
        || ffmpeg.exitCode() != 0) {
        *error = QStringLiteral("ffmpeg failed: ") + ffmpeg.errorString() + QLatin1Char(' ')
                + QString::fromLocal8Bit(ffmpeg.readAll());
        return false;
    }
    return true;
}

} // namespace ToneMedia
