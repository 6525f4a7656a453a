#include "networkusagemodel.h"

#include <QCoreApplication>

namespace {
constexpr int kSampleIntervalMs = 1000;
}

NetworkUsageModel *NetworkUsageModel::instance()
{
    // Never deleted: downloads on other threads may report until the very end of the process.
    static NetworkUsageModel *const model = new NetworkUsageModel;
    return model;
}

NetworkUsageModel::NetworkUsageModel()
    : m_timer(this)
{
    m_timer.setInterval(kSampleIntervalMs);
    // A coarse timer may fire early, which would inflate the speed of a sample.
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &NetworkUsageModel::sample);
    if (QCoreApplication *app = QCoreApplication::instance()) {
        moveToThread(app->thread());
    }
}

qint64 NetworkUsageModel::downloadSpeed() const
{
    return m_downloadSpeed.load();
}

void NetworkUsageModel::addReceivedBytes(qint64 bytes)
{
    if (bytes <= 0) {
        return;
    }
    m_pendingBytes.fetch_add(bytes);
    if (!m_sampling.exchange(true)) {
        QMetaObject::invokeMethod(
                this, [this] { startSampling(); }, Qt::QueuedConnection);
    }
}

void NetworkUsageModel::startSampling()
{
    m_window.start();
    m_timer.start();
}

void NetworkUsageModel::stopSampling()
{
    m_timer.stop();
    m_sampling.store(false);
    // Bytes reported between the last sample and clearing the flag found the flag still set and
    // did not restart the timer: restart it for them.
    if (m_pendingBytes.load() > 0 && !m_sampling.exchange(true)) {
        startSampling();
    }
}

void NetworkUsageModel::sample()
{
    const qint64 bytes = m_pendingBytes.exchange(0);
    const qint64 elapsedMs = qMax<qint64>(1, m_window.restart());
    setDownloadSpeed(bytes * 1000 / elapsedMs);
    if (bytes == 0) {
        stopSampling();
    }
}

void NetworkUsageModel::setDownloadSpeed(qint64 speed)
{
    if (m_downloadSpeed.load() == speed) {
        return;
    }
    m_downloadSpeed.store(speed);
    Q_EMIT downloadSpeedChanged(speed);
}
