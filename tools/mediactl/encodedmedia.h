#pragma once

#include <QList>
#include <QString>

// The sample's videos, music and voice messages, encoded by ffmpeg from generated pictures and
// tones: H.264 and AAC in MP4, MP3 with ID3 tags, Opus in Ogg. They do not vary with the seed, so
// one encoded set serves every sample account. Encoding takes seconds, so the set is kept in a
// cache folder and copied from there while it is whole.
namespace EncodedMedia {

struct Video
{
    QString fileName;
    int width;
    int height;
    int durationMs;
    int toneHz;      // the sound: one steady tone, different for each video
    bool indexFirst; // the index (moov) before the frames, as for streaming; else after, as phones
};

struct Track
{
    QString fileName;
    QString title;
    QString artist;
    int durationMs;
    int fromHz; // a tone that glides from one frequency to the other
    int toHz;
};

struct Voice
{
    QString fileName;
    int durationMs;
    int fromHz;
    int toHz;
};

const QList<Video> &videos();
// The JPEG of a video's first picture, a third of its width, as a client shows before playing.
QString posterFileName(const Video &video);
// Live photos' clips: a second or two.
const QList<Video> &liveClips();
const QList<Track> &tracks();
const QList<Voice> &voices();

// Where the encoded set is kept unless told otherwise: the user's cache folder.
QString defaultCacheFolder();

// Places every file above in folder: copied from the set kept in cacheFolder when that is whole
// (each file's size and checksum as recorded), else encoded, kept there, and copied. An empty
// cacheFolder encodes straight into folder. *fromCache tells whether the set was reused. False,
// with a log line, when ffmpeg is missing or fails.
bool provide(const QString &folder, const QString &cacheFolder, bool *fromCache);

} // namespace EncodedMedia
