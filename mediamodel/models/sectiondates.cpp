#include "sectiondates_p.h"

#include "localclock_p.h"

#include <QDate>
#include <QDateTime>

namespace {

qint64 midnightOf(const QDate &date)
{
    return date.startOfDay().toMSecsSinceEpoch();
}

QDate localDateOf(qint64 msecs)
{
    return QDateTime::fromMSecsSinceEpoch(msecs).date();
}

} // namespace

qint64 SectionDates::dateOf(qint64 msecs)
{
    const qint64 todayStart = today();
    if (m_today.contains(msecs)) {
        return todayStart;
    }
    if (!m_month.contains(msecs)) {
        const QDate date = localDateOf(msecs);
        const QDate firstOfMonth(date.year(), date.month(), 1);
        m_month = {midnightOf(firstOfMonth), midnightOf(firstOfMonth.addMonths(1))};
    }
    return m_month.start;
}

qint64 SectionDates::today()
{
    const qint64 now = LocalClock::currentMSecsSinceEpoch();
    if (!m_today.contains(now)) {
        const QDate date = localDateOf(now);
        m_today = {midnightOf(date), midnightOf(date.addDays(1))};
    }
    return m_today.start;
}
