#include "localdaywatcher_p.h"

#include "localclock_p.h"

#include <QDateTime>
#include <algorithm>

namespace {

constexpr qint64 kLongestSleepMSecs = 60 * 1000;

QDate localToday()
{
    return QDateTime::fromMSecsSinceEpoch(LocalClock::currentMSecsSinceEpoch()).date();
}

} // namespace

// The timer is a child as well as a member, so that it follows the watcher to another thread.
LocalDayWatcher::LocalDayWatcher(QObject *parent)
    : QObject(parent)
    , m_timer(this)
    , m_today(localToday())
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &LocalDayWatcher::check);
    arm();
}

void LocalDayWatcher::check()
{
    const QDate today = localToday();
    if (today != m_today) {
        m_today = today;
        Q_EMIT dayChanged();
    }
    arm();
}

void LocalDayWatcher::arm()
{
    const qint64 untilMidnight = m_today.addDays(1).startOfDay().toMSecsSinceEpoch()
            - LocalClock::currentMSecsSinceEpoch();
    m_timer.start(int(std::clamp<qint64>(untilMidnight, 1, kLongestSleepMSecs)));
}
