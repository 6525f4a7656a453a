#pragma once

#include <QString>

// Media whose sound tells where it is: a run of steady tones, step k at firstHz + k * stepHz, so
// that a recording of what a player played says which part of the file it played. Made with
// ffmpeg.
struct ToneSteps
{
    int count = 10;
    int stepMs = 2000;
    double firstHz = 300;
    double stepHz = 100;

    qint64 durationMs() const { return qint64(count) * stepMs; }
    // The tone heard at a position of the file.
    double frequencyAt(qint64 positionMs) const;
};

namespace ToneMedia {

enum Container {
    // MPEG-4 video of noise beside AAC sound, with the index at the end of the file as phones
    // write it: about 300 KB a second of media, so a throttled download takes a while.
    LargeVideoMp4,
    // Ogg/Opus, as a voice message.
    OggOpus,
};

// Writes the media to path; false with the reason in *error.
bool write(const QString &path, const ToneSteps &steps, Container container, QString *error);

} // namespace ToneMedia
