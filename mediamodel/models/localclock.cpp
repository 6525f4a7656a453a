#include "localclock_p.h"

#include <QDateTime>
#include <atomic>

namespace {

std::atomic<LocalClock::Now> s_now {nullptr};

} // namespace

qint64 LocalClock::currentMSecsSinceEpoch()
{
    const Now now = s_now.load(std::memory_order_acquire);
    return now ? now() : QDateTime::currentMSecsSinceEpoch();
}

void LocalClock::setNowForTests(Now now)
{
    s_now.store(now, std::memory_order_release);
}
