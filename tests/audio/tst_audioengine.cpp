#include "multimediaaudioplayer.h"

#include <QDataStream>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <atomic>
#include <cmath>

namespace {

// A mono 16-bit PCM WAV file holding a tone of msecs milliseconds.
bool writeTone(const QString &path, int msecs)
{
    constexpr int rate = 8000;
    const qint32 samples = rate * msecs / 1000;
    const qint32 dataBytes = samples * 2;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return false;
    }
    QDataStream out(&file);
    out.setByteOrder(QDataStream::LittleEndian);
    out.writeRawData("RIFF", 4);
    out << qint32(36 + dataBytes);
    out.writeRawData("WAVEfmt ", 8);
    out << qint32(16) << qint16(1) << qint16(1) << qint32(rate) << qint32(rate * 2) << qint16(2)
        << qint16(16);
    out.writeRawData("data", 4);
    out << dataBytes;
    for (qint32 i = 0; i < samples; ++i) {
        out << qint16(8000 * std::sin(2 * M_PI * 440 * i / rate));
    }
    return out.status() == QDataStream::Ok;
}

// Counts the callback's calls, which come on the engine's thread.
void countEvent(void *context)
{
    static_cast<std::atomic<int> *>(context)->fetch_add(1);
}

} // namespace

// The engine on Qt Multimedia, driven as the player drives it: breakPlay, then play, events read
// one by one after the callback.
class TestAudioEngine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void emptyPathReportsError();
    void interruptedTrackReportsNothing();
    void generatedToneReachesEndOfTrack();

private:
    // Reads the engine's events until one of type arrives or an error does.
    void readUntil(MultimediaAudioPlayer &engine, int type, QList<AudioEvents> &events);
};

void TestAudioEngine::readUntil(MultimediaAudioPlayer &engine, int type, QList<AudioEvents> &events)
{
    const auto arrived = [&] {
        for (AudioEvents event = engine.audioEvent(); event.type != AudioEvents::None;
             event = engine.audioEvent()) {
            events.append(event);
        }
        return std::any_of(events.cbegin(), events.cend(), [type](const AudioEvents &event) {
            return event.type == type || event.type == AudioEvents::Error;
        });
    };
    QTRY_VERIFY_WITH_TIMEOUT(arrived(), 15000);
}

// Needs no audio device: the engine refuses before it reaches Qt Multimedia.
void TestAudioEngine::emptyPathReportsError()
{
    std::atomic<int> callbacks {0};
    MultimediaAudioPlayer engine;
    engine.regCallBack(&countEvent, &callbacks);
    engine.breakPlay(QString(), 0);
    engine.play(QString(), 0);
    QList<AudioEvents> events;
    readUntil(engine, AudioEvents::Error, events);
    QVERIFY(!events.isEmpty());
    QCOMPARE(events.last().type, int(AudioEvents::Error));
    QVERIFY(!events.last().message.isEmpty());
    QVERIFY(callbacks.load() >= 1);
}

// The first track fails as well, but it was interrupted before its failure could be read: only
// the failure of the track that followed reaches the reader.
void TestAudioEngine::interruptedTrackReportsNothing()
{
    std::atomic<int> callbacks {0};
    MultimediaAudioPlayer engine;
    engine.regCallBack(&countEvent, &callbacks);
    engine.breakPlay(QString(), 0);
    engine.play(QString(), 0);
    engine.breakPlay(QStringLiteral("next"), 0);
    engine.play(QString(), 0);
    // Returns once the engine's thread has handled everything asked before it.
    engine.stop(true);
    QList<AudioEvents> events;
    for (AudioEvents event = engine.audioEvent(); event.type != AudioEvents::None;
         event = engine.audioEvent()) {
        events.append(event);
    }
    QCOMPARE(events.size(), 1);
    QCOMPARE(events.first().type, int(AudioEvents::Error));
}

void TestAudioEngine::generatedToneReachesEndOfTrack()
{
    QString missing;
    if (!MultimediaAudioPlayer::canPlay(&missing)) {
        QSKIP(qPrintable(QStringLiteral("cannot play sound here: ") + missing));
    }
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("tone.wav"));
    QVERIFY(writeTone(path, 300));

    std::atomic<int> callbacks {0};
    MultimediaAudioPlayer engine;
    engine.regCallBack(&countEvent, &callbacks);
    engine.breakPlay(path, 0);
    engine.play(path, 0);
    QList<AudioEvents> events;
    readUntil(engine, AudioEvents::EndOfTrack, events);
    QVERIFY(!events.isEmpty());
    const AudioEvents &last = events.last();
    QVERIFY2(last.type == AudioEvents::EndOfTrack,
             qPrintable(QStringLiteral("the engine reported an error: ") + last.message));
    const auto hasType = [&events](int type) {
        return std::any_of(events.cbegin(), events.cend(),
                           [type](const AudioEvents &event) { return event.type == type; });
    };
    QVERIFY(hasType(AudioEvents::Playing));
    QCOMPARE(callbacks.load(), int(events.size()));
}

QTEST_GUILESS_MAIN(TestAudioEngine)
#include "tst_audioengine.moc"
