#pragma once

// Not API: the wall clock by which the list models tell today from other days.

#include "mediamodel_export.h"

#include <QtGlobal>

class MEDIAMODEL_TESTS_EXPORT LocalClock
{
public:
    using Now = qint64 (*)();

    // Milliseconds since the epoch; any thread.
    static qint64 currentMSecsSinceEpoch();
    // Replaces the system clock, so that tests can cross midnight when they choose; null restores
    // it. Set it before models read it.
    static void setNowForTests(Now now);
};
