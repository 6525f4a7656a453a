#pragma once

#include <QByteArray>
#include <QColor>
#include <QList>
#include <QString>

// Media bytes made from nothing but numbers and text, so the sample account needs no file from
// outside.
namespace SampleMedia {

// A JPEG picture: a two-colour gradient with a few circles, width x height pixels.
QByteArray picture(int width, int height, const QColor &from, const QColor &to, quint32 seed);

// A 16-bit mono PCM WAV file of a tone that glides from one frequency to another, faded in and
// out: what the sample's music and voice messages are encoded from.
QByteArray tone(int sampleRate, int milliseconds, double fromHz, double toHz);

struct Section
{
    QString heading;
    QStringList paragraphs;
};

// An A4 PDF document: the title, then each section's heading and paragraphs, on as many pages as
// they take. Drawing text needs a QGuiApplication (a headless one will do); without it, or when
// the writer fails, empty with a log line.
QByteArray pdf(const QString &title, const QList<Section> &sections);

} // namespace SampleMedia
