#include "samplemedia.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>
#include <QRandomGenerator>
#include <QtEndian>
#include <cmath>

namespace SampleMedia {

QByteArray picture(int width, int height, const QColor &from, const QColor &to, quint32 seed)
{
    QImage image(width, height, QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient gradient(0, 0, width, height);
    gradient.setColorAt(0, from);
    gradient.setColorAt(1, to);
    painter.fillRect(image.rect(), gradient);
    QRandomGenerator random(seed);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    for (int i = 0; i < 6; ++i) {
        QColor color = QColor::fromHsv(random.bounded(360), 160, 240, 150);
        painter.setBrush(color);
        const int radius = 10 + random.bounded(qMax(11, height / 4));
        painter.drawEllipse(QPoint(random.bounded(width), random.bounded(height)), radius, radius);
    }
    painter.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPEG", 80);
    return bytes;
}

static void appendLittleEndian32(QByteArray &out, quint32 value)
{
    char bytes[4];
    qToLittleEndian(value, bytes);
    out.append(bytes, 4);
}

static void appendLittleEndian16(QByteArray &out, quint16 value)
{
    char bytes[2];
    qToLittleEndian(value, bytes);
    out.append(bytes, 2);
}

QByteArray tone(int sampleRate, int milliseconds, double fromHz, double toHz)
{
    const int samples = int(qint64(sampleRate) * milliseconds / 1000);
    const quint32 dataSize = quint32(samples) * 2;
    QByteArray wav;
    wav.reserve(int(44 + dataSize));
    wav.append("RIFF");
    appendLittleEndian32(wav, 36 + dataSize);
    wav.append("WAVEfmt ");
    appendLittleEndian32(wav, 16);
    appendLittleEndian16(wav, 1); // PCM
    appendLittleEndian16(wav, 1); // mono
    appendLittleEndian32(wav, quint32(sampleRate));
    appendLittleEndian32(wav, quint32(sampleRate) * 2);
    appendLittleEndian16(wav, 2);
    appendLittleEndian16(wav, 16);
    wav.append("data");
    appendLittleEndian32(wav, dataSize);
    double phase = 0;
    for (int i = 0; i < samples; ++i) {
        const double progress = double(i) / qMax(1, samples);
        const double hz = fromHz + (toHz - fromHz) * progress;
        phase += 2 * M_PI * hz / sampleRate;
        // Fade in and out over the first and last 5 % to avoid clicks.
        const double envelope = qMin(1.0, qMin(progress, 1 - progress) * 20);
        appendLittleEndian16(wav, quint16(qint16(std::sin(phase) * 12000 * envelope)));
    }
    return wav;
}

QByteArray filler(const QByteArray &header, int size, quint32 seed)
{
    QByteArray bytes = header;
    bytes.reserve(size);
    QRandomGenerator random(seed);
    while (bytes.size() < size) {
        const quint32 word = random.generate();
        bytes.append(reinterpret_cast<const char *>(&word), qMin<int>(4, size - bytes.size()));
    }
    bytes.truncate(qMax<int>(size, header.size()));
    return bytes;
}

} // namespace SampleMedia
