#pragma once

// One typed list of a dialog's gallery, reached by QML through MediaResourceMgr.

#include "medialoader.h"
#include "mediamodel_export.h"
#include "searchkey.h"
#include "searchsinglequery.h"

#include <QObject>
#include <QRecursiveMutex>
#include <QSharedPointer>
#include <QWeakPointer>
#include <atomic>

class ResourceModel;

// One typed list of a dialog (or of several dialogs): the model QML binds to, filled page by page
// by the resource's own loader on its query's worker thread. Lives on the thread that created it;
// the model is changed only there. Owns its model (QObject child) and its query.
class MEDIAMODEL_EXPORT MediaResource : public QObject, public MediaLoader
{
    Q_OBJECT
    Q_PROPERTY(ResourceModel *resourceModel READ resourceModel CONSTANT)
    Q_PROPERTY(bool isQuerying READ isQuerying NOTIFY isQueryingChanged)

public:
    // dialogIds names the dialogs of a cross-dialog list; empty for the list of dialog alone.
    MediaResource(AccountBase *account, QSharedPointer<DialogBase> dialog,
                  const QList<QString> &dialogIds, int type, const QString &sourceDlgId,
                  QObject *parent = nullptr);
    // Emits startDestroy() first, then quits the query and waits for a running page, whose items
    // are destroyed instead of appended.
    ~MediaResource() override;

    ResourceModel *resourceModel() const { return m_model; }
    bool isQuerying() const;
    // Whether the list holds its oldest item: its last page found nothing older. Then no page
    // will bring what the host stores later, however old. This object's thread.
    bool hasLoadedOldest() const { return m_loadedOldest; }

    // Starts loading the next older page and returns at once; ignored while a page loads.
    Q_INVOKABLE void loadBefore(int loadCount);
    Q_INVOKABLE SearchKey searchFilter() const;
    Q_INVOKABLE bool isGlobalSearch() const { return MediaLoader::isGlobalSearch(); }

    // Reloads the first 100 items of the list.
    void refresh();
    // Ends the running page without touching the model; no further page starts until refresh().
    void quit();
    // Blocks until the running page has ended.
    void waitForFinish();

    ResultCount onLoadingData(const SearchKey &key, int count, int offset) override;
    void setIsQuerying(bool querying) override;

Q_SIGNALS:
    void isQueryingChanged();
    void startDestroy();

private:
    void handOver(const QList<ResourceItem *> &items, bool firstPage, bool lastPage);
    void setQuerying(bool querying);

    const QWeakPointer<DialogBase> m_dialog;
    ResourceModel *const m_model;         // child
    std::atomic<bool> m_querying {false}; // changed on this object's thread only
    bool m_loadedOldest = false;          // this object's thread, set as pages are taken
    mutable QRecursiveMutex m_mutex;      // guards the members below against the worker
    QList<QString> m_dialogIds;
    QString m_sourceDlgId;
    // Last, so that it quits and waits before anything a running page touches goes away.
    SearchSingleQuery m_query;
};
