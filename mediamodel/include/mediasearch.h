#pragma once

#include "medialoader.h"
#include "mediamodel_export.h"
#include "searchkey.h"
#include "searchsinglequery.h"

#include <QObject>
#include <QRecursiveMutex>
#include <QSharedPointer>
#include <atomic>

struct MessageIdRange;
class ResourceModel;

// Searches the media of one dialog, or of a list of dialogs, by keyword, sender and time span,
// and shows the hits in a list model that pages backwards. Photos and videos go to the media
// model (in sections, flat for a global search), every other type to the resource model.
//
// Lives on the thread that created it, where the models change; pages load on the query's worker
// thread. Owns both models (QObject children) and its query.
class MEDIAMODEL_EXPORT MediaSearch : public QObject, public MediaLoader
{
    Q_OBJECT
    Q_PROPERTY(bool isQuerying READ isQuerying NOTIFY isQueryingChanged)

public:
    // dialogIds are the dialogs of a global search.
    MediaSearch(AccountBase *account, bool globalSearch, const QList<QString> &dialogIds,
                QObject *parent = nullptr);
    // Quits the search and waits for a running page, whose items are destroyed.
    ~MediaSearch() override;

    bool isQuerying() const;

    // Searches for keyword; userId > 0 limits the hits to that sender. Nothing filters: nothing
    // starts.
    Q_INVOKABLE void searchMediaInfo(const QString &dialogId, int type, const QString &keyword,
                                     qint64 userId = 0, qint64 startTime = 0, qint64 endTime = 0,
                                     const QString &sourceDlgId = QString());
    // Starts a search unless the same one (key, type and dialog) is already under way. A search
    // made for dialogs as a whole always spans them; any other spans all dialogs only when
    // bGlobalSearch is set.
    Q_INVOKABLE void searchMediaInfo(const QString &dialogId, int type, const SearchKey &key,
                                     bool bGlobalSearch);
    // The next older page of the running search.
    Q_INVOKABLE void loadBefore(int loadCount = 50);
    Q_INVOKABLE void quitSearch();
    void waitForFinish();
    Q_INVOKABLE SearchKey searchFilter() const;
    Q_INVOKABLE bool isGlobalSearch() const { return MediaLoader::isGlobalSearch(); }
    // The media model for type 2; otherwise the resource model, retyped to type.
    Q_INVOKABLE ResourceModel *searchModel(int type);
    // The model the running search fills.
    ResourceModel *currentModel() const;

    ResultCount onLoadingData(const SearchKey &key, int count, int offset) override;
    void setIsQuerying(bool querying) override;

    // Deletions of messages, forwarded to the current model.
    void batchRemove(const MessageIdRange &range);
    void batchRemove(const QList<qint64> &messageIds);
    void batchRemove(const QString &dialogId, const MessageIdRange &range);
    void batchRemove(const QString &dialogId, const QList<qint64> &messageIds);
    void removeOne(qint64 messageId);
    void removeOne(const QString &dialogId, qint64 messageId);
    void clearResource(const QString &dialogId);
    void clearAll();

Q_SIGNALS:
    void isQueryingChanged();

private:
    qint64 startCursor(const QSharedPointer<DialogBase> &dialog, const SearchKey &key) const;
    void setQuerying(bool querying);

    AccountBase *const m_account;
    ResourceModel *const m_resourceModel; // child
    ResourceModel *const m_mediaModel;    // child
    std::atomic<bool> m_querying {false}; // changed on this object's thread only
    mutable QRecursiveMutex m_mutex;      // guards the members below against the worker
    ResourceModel *m_currentModel = nullptr;
    QSharedPointer<DialogBase> m_dialog;
    const QList<QString> m_dialogIds;
    const bool m_alwaysGlobal; // made as a search across dialogs
    int m_type = 0;
    bool m_remote = false;
    // The next page is the first of a search, whatever the query's offset: a page that showed
    // nothing leaves the offset at 0, and the page after it must not start over.
    bool m_firstPagePending = false;
    // Last, so that it quits and waits before anything a running page touches goes away.
    SearchSingleQuery m_query;
};
