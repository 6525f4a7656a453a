#include "soundserverfixture.h"

#include "childprocess.h"

#include <QDeadlineTimer>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QtEndian>
#include <cmath>

namespace {
constexpr int kStartTimeoutMs = 15000;
constexpr int kStopTimeoutMs = 5000;
constexpr int kProbeIntervalMs = 100;
constexpr int kSettleMs = 300;
const char kSinkName[] = "mediamodel_test_out";
// Samples quieter than this count as silence (full scale is 32767).
constexpr int kSilence = 300;
} // namespace

SoundServerFixture::SoundServerFixture()
{
    m_process.setProcessChannelMode(QProcess::MergedChannels);
}

SoundServerFixture::~SoundServerFixture()
{
    stopChildProcess(m_process, kStopTimeoutMs);
}

QString SoundServerFixture::serverAddress() const
{
    return QStringLiteral("unix:") + m_dir.filePath(QStringLiteral("native"));
}

QString SoundServerFixture::monitorSource()
{
    return QLatin1String(kSinkName) + QStringLiteral(".monitor");
}

bool SoundServerFixture::start()
{
    const QString pulseaudio = QStandardPaths::findExecutable(QStringLiteral("pulseaudio"));
    if (pulseaudio.isEmpty()) {
        m_error = QStringLiteral("pulseaudio is not installed (scripts/setup-deps.sh installs it)");
        return false;
    }
    if (!m_dir.isValid()) {
        m_error = QStringLiteral("cannot create a temporary folder: ") + m_dir.errorString();
        return false;
    }
    // Everything the server keeps goes into the private folder, whoever runs the test.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), m_dir.path());
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_dir.path());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.path());
    environment.insert(QStringLiteral("PULSE_RUNTIME_PATH"), m_dir.filePath(QStringLiteral("run")));
    environment.insert(QStringLiteral("PULSE_STATE_PATH"), m_dir.filePath(QStringLiteral("state")));
    environment.remove(QStringLiteral("PULSE_SERVER"));
    m_process.setProcessEnvironment(environment);
    m_process.start(pulseaudio,
                    {QStringLiteral("--daemonize=no"), QStringLiteral("-n"),
                     QStringLiteral("--exit-idle-time=-1"), QStringLiteral("--disallow-exit"),
                     QStringLiteral("--use-pid-file=no"), QStringLiteral("--log-target=stderr"),
                     QStringLiteral("--load=module-null-sink sink_name=%1 rate=%2")
                             .arg(QLatin1String(kSinkName))
                             .arg(SoundRecorder::SampleRate),
                     QStringLiteral("--load=module-native-protocol-unix auth-anonymous=1 socket=")
                             + m_dir.filePath(QStringLiteral("native"))});
    if (!m_process.waitForStarted()) {
        m_error = QStringLiteral("cannot run pulseaudio: ") + m_process.errorString();
        return false;
    }
    qputenv("PULSE_SERVER", serverAddress().toLocal8Bit());
    const QDeadlineTimer deadline(kStartTimeoutMs);
    while (!deadline.hasExpired()) {
        if (m_process.state() == QProcess::NotRunning) {
            m_error = QStringLiteral("pulseaudio exited: ")
                    + QString::fromLocal8Bit(m_process.readAll());
            return false;
        }
        if (answers()) {
            return true;
        }
        m_process.waitForFinished(kProbeIntervalMs);
    }
    m_error = QStringLiteral("pulseaudio does not answer: ")
            + QString::fromLocal8Bit(m_process.readAll());
    return false;
}

bool SoundServerFixture::answers()
{
    QProcess pactl;
    pactl.start(QStringLiteral("pactl"), {QStringLiteral("info")});
    return pactl.waitForFinished(kStartTimeoutMs) && pactl.exitStatus() == QProcess::NormalExit
            && pactl.exitCode() == 0;
}

SoundRecorder::~SoundRecorder()
{
    stopChildProcess(m_process, kStopTimeoutMs);
}

bool SoundRecorder::start()
{
    const QString path = m_dir.filePath(QStringLiteral("monitor.raw"));
    m_recording.setFileName(path);
    if (!m_dir.isValid() || !m_recording.open(QIODevice::ReadWrite)) {
        m_error = QStringLiteral("cannot create the recording in ") + m_dir.path();
        return false;
    }
    m_process.setStandardOutputFile(path);
    m_process.start(QStringLiteral("parec"),
                    {QStringLiteral("--device=") + SoundServerFixture::monitorSource(),
                     QStringLiteral("--raw"), QStringLiteral("--format=s16le"),
                     QStringLiteral("--rate=%1").arg(SampleRate), QStringLiteral("--channels=1"),
                     QStringLiteral("--latency-msec=20")});
    if (!m_process.waitForStarted()) {
        m_error = QStringLiteral("cannot run parec: ") + m_process.errorString();
        return false;
    }
    // A new record stream of the monitor sends nothing for about a second, then sends steadily;
    // the recording counts from then on.
    const QDeadlineTimer deadline(kStartTimeoutMs);
    while (sampleCount() < kSettleMs * SampleRate / 1000) {
        if (deadline.hasExpired() || m_process.state() == QProcess::NotRunning) {
            m_error = QStringLiteral("parec records nothing: ")
                    + QString::fromLocal8Bit(m_process.readAllStandardError());
            return false;
        }
        m_process.waitForFinished(kProbeIntervalMs);
    }
    return true;
}

void SoundRecorder::readAvailable()
{
    m_pcm += m_recording.readAll();
}

qint64 SoundRecorder::sampleCount()
{
    readAvailable();
    return m_pcm.size() / 2;
}

double SoundRecorder::recentFrequency(int msecs)
{
    const qint64 count = qint64(SampleRate) * msecs / 1000;
    const qint64 end = sampleCount();
    if (end < count) {
        return 0;
    }
    const auto *samples = reinterpret_cast<const qint16 *>(m_pcm.constData());
    int crossings = 0;
    int loud = 0;
    for (qint64 i = end - count + 1; i < end; ++i) {
        const qint16 previous = qFromLittleEndian(samples[i - 1]);
        const qint16 current = qFromLittleEndian(samples[i]);
        crossings += (previous < 0) != (current < 0);
        loud += std::abs(current) > kSilence;
    }
    // A tone is loud most of the time; a stretch with gaps is not one tone.
    if (loud < count / 2) {
        return 0;
    }
    return crossings * 1000.0 / (2.0 * msecs);
}

bool SoundRecorder::heardSince(qint64 since)
{
    const qint64 end = sampleCount();
    const auto *samples = reinterpret_cast<const qint16 *>(m_pcm.constData());
    for (qint64 i = qMax<qint64>(0, since); i < end; ++i) {
        if (std::abs(qFromLittleEndian(samples[i])) > kSilence) {
            return true;
        }
    }
    return false;
}

bool SoundRecorder::isSilentFor(int msecs)
{
    const qint64 count = qint64(SampleRate) * msecs / 1000;
    const qint64 end = sampleCount();
    return end >= count && !heardSince(end - count);
}
