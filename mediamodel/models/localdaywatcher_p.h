#pragma once

// Not API: notices of a new local day for the sectioned model.

#include <QDate>
#include <QObject>
#include <QTimer>

// Emits dayChanged() soon after the local date changes. It wakes at the next local midnight, and
// at least once a minute, because timers do not run while the machine sleeps and the wall clock
// or the time zone can jump. Lives on its owner's thread and needs its event loop.
class LocalDayWatcher : public QObject
{
    Q_OBJECT

public:
    explicit LocalDayWatcher(QObject *parent = nullptr);

Q_SIGNALS:
    void dayChanged();

private:
    void check();
    void arm();

    QTimer m_timer;
    QDate m_today;
};
