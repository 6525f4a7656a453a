#pragma once

#include "itempoint.h"
#include "mediamodel_export.h"
#include "messageidrange.h"

#include <QAbstractListModel>
#include <QList>
#include <QRecursiveMutex>
#include <functional>
#include <memory>

class ResourceItem;
class SectionDates;
struct RowSpan;

// The flat list model of the galleries: ResourceItems sorted newest first (time, then dialog id,
// then media key), no two equal. Loaded pages are appended below, new items inserted at their
// place, and items deleted by message id, id range or everything up to a message.
//
// The model owns its items and deletes them on replacement, removal, duplicate insertion and
// reset. resetModel() hides every item at once while QML may still hold them; they stay alive,
// the model shows nothing and accepts nothing, until releaseData() deletes them.
//
// Every operation takes the model's recursive mutex, so that a page appended from a loader's
// hand-back and a single insert or delete do not interleave; model signals are emitted under it.
class MEDIAMODEL_EXPORT ResourceModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Roles {
        ItemModelRole = Qt::UserRole + 1, // "itemModel": the row's ResourceItem
        DateRole, // "date": the key of the row's period, see dateTimeToDate()
    };

    // type is the content type code of the list (2 photos and videos, 6 files, 1 links, ...).
    explicit ResourceModel(int type, QObject *parent = nullptr);
    // Deletes the items still held, shown or hidden.
    ~ResourceModel() override;

    int type() const;
    void setType(int type);

    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QHash<int, QByteArray> roleNames() const override;

    // The rows shown: 0 while the items are hidden by resetModel().
    virtual int count() const;
    // The items held in the list.
    virtual int resourceCount() const;

    // Removes the first run of rows of messageId in dialogId.
    virtual void deleteItem(const QString &dialogId, qint64 messageId);
    // Removes the item (messageId, 0); when it is not held, every sub-item of the message.
    virtual void deleteItem(qint64 messageId);
    // Removes the dialog's rows whose message id lies in the range, bounds included.
    virtual void batchDelete(const QString &dialogId, const MessageIdRange &range);
    // Removes the rows between the range's bounds. A range reaching past the oldest item removes
    // nothing: what lies beyond the loaded span is unknown, so the cut is left to the next load.
    virtual void batchDelete(const MessageIdRange &range);
    virtual void batchDelete(const QString &dialogId, const QList<qint64> &messageIds);
    virtual void batchDelete(const QList<qint64> &messageIds);
    // Clears the dialog's history up to and including messageId (all of it for messageId <= 0).
    virtual void clearResource(const QString &dialogId, qint64 messageId);
    // Clears the history up to and including messageId; messageId <= 0 or at least the newest id
    // empties the model, one older than every item changes nothing.
    virtual void clearResource(qint64 messageId);
    // Brings the model up to date after the local day changed; nothing to do for a flat list.
    virtual void updateModel();
    // Replaces the held item equal to item, or inserts item when none is. Returns whether it
    // replaced one.
    virtual bool update(ResourceItem *item);
    // Whether item falls inside or above the loaded span; older items are left to paging.
    virtual bool canInsert(ResourceItem *item);
    // Appends a loaded page, which must continue the order below the last row.
    virtual void append(const QList<ResourceItem *> &items);
    // Inserts item at its place; an item equal to a held one is deleted instead.
    virtual void insert(ResourceItem *item);
    // Shows items instead of the current list, which is deleted.
    virtual void resetItems(const QList<ResourceItem *> &items);
    // Calls fn for every row from start to end inclusive except skip, with null for rows that
    // hold no item.
    virtual void foreachItem(const ItemPoint &start, const ItemPoint &end, const ItemPoint &skip,
                             std::function<void(ResourceItem *)> fn);
    // Empties the model and deletes its items, hidden ones included.
    Q_INVOKABLE virtual void clearAll();
    // Hides every item at once; they stay alive until releaseData().
    Q_INVOKABLE virtual void resetModel();
    // Deletes the items hidden by resetModel() and shows what is added from then on.
    Q_INVOKABLE virtual void releaseData();

    // The item of a row; null for rows outside the list and while the items are hidden.
    Q_INVOKABLE ResourceItem *getResourceItem(int index) const;

Q_SIGNALS:
    void countChanged();

protected:
    // Inserts item at row, announced as that one row.
    void insert(int row, ResourceItem *item);
    // Removes and deletes rows first..last. The range's last row is announced on its own first,
    // then the rows above it in one more notice.
    void remove(int first, int last);
    // Removes and deletes one row.
    virtual void remove(int row);

    // The key of the period of a time: today's local midnight for a time of today, else the first
    // day of its month at local midnight, in milliseconds since the epoch.
    qint64 dateTimeToDate(qint64 msecs) const;

    QRecursiveMutex &mutex() const { return m_mutex; }
    // The shown rows, newest first; read under mutex().
    const QList<ResourceItem *> &items() const { return m_items; }
    bool isReleased() const { return m_released; }
    void setReleased(bool released) { m_released = released; }

private:
    void removeRuns(const QList<RowSpan> &runs);

    QHash<int, QByteArray> m_roleNames;
    QList<ResourceItem *> m_items;         // shown rows, newest first; owned
    QList<ResourceItem *> m_releasedItems; // hidden by resetModel(); owned
    mutable QRecursiveMutex m_mutex;       // guards the lists, the flag and the period cache
    int m_type = 0;
    bool m_released = false;                      // set by resetModel(), cleared by releaseData()
    std::unique_ptr<SectionDates> m_sectionDates; // period keys, cached between calls
};
