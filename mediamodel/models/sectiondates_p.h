#pragma once

// Not API: the period keys of the list models.

#include <QtGlobal>

// Maps a time to the key of its period: today's local midnight for a time of today, else the
// first day of its month at local midnight. Local-time conversions are slow next to the rest of
// a page append, and a page runs through few periods, so today's span and the last month's span
// are kept; today's is renewed when the clock leaves it. Not thread-safe: the owning model's lock
// guards it.
class SectionDates
{
public:
    qint64 dateOf(qint64 msecs);
    // Today's local midnight.
    qint64 today();

private:
    struct Span
    {
        bool contains(qint64 msecs) const { return start <= msecs && msecs < end; }
        qint64 start = 0;
        qint64 end = 0; // exclusive; start == end is the empty span
    };

    Span m_today;
    Span m_month;
};
