#pragma once

#include "mediamodel_export.h"

#include <QAbstractListModel>
#include <QList>
#include <QRecursiveMutex>

class MediaModel;
class ResourceItem;
struct RowSpan;

// One dated section of a MediaModel: the items of one period, newest first, as a list model for
// the section's grid. date is the period's key (today's local midnight, or the first day of a
// month at local midnight). The section owns its items; only its MediaModel changes it, under the
// MediaModel's lock, while the section's own lock keeps QML's reads consistent.
class MEDIAMODEL_EXPORT MediaItemModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(qlonglong date READ date CONSTANT)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Roles {
        ItemModelRole = Qt::UserRole + 1, // "itemModel": the row's ResourceItem
    };

    explicit MediaItemModel(qint64 date, QObject *parent = nullptr);
    // Deletes the items, shown and set aside.
    ~MediaItemModel() override;

    qint64 date() const { return m_date; }
    int count() const;
    // The item of a row; null for rows outside the section.
    Q_INVOKABLE ResourceItem *getResourceItem(int index) const;

    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void countChanged();

private:
    friend class MediaModel;

    // Read by the MediaModel under its own lock, which every change of the section also holds.
    const QList<ResourceItem *> &items() const { return m_items; }
    bool isReleased() const;

    // Appends a loaded page below; an item not strictly older than the last one is deleted.
    void appendItems(const QList<ResourceItem *> &items);
    // Puts items (newer ones first) at their places: in front when they are all newer than the
    // section, else one by one.
    void mergeItems(const QList<ResourceItem *> &items);
    // Inserts item at its place; an equal item held means item is deleted instead.
    void insertItem(ResourceItem *item);
    // Replaces the held item equal to item, or inserts it. Returns whether it replaced one.
    bool updateItem(ResourceItem *item);
    // Removes and deletes the rows.
    void removeSpan(const RowSpan &rows);
    // Hands every item over to the caller, announced as removed rows.
    QList<ResourceItem *> takeItems();
    // Sets every item aside in a reset of the section; they are deleted with the section.
    void release();

    void insertAt(int row, ResourceItem *item);

    QHash<int, QByteArray> m_roleNames;
    QList<ResourceItem *> m_items;         // newest first; owned
    QList<ResourceItem *> m_releasedItems; // set aside by release(); owned
    const qint64 m_date;
    mutable QRecursiveMutex m_mutex; // guards both lists
};
