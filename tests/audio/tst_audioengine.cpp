#include "multimediaaudioplayer.h"
#include "soundserverfixture.h"
#include "tonemedia.h"

#include <QTemporaryDir>
#include <QtTest>
#include <atomic>

namespace {

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
    void initTestCase();
    void emptyPathReportsError();
    void interruptedTrackReportsNothing();
    void playsAFileToItsEnd();
    void seekBeforeTheSourceOpensIsApplied();
    void playOvertakenByAStopIsDropped();

private:
    // Reads the engine's events until one of type arrives or an error does.
    void readUntil(MultimediaAudioPlayer &engine, int type, QList<AudioEvents> &events);
    bool hears(double hz);

    SoundServerFixture m_sound;
    SoundRecorder m_recorder;
    QTemporaryDir m_dir;
    QString m_tones;
    const ToneSteps m_steps {4, 500, 400, 200};
};

void TestAudioEngine::initTestCase()
{
    QVERIFY2(m_sound.start(), qPrintable(m_sound.errorString()));
    QVERIFY2(m_recorder.start(), qPrintable(m_recorder.errorString()));
    QString missing;
    QVERIFY2(MultimediaAudioPlayer::canPlay(&missing), qPrintable(missing));
    QVERIFY(m_dir.isValid());
    m_tones = m_dir.filePath(QStringLiteral("tones.opus"));
    QString error;
    QVERIFY2(ToneMedia::write(m_tones, m_steps, ToneMedia::OggOpus, &error), qPrintable(error));
}

bool TestAudioEngine::hears(double hz)
{
    return QTest::qWaitFor([&] { return qAbs(m_recorder.recentFrequency(200) - hz) < 25; }, 10000);
}

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
    engine.breakPlay(QString(), 0);
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

void TestAudioEngine::playsAFileToItsEnd()
{
    std::atomic<int> callbacks {0};
    MultimediaAudioPlayer engine;
    engine.regCallBack(&countEvent, &callbacks);
    engine.breakPlay(m_tones, 0);
    engine.play(m_tones, 0);
    for (int step = 0; step < m_steps.count; ++step) {
        QVERIFY2(hears(m_steps.frequencyAt(step * m_steps.stepMs)),
                 qPrintable(QString::number(step)));
    }
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
    QVERIFY(hasType(AudioEvents::Duration));
    QCOMPARE(callbacks.load(), int(events.size()));
}

// The player asks for a seek as soon as it starts a track; the engine holds it until the file is
// open, so the sound starts at the target.
void TestAudioEngine::seekBeforeTheSourceOpensIsApplied()
{
    MultimediaAudioPlayer engine;
    engine.breakPlay(m_tones, 0);
    engine.play(m_tones, 0);
    const qint64 target = m_steps.stepMs * 3 + m_steps.stepMs / 4;
    engine.seekPos(target);
    QVERIFY(hears(m_steps.frequencyAt(target)));
    engine.stop(true);
}

// The player reaches play through a queued signal; a stop that comes before it was delivered must
// leave the output silent.
void TestAudioEngine::playOvertakenByAStopIsDropped()
{
    QVERIFY(QTest::qWaitFor([this] { return m_recorder.isSilentFor(300); }));
    const qint64 since = m_recorder.sampleCount();
    std::atomic<int> callbacks {0};
    MultimediaAudioPlayer engine;
    engine.regCallBack(&countEvent, &callbacks);
    engine.breakPlay(m_tones, 0);
    QMetaObject::invokeMethod(
            &engine, [&engine, this] { engine.play(m_tones, 0); }, Qt::QueuedConnection);
    engine.breakPlay(QString(), 0);
    engine.stop(true);
    QTest::qWait(1500);
    QVERIFY(!m_recorder.heardSince(since));
    QCOMPARE(engine.audioEvent().type, int(AudioEvents::None));
    QCOMPARE(callbacks.load(), 0);
}

QTEST_GUILESS_MAIN(TestAudioEngine)
#include "tst_audioengine.moc"
