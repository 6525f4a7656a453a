#pragma once

#include <QtGlobal>
#include <utility>

// A pair of message ids, first the lower and second the upper bound. Callers say whether they
// treat the bounds as inclusive; from() and to() read the same two values.
struct MessageIdRange : std::pair<qint64, qint64>
{
    MessageIdRange()
        : std::pair<qint64, qint64>(0, 0)
    { }
    MessageIdRange(qint64 from, qint64 to)
        : std::pair<qint64, qint64>(from, to)
    { }

    qint64 from() const { return first; }
    qint64 to() const { return second; }
    bool containsInclusive(qint64 id) const { return first <= id && id <= second; }
};
