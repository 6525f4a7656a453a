#pragma once

#include <QByteArray>
#include <QColor>

// Media bytes made from nothing but numbers, so the sample account needs no file from outside.
namespace SampleMedia {

// A JPEG picture: a two-colour gradient with a few circles, width x height pixels.
QByteArray picture(int width, int height, const QColor &from, const QColor &to, quint32 seed);
// A 16-bit mono PCM WAV file of a tone that glides from one frequency to another.
QByteArray tone(int sampleRate, int milliseconds, double fromHz, double toHz);
// Bytes that stand for a document or a video: a short header line, then deterministic noise.
QByteArray filler(const QByteArray &header, int size, quint32 seed);

} // namespace SampleMedia
