#pragma once

#include "medialoader.h"
#include "mediamodel_export.h"
#include "searchsinglequery.h"

#include <QHash>
#include <QObject>
#include <QSharedPointer>
#include <QWeakPointer>
#include <atomic>

class QThreadPool;
class ResourceItem;

// The days of a dialog that have photos or videos, each with one item, for the gallery's calendar
// to mark them and jump to a chosen day. Lives on the thread that created it, where the days are
// written; the days load on a pool thread. Owns its items and its query.
class MEDIAMODEL_EXPORT MediaCalender : public QObject, public MediaLoader
{
    Q_OBJECT
    Q_PROPERTY(bool isQuerying READ isQuerying NOTIFY isQueryingChanged)

public:
    MediaCalender(AccountBase *account, QSharedPointer<DialogBase> dialog,
                  QObject *parent = nullptr);
    // Emits startDestroy() first, then ends the load; the items of a load still on its way are
    // deleted when they arrive.
    ~MediaCalender() override;

    // The local midnight that starts the day of msecs, in milliseconds since the epoch: the key
    // mediaByDate() takes.
    static qint64 dayKey(qint64 msecs);

    bool isQuerying() const;
    // The pool the days load on; the query's default pool without one.
    void setThreadPool(QThreadPool *pool);
    // Starts loading the days.
    void start();
    // Blocks until the running load has ended.
    void waitForFinish();
    // Ends the load and waits for it; its days are dropped.
    void shutdown();

    ResultCount onLoadingData(const SearchKey &key, int count, int offset) override;
    void setIsQuerying(bool querying) override;

public Q_SLOTS:
    // The item of the day that starts at date (a dayKey()); null for any other instant.
    ResourceItem *mediaByDate(qlonglong date) const;
    // The newest day that has an item (a dayKey()), where a calendar opens; 0 without any.
    qlonglong lastDate() const;

Q_SIGNALS:
    void isQueryingChanged();
    void startDestroy();

private:
    void takeDays(QList<ResourceItem *> &items);
    void setQuerying(bool querying);

    const QWeakPointer<DialogBase> m_dialog;
    QHash<qint64, ResourceItem *> m_days; // owned; written on this object's thread only
    std::atomic<bool> m_querying {false}; // changed on this object's thread only
    // Last, so that it quits and waits before anything a running load touches goes away.
    SearchSingleQuery m_query;
};
