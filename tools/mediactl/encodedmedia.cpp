#include "encodedmedia.h"

#include "platformlog.h"
#include "samplemedia.h"
#include "util.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QLockFile>
#include <QProcess>
#include <QSaveFile>
#include <QStandardPaths>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentMap>

namespace EncodedMedia {

namespace {

// Two encoders at a time, for the two cores of the machines this runs on. Each keeps to one
// thread: x264 cuts its work differently for other thread counts, and the bytes must not depend on
// the machine.
constexpr int ParallelEncoders = 2;
constexpr int EncodeTimeoutMs = 180'000;
// Another process may be encoding the same set into the cache; it is waited for this long.
constexpr int CacheLockTimeoutMs = 600'000;
const QString ChecksumsFile = QStringLiteral("checksums");

// Raised whenever what the files are made from changes outside the ffmpeg arguments (the tones'
// shape), so that no set kept from before is reused.
constexpr int SetVersion = 1;

// A tone that ffmpeg reads as WAV on its standard input; a sample rate of 0 for none.
struct Tone
{
    int sampleRate = 0;
    int durationMs = 0;
    int fromHz = 0;
    int toHz = 0;
};

// One file and the ffmpeg arguments that make it, all but the output path.
struct Job
{
    QString fileName;
    QStringList arguments;
    Tone tone;
};

QString seconds(int milliseconds)
{
    return QString::number(milliseconds / 1000.0, 'f', 3);
}

// Arguments written as one line; none of them holds a space.
QStringList line(const char *arguments)
{
    return QString::fromLatin1(arguments).split(QLatin1Char(' '));
}

// Nothing that names an encoder's version or the time goes into the files, and the input's own
// metadata stays out: the same arguments give the same bytes.
QStringList reproducible()
{
    return line("-map_metadata -1 -fflags +bitexact -flags +bitexact -threads 1");
}

// The pictures of a video: a moving test pattern.
QStringList videoPictures(const Video &video)
{
    return line("-f lavfi -i") << QStringLiteral("testsrc2=size=%1x%2:rate=30:duration=%3")
                                          .arg(video.width)
                                          .arg(video.height)
                                          .arg(seconds(video.durationMs));
}

// A moving test pattern, and a steady tone as its sound.
Job videoJob(const Video &video)
{
    const QString length = seconds(video.durationMs);
    QStringList arguments = videoPictures(video);
    arguments += line("-f lavfi -i")
            << QStringLiteral("sine=frequency=%1:sample_rate=48000:duration=%2")
                       .arg(video.toneHz)
                       .arg(length);
    arguments += line("-map 0:v -map 1:a -c:v libx264 -preset veryfast -crf 26 -pix_fmt yuv420p "
                      "-g 30 -c:a aac -b:a 96k");
    if (video.indexFirst) {
        arguments += line("-movflags +faststart");
    }
    return {video.fileName, arguments + reproducible() + line("-f mp4"), Tone()};
}

Job posterJob(const Video &video)
{
    return {posterFileName(video),
            videoPictures(video) + line("-frames:v 1 -vf scale=iw/3:-2 -q:v 4") + reproducible()
                    + line("-f mjpeg"),
            Tone()};
}

// Music and voice are tones computed here and read as WAV from ffmpeg's standard input: an ffmpeg
// expression evaluated for each sample took longer than the encoding itself.
Job trackJob(const Track &track)
{
    QStringList arguments =
            line("-f wav -i pipe:0 -c:a libmp3lame -b:a 128k -id3v2_version 3") + reproducible();
    arguments << QStringLiteral("-metadata") << QStringLiteral("title=") + track.title
              << QStringLiteral("-metadata") << QStringLiteral("artist=") + track.artist;
    return {track.fileName, arguments + line("-f mp3"),
            Tone {44100, track.durationMs, track.fromHz, track.toHz}};
}

// Speech-like: the tone swells and fades three times a second, as syllables do.
Job voiceJob(const Voice &voice)
{
    return {voice.fileName,
            line("-f wav -i pipe:0 -af tremolo=f=3:d=0.4 -c:a libopus -b:a 24k -application voip")
                    + reproducible() + line("-f ogg"),
            Tone {48000, voice.durationMs, voice.fromHz, voice.toHz}};
}

// The longest encodings first, so that the two encoders end close together.
QList<Job> allJobs()
{
    QList<Job> jobs;
    for (const Video &video : videos()) {
        jobs.append(videoJob(video));
        jobs.append(posterJob(video));
    }
    for (const Video &clip : liveClips()) {
        jobs.append(videoJob(clip));
    }
    for (const Track &track : tracks()) {
        jobs.append(trackJob(track));
    }
    for (const Voice &voice : voices()) {
        jobs.append(voiceJob(voice));
    }
    return jobs;
}

// Runs ffmpeg to its end, input on its standard input; *output gets what it printed. False, with a
// log line, when it cannot start, fails or hangs.
bool runFfmpeg(const QStringList &arguments, const QByteArray &input, QByteArray *output)
{
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"),
                 QStringList {QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"),
                              QStringLiteral("-loglevel"), QStringLiteral("error")}
                         + arguments);
    if (!ffmpeg.waitForStarted()) {
        qCWarning(lcPlatform).noquote()
                << "cannot run ffmpeg, which encodes the sample's videos, music and voice "
                   "messages (scripts/setup-deps.sh installs it):"
                << ffmpeg.errorString();
        return false;
    }
    ffmpeg.write(input);
    ffmpeg.closeWriteChannel();
    if (!ffmpeg.waitForFinished(EncodeTimeoutMs)) {
        ffmpeg.kill();
        ffmpeg.waitForFinished();
        qCWarning(lcPlatform) << "ffmpeg did not finish in time:" << arguments.last();
        return false;
    }
    if (ffmpeg.exitStatus() != QProcess::NormalExit || ffmpeg.exitCode() != 0) {
        qCWarning(lcPlatform).noquote() << "ffmpeg failed on" << arguments.last() << "with"
                                        << ffmpeg.readAllStandardError().trimmed();
        return false;
    }
    if (output) {
        *output = ffmpeg.readAllStandardOutput();
    }
    return true;
}

bool encodeAll(const QList<Job> &jobs, const QString &folder)
{
    QElapsedTimer timer;
    timer.start();
    QThreadPool encoders;
    encoders.setMaxThreadCount(ParallelEncoders);
    const QList<bool> done =
            QtConcurrent::blockingMapped(&encoders, jobs, [&folder](const Job &job) {
                const Tone &tone = job.tone;
                const QByteArray input = tone.sampleRate > 0
                        ? SampleMedia::tone(tone.sampleRate, tone.durationMs, tone.fromHz,
                                            tone.toHz)
                        : QByteArray();
                return runFfmpeg(job.arguments
                                         + QStringList {QStringLiteral("-y"),
                                                        Util::joinPath(folder, job.fileName)},
                                 input, nullptr);
            });
    if (done.contains(false)) {
        return false;
    }
    qCInfo(lcPlatform) << "encoded the sample's videos, music and voice messages in"
                       << timer.elapsed() << "ms";
    return true;
}

// Names the set by everything its bytes depend on: the ffmpeg build, and each file's arguments and
// tone.
QString setName(const QByteArray &ffmpegVersion, const QList<Job> &jobs)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(QByteArray::number(SetVersion));
    hash.addData(ffmpegVersion);
    for (const Job &job : jobs) {
        const Tone &tone = job.tone;
        hash.addData(job.fileName.toUtf8());
        hash.addData(job.arguments.join(QLatin1Char('\n')).toUtf8());
        hash.addData(QStringLiteral("%1 %2 %3 %4")
                             .arg(tone.sampleRate)
                             .arg(tone.durationMs)
                             .arg(tone.fromHz)
                             .arg(tone.toHz)
                             .toLatin1());
    }
    return QString::fromLatin1(hash.result().toHex().left(16));
}

QByteArray checksumOf(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file)) {
        return {};
    }
    return hash.result().toHex();
}

// One line a file: checksum, size, name.
bool writeChecksums(const QString &folder, const QList<Job> &jobs)
{
    QByteArray text;
    for (const Job &job : jobs) {
        const QString path = Util::joinPath(folder, job.fileName);
        text += checksumOf(path) + ' ' + QByteArray::number(QFileInfo(path).size()) + ' '
                + job.fileName.toUtf8() + '\n';
    }
    QSaveFile file(Util::joinPath(folder, ChecksumsFile));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit()) {
        qCWarning(lcPlatform) << "cannot write" << file.fileName();
        return false;
    }
    return true;
}

// Whether every file of the set is in folder with the size and checksum it was recorded with.
bool isWhole(const QString &folder, const QList<Job> &jobs)
{
    QFile file(Util::joinPath(folder, ChecksumsFile));
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    QHash<QString, QByteArray> recorded; // name -> "checksum size"
    for (const QByteArray &line : file.readAll().split('\n')) {
        const qsizetype nameAt = line.indexOf(' ', line.indexOf(' ') + 1);
        if (nameAt > 0) {
            recorded.insert(QString::fromUtf8(line.mid(nameAt + 1)), line.left(nameAt));
        }
    }
    for (const Job &job : jobs) {
        const QString path = Util::joinPath(folder, job.fileName);
        const QByteArray actual =
                checksumOf(path) + ' ' + QByteArray::number(QFileInfo(path).size());
        if (recorded.value(job.fileName) != actual) {
            qCInfo(lcPlatform) << "the kept sample media in" << folder
                               << "are damaged; encoding them again";
            return false;
        }
    }
    return true;
}

bool copyAll(const QList<Job> &jobs, const QString &from, const QString &to)
{
    for (const Job &job : jobs) {
        const QString source = Util::joinPath(from, job.fileName);
        const QString target = Util::joinPath(to, job.fileName);
        // A file left by an earlier attempt that failed is replaced, as the generated ones are.
        QFile::remove(target);
        if (!QFile::copy(source, target)) {
            qCWarning(lcPlatform) << "cannot copy" << source << "to" << target;
            return false;
        }
    }
    return true;
}

} // namespace

const QList<Video> &videos()
{
    static const QList<Video> list = {{QStringLiteral("clip0.mp4"), 640, 360, 4000, 440, false},
                                      {QStringLiteral("clip1.mp4"), 1280, 720, 3000, 523, true},
                                      {QStringLiteral("clip2.mp4"), 360, 640, 5000, 659, false},
                                      {QStringLiteral("clip3.mp4"), 640, 360, 6000, 392, true}};
    return list;
}

QString posterFileName(const Video &video)
{
    return QFileInfo(video.fileName).completeBaseName() + QStringLiteral("_poster.jpg");
}

const QList<Video> &liveClips()
{
    static const QList<Video> list = {{QStringLiteral("live0.mp4"), 480, 640, 2000, 784, false},
                                      {QStringLiteral("live1.mp4"), 640, 480, 1500, 880, true}};
    return list;
}

const QList<Track> &tracks()
{
    static const QList<Track> list = {
            {QStringLiteral("track0.mp3"), QStringLiteral("Morning Glide"),
             QStringLiteral("Lena Brook"), 12000, 220, 330},
            {QStringLiteral("track1.mp3"), QStringLiteral("Blue Horizon"),
             QStringLiteral("The Quiet Harbour"), 16000, 275, 370},
            {QStringLiteral("track2.mp3"), QStringLiteral("Slow River"),
             QStringLiteral("Lena Brook"), 20000, 330, 410},
            {QStringLiteral("track3.mp3"), QStringLiteral("Night Drive"),
             QStringLiteral("Neon Avenue"), 24000, 385, 450},
            {QStringLiteral("track4.mp3"), QStringLiteral("Paper Lanterns"),
             QStringLiteral("Mika Sato"), 28000, 440, 490},
            {QStringLiteral("track5.mp3"), QStringLiteral("Copper Sky"),
             QStringLiteral("The Quiet Harbour"), 32000, 495, 530}};
    return list;
}

const QList<Voice> &voices()
{
    static const QList<Voice> list = [] {
        QList<Voice> made;
        for (int i = 0; i < 8; ++i) {
            made.append({QStringLiteral("voice%1.ogg").arg(i), 1500 + i * 600, 180 + 20 * i,
                         140 + 15 * i});
        }
        return made;
    }();
    return list;
}

QString defaultCacheFolder()
{
    return Util::joinPath(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation),
                          QStringLiteral("mediamodel/sample-media"));
}

bool provide(const QString &folder, const QString &cacheFolder, bool *fromCache)
{
    *fromCache = false;
    QByteArray version;
    if (!runFfmpeg({QStringLiteral("-version")}, {}, &version)) {
        return false;
    }
    const QList<Job> jobs = allJobs();
    if (cacheFolder.isEmpty()) {
        return encodeAll(jobs, folder);
    }
    const QString kept = Util::joinPath(cacheFolder, setName(version, jobs));
    QLockFile lock(kept + QStringLiteral(".lock"));
    lock.setStaleLockTime(CacheLockTimeoutMs);
    if (!QDir().mkpath(cacheFolder) || !lock.tryLock(CacheLockTimeoutMs)) {
        qCWarning(lcPlatform) << "cannot use the media cache in" << cacheFolder
                              << "; encoding without it";
        return encodeAll(jobs, folder);
    }
    if (isWhole(kept, jobs)) {
        *fromCache = true;
        return copyAll(jobs, kept, folder);
    }
    QDir(kept).removeRecursively();
    if (!QDir().mkpath(kept) || !encodeAll(jobs, kept) || !writeChecksums(kept, jobs)) {
        QDir(kept).removeRecursively();
        return false;
    }
    return copyAll(jobs, kept, folder);
}

} // namespace EncodedMedia
