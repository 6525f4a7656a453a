// Time from MediaPlayer::playMusic to the first audible sample at the output, for the ways a
// track starts:
//
//   Local:            the file is complete on disk; the engine opens it.
//   Stream:           the file is not downloaded; the engine reads it through the stream server
//                     while the file library downloads it.
//   SeekTo80Percent:  the same, with a seek to 80 % of the track asked for right after the start;
//                     the sound must be the tone at the target.
//
// Each streamed case runs twice: with the source on nginx on the loopback address at full speed,
// and through nginx's limit_rate of 384 KiB/s. Every iteration of a streamed case plays a message
// of its own, so its file has not been downloaded at all when play is called.
//
// Data: a 20 s MP4 of 6 MB (noise video, AAC sound), its index at the end of the file; its sound
// is ten 2 s tones 100 Hz apart, so the recording tells which part played. The output is a
// PulseAudio server of the benchmark's own with a null sink, recorded with parec (20 ms latency)
// into a file that the benchmark polls every millisecond: the recorder's latency is in every
// figure alike. Times are wall clock, in milliseconds, the median of the iterations.

#include "accountbase.h"
#include "audiotestsupport.h"
#include "contenttype.h"
#include "filedata.h"
#include "filemanager.h"
#include "mediaplayer.h"
#include "messagebase.h"
#include "nginxfixture.h"
#include "soundserverfixture.h"
#include "streamserver.h"
#include "tonemedia.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QMap>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>

using namespace AudioTest;

namespace {

constexpr qint64 kSlowBytesPerSecond = 384 * 1024;
constexpr int kIterations = 5;
constexpr int kFirstSoundTimeoutMs = 30000;
constexpr int kListenMs = 250;
constexpr double kToleranceHz = 25;
constexpr qint64 kLocalId = 1;

enum Source { Loopback = 0, Throttled = 1 };

class Setup
{
public:
    bool start(QString *error)
    {
        if (!m_sound.start()) {
            *error = m_sound.errorString();
            return false;
        }
        if (!m_recorder.start()) {
            *error = m_recorder.errorString();
            return false;
        }
        const QString video = m_media.filePath(QStringLiteral("steps.mp4"));
        if (!ToneMedia::write(video, steps, ToneMedia::LargeVideoMp4, error)) {
            return false;
        }
        m_videoSize = QFileInfo(video).size();
        m_nginx = std::make_unique<NginxFixture>(m_media.path(), kSlowBytesPerSecond);
        if (!m_nginx->start()) {
            *error = m_nginx->errorString();
            return false;
        }
        m_account = std::make_unique<AudioAccount>();
        if (!m_account->isValid()
            || !m_account->addMessage(CONTENT_MUSIC, kLocalId, file(Loopback), video)) {
            *error = QStringLiteral("cannot make the account");
            return false;
        }
        return true;
    }

    void stop()
    {
        MediaPlayer::instance()->stop(true);
        network::StreamServer::instance()->close();
        m_account.reset();
        m_nginx.reset();
    }

    // A message whose file nobody has downloaded yet.
    qint64 addStreamedMessage(Source source)
    {
        const qint64 id = ++m_lastId;
        return m_account->addMessage(CONTENT_MUSIC, id, file(source)) ? id : 0;
    }

    // Plays the message, seeking to seekMs right after the start when it is positive; the time to
    // the first sound, and the tone heard a moment later.
    bool timeFirstSound(qint64 id, qint64 seekMs, double *ms, double *heardHz)
    {
        waitForSilence();
        const qint64 since = m_recorder.sampleCount();
        QElapsedTimer clock;
        clock.start();
        MediaPlayer *player = MediaPlayer::instance();
        player->playMusic(UserId, m_account->message(id).data());
        if (seekMs > 0) {
            player->seekPos(seekMs);
        }
        while (!m_recorder.heardSince(since)) {
            if (clock.hasExpired(kFirstSoundTimeoutMs)) {
                return false;
            }
            spin(1);
        }
        *ms = clock.nsecsElapsed() / 1e6;
        spin(kListenMs + 100);
        *heardHz = m_recorder.recentFrequency(kListenMs);
        player->stop(true);
        return true;
    }

    const ToneSteps steps {10, 2000, 300, 100};

private:
    AudioFile file(Source source) const
    {
        const QString name = QStringLiteral("steps.mp4");
        return {QStringLiteral("mp4"), m_videoSize, steps.durationMs(),
                source == Throttled ? m_nginx->slowUrl(name) : m_nginx->url(name)};
    }

    static void spin(int ms)
    {
        QElapsedTimer clock;
        clock.start();
        while (!clock.hasExpired(ms)) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
            QThread::usleep(500);
        }
    }

    void waitForSilence()
    {
        while (!m_recorder.isSilentFor(300)) {
            spin(20);
        }
    }

    SoundServerFixture m_sound;
    SoundRecorder m_recorder;
    QTemporaryDir m_media;
    std::unique_ptr<NginxFixture> m_nginx;
    std::unique_ptr<AudioAccount> m_account;
    qint64 m_videoSize = 0;
    qint64 m_lastId = kLocalId;
};

Setup *s_setup = nullptr;
QMap<QString, QList<double>> s_figures;

void runCase(benchmark::State &state, const QString &name, Source source, bool bStreamed,
             double seekShare)
{
    const qint64 seekMs = qint64(s_setup->steps.durationMs() * seekShare);
    const double expectedHz = s_setup->steps.frequencyAt(seekMs);
    int wrongTone = 0;
    for (auto _ : state) {
        const qint64 id = bStreamed ? s_setup->addStreamedMessage(source) : kLocalId;
        double ms = 0;
        double heardHz = 0;
        if (id == 0 || !s_setup->timeFirstSound(id, seekMs, &ms, &heardHz)) {
            state.SkipWithError("no sound came");
            return;
        }
        wrongTone += qAbs(heardHz - expectedHz) >= kToleranceHz;
        s_figures[name].append(ms);
        state.SetIterationTime(ms / 1000);
    }
    state.counters["wrong_tone"] = wrongTone;
}

void BM_Local(benchmark::State &state)
{
    runCase(state, QStringLiteral("local"), Loopback, false, 0);
}

// A streamed case; the figures of the throttled source go under the name with " slow".
void runStreamed(benchmark::State &state, const QString &name, double seekShare)
{
    const Source source = Source(state.range(0));
    runCase(state, source == Throttled ? name + QStringLiteral(" slow") : name, source, true,
            seekShare);
}

void BM_Stream(benchmark::State &state)
{
    runStreamed(state, QStringLiteral("stream"), 0);
}

void BM_SeekTo80Percent(benchmark::State &state)
{
    runStreamed(state, QStringLiteral("seek"), 0.8);
}

void timedByHand(benchmark::internal::Benchmark *run)
{
    run->Iterations(kIterations)->UseManualTime()->Unit(benchmark::kMillisecond);
}

void fromEitherSource(benchmark::internal::Benchmark *run)
{
    timedByHand(run->ArgName("throttled")->Arg(Loopback)->Arg(Throttled));
}

BENCHMARK(BM_Local)->Apply(timedByHand);
BENCHMARK(BM_Stream)->Apply(fromEitherSource);
BENCHMARK(BM_SeekTo80Percent)->Apply(fromEitherSource);

double median(QList<double> values)
{
    if (values.isEmpty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

void printSummary()
{
    QTextStream out(stdout);
    const double local = median(s_figures.value(QStringLiteral("local")));
    out << "\nFirst audible sample, median ms (goals: stream at most 2x local, seek under 500):\n";
    for (const QString &name :
         {QStringLiteral("local"), QStringLiteral("stream"), QStringLiteral("seek"),
          QStringLiteral("stream slow"), QStringLiteral("seek slow")}) {
        const double figure = median(s_figures.value(name));
        out << QStringLiteral("  %1 %2 ms  (%3x local)\n")
                        .arg(name, -12)
                        .arg(figure, 7, 'f', 1)
                        .arg(local > 0 ? figure / local : 0, 0, 'f', 2);
    }
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    Setup setup;
    QString error;
    if (!setup.start(&error)) {
        QTextStream(stderr) << "bench_playback: " << error << '\n';
        setup.stop();
        return 1;
    }
    s_setup = &setup;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    printSummary();
    setup.stop();
    return 0;
}
