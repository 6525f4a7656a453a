#include "samplemedia.h"

#include "platformlog.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QPageLayout>
#include <QPainter>
#include <QPdfWriter>
#include <QRandomGenerator>
#include <QtEndian>
#include <cctype>
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

namespace {

constexpr int PdfResolution = 72; // a device unit is a point
constexpr int PageMargin = 56;
constexpr int XrefEntrySize = 20; // "oooooooooo ggggg n \n"

// Text drawn down the pages, a new page begun where a block would not fit.
class PdfPages
{
public:
    PdfPages(QPdfWriter &writer, QPainter &painter)
        : m_writer(writer)
        , m_painter(painter)
        , m_area(QRect(QPoint(0, 0), writer.pageLayout().paintRectPixels(PdfResolution).size())
                         .adjusted(PageMargin, PageMargin, -PageMargin, -PageMargin))
        , m_y(m_area.top())
    { }

    void add(const QString &text, int pointSize, bool bold, int spaceAfter)
    {
        QFont font = m_painter.font();
        font.setPointSize(pointSize);
        font.setBold(bold);
        m_painter.setFont(font);
        const QRect bounds = m_painter.boundingRect(QRect(m_area.left(), 0, m_area.width(), 0),
                                                    Qt::TextWordWrap, text);
        if (m_y + bounds.height() > m_area.bottom() && m_y > m_area.top()) {
            m_writer.newPage();
            m_y = m_area.top();
        }
        m_painter.drawText(QRect(m_area.left(), m_y, m_area.width(), bounds.height()),
                           Qt::TextWordWrap, text);
        m_y += bounds.height() + spaceAfter;
    }

private:
    QPdfWriter &m_writer;
    QPainter &m_painter;
    const QRect m_area;
    int m_y;
};

qsizetype numberAt(const QByteArray &bytes, qsizetype from, qsizetype *end)
{
    *end = from;
    while (*end < bytes.size() && std::isdigit(static_cast<unsigned char>(bytes.at(*end)))) {
        ++*end;
    }
    return bytes.mid(from, *end - from).toLongLong();
}

// QPdfWriter stamps the time of writing into the document information. A sample must not vary
// with the clock, so the entry goes, and the cross-reference offsets behind it move up by as much.
bool removeCreationDate(QByteArray &pdf)
{
    const QByteArray key = "\n/CreationDate (";
    const qsizetype start = pdf.indexOf(key);
    const qsizetype end = start < 0 ? -1 : pdf.indexOf(')', start + key.size());
    const qsizetype table = pdf.lastIndexOf("\nxref\n0 ");
    const qsizetype trailer = pdf.lastIndexOf("\nstartxref\n");
    if (end < 0 || table < end || trailer < table) {
        return false;
    }
    const qsizetype removed = end + 1 - start;
    pdf.remove(start, removed);
    qsizetype pos = table - removed + 8; // the entry count after "\nxref\n0 "
    const qsizetype count = numberAt(pdf, pos, &pos);
    ++pos;
    for (qsizetype i = 0; i < count; ++i, pos += XrefEntrySize) {
        qsizetype numberEnd = 0;
        const qsizetype offset = numberAt(pdf, pos, &numberEnd);
        if (pdf.at(pos + XrefEntrySize - 3) == 'n' && offset > start) {
            pdf.replace(pos, 10, QByteArray::number(offset - removed).rightJustified(10, '0'));
        }
    }
    const qsizetype xrefAt = trailer - removed + 11; // after "\nstartxref\n"
    qsizetype xrefEnd = 0;
    const qsizetype xref = numberAt(pdf, xrefAt, &xrefEnd);
    pdf.replace(xrefAt, xrefEnd - xrefAt, QByteArray::number(xref - removed));
    return true;
}

} // namespace

QByteArray pdf(const QString &title, const QList<Section> &sections)
{
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        qCWarning(lcPlatform) << "the sample documents need a QGuiApplication to draw text";
        return {};
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    {
        QPdfWriter writer(&buffer);
        writer.setTitle(title);
        writer.setCreator(QStringLiteral("mediactl"));
        writer.setPageSize(QPageSize(QPageSize::A4));
        writer.setResolution(PdfResolution);
        QPainter painter(&writer);
        PdfPages pages(writer, painter);
        pages.add(title, 20, true, 18);
        for (const Section &section : sections) {
            pages.add(section.heading, 13, true, 6);
            for (const QString &paragraph : section.paragraphs) {
                pages.add(paragraph, 11, false, 8);
            }
        }
    }
    if (!removeCreationDate(bytes)) {
        qCWarning(lcPlatform) << "the PDF writer wrote no creation date or cross-reference table";
        return {};
    }
    return bytes;
}

} // namespace SampleMedia
