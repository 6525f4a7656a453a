#include "mediacalender.h"

#include "contenttype.h"
#include "dialogbase.h"
#include "ownerthread_p.h"
#include "pagehandover_p.h"
#include "resourceitem.h"
#include "searchkey.h"

#include <QDateTime>
#include <QJSEngine>
#include <algorithm>

MediaCalender::MediaCalender(AccountBase *account, QSharedPointer<DialogBase> dialog,
                             QObject *parent)
    : QObject(parent)
    , MediaLoader(account, nullptr)
    , m_dialog(dialog)
    , m_query(this)
{
    setQuery(&m_query);
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

MediaCalender::~MediaCalender()
{
    Q_EMIT startDestroy();
    shutdown();
    qDeleteAll(m_days);
}

qint64 MediaCalender::dayKey(qint64 msecs)
{
    return QDateTime::fromMSecsSinceEpoch(msecs).date().startOfDay().toMSecsSinceEpoch();
}

bool MediaCalender::isQuerying() const
{
    return m_querying.load();
}

void MediaCalender::setThreadPool(QThreadPool *pool)
{
    m_query.setThreadPool(pool);
}

void MediaCalender::start()
{
    m_query.search(SearchKey(), 1);
}

void MediaCalender::waitForFinish()
{
    m_query.waitForFinish();
}

void MediaCalender::shutdown()
{
    m_query.quit();
    waitForFinish();
}

ResourceItem *MediaCalender::mediaByDate(qlonglong date) const
{
    return m_days.value(date);
}

qlonglong MediaCalender::lastDate() const
{
    const QList<qint64> days = m_days.keys();
    return days.isEmpty() ? 0 : *std::max_element(days.cbegin(), days.cend());
}

ResultCount MediaCalender::onLoadingData(const SearchKey &, int, int)
{
    const QSharedPointer<DialogBase> dialog = m_dialog.toStrongRef();
    if (!dialog) {
        return {};
    }
    QList<ResourceItem *> items;
    loadFirstByEveryDay(items, dialog, CONTENT_PHOTO);
    handOverPage(this, items, [this](QList<ResourceItem *> &page) {
        if (!m_query.isQuit()) {
            takeDays(page);
        }
    });
    return {};
}

// A later item of a day replaces an earlier one; the one replaced is not shown anywhere.
void MediaCalender::takeDays(QList<ResourceItem *> &items)
{
    for (ResourceItem *item : std::exchange(items, {})) {
        ResourceItem *&day = m_days[dayKey(item->dateTime())];
        delete day;
        day = item;
    }
}

void MediaCalender::setIsQuerying(bool querying)
{
    runOnOwnerThread(this, [this, querying] { setQuerying(querying); });
}

// Changed on this object's thread only, so that the notice reaches QML where it binds.
void MediaCalender::setQuerying(bool querying)
{
    if (m_querying.exchange(querying) != querying) {
        Q_EMIT isQueryingChanged();
    }
}
