#pragma once

#include "mediamodel_export.h"

#include <QAbstractListModel>
#include <QHash>
#include <QList>

class MediaSizeItem;

// The sizes of cached data by kind (MediaStorageModel::MediaDataType), with their total and the
// total of the checked kinds. Rows are the kinds with bytes, largest first: a kind appears when
// its size rises above 0 and leaves as soon as it falls back to 0, so an emptied category
// disappears from the screen. Items are kept (and stay valid for QML) for the model's lifetime.
//
// Shares: `percent` (of totalSize) is recomputed for every item with every size change;
// `selectPercent` (of selectTotalSize) with every size or check change, for checked items only:
// an unchecked item keeps its last share on purpose. A share with bytes is never below 0.01.
//
// UI thread only; the storage model hands worker results over before they reach here.
class MEDIAMODEL_EXPORT MediaSizeBaseModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(qlonglong totalSize READ totalSize NOTIFY totalSizeChanged)
    Q_PROPERTY(qlonglong selectTotalSize READ selectTotalSize NOTIFY selectTotalSizeChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    Q_PROPERTY(bool atQuery READ atQuery NOTIFY atQueryChanged)

public:
    enum Roles {
        ItemRole = Qt::UserRole + 1,
        TypeRole,
        SizeRole,
        PercentRole,
        SelectPercentRole,
        CheckedRole,
        AtQueryRole,
    };
    Q_ENUM(Roles)

    explicit MediaSizeBaseModel(QObject *parent = nullptr);
    ~MediaSizeBaseModel() override;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    qlonglong totalSize() const { return m_totalSize; }
    qlonglong selectTotalSize() const { return m_selectTotalSize; }
    int count() const { return int(m_shown.size()); }
    bool atQuery() const { return m_atQuery; }
    // Also tells every item, since an item's size is final only when its model's is.
    void setAtQuery(bool bQuery);

    // Adds delta bytes (negative: removes) to the kind; neither the kind nor the total goes
    // below 0.
    void addSize(int type, qint64 delta);
    // Sets the kind's bytes, e.g. to 0 once its files are gone.
    void setSize(int type, qint64 size);
    qint64 sizeOf(int type) const;
    // The kind's item, or null when the kind never had one.
    MediaSizeItem *item(int type) const;
    // The shown items, largest first.
    QList<MediaSizeItem *> shownItems() const { return m_shown; }
    // Every kind back to 0 bytes and out of the list; items and their check marks are kept.
    void reset();

public Q_SLOTS:
    // Toggles whether the item counts in selectTotalSize.
    void checkedItem(MediaSizeItem *item);
    // Checks every item.
    void resetChecked();

Q_SIGNALS:
    void totalSizeChanged(qlonglong totalSize, qlonglong oldSize);
    void selectTotalSizeChanged();
    void countChanged();
    void atQueryChanged(bool bQuery);

private:
    MediaSizeItem *findOrCreate(int type);
    void setTotalSize(qint64 size);
    void setSelectTotalSize(qint64 size);
    void placeRow(MediaSizeItem *item);
    int insertionRow(const MediaSizeItem *item) const;
    void showRow(MediaSizeItem *item);
    void hideRow(MediaSizeItem *item);
    void updatePercents();
    void updateSelectPercents();
    void notifyRow(MediaSizeItem *item, const QList<int> &roles);

    QHash<int, MediaSizeItem *> m_items; // children, every kind ever sized
    QList<MediaSizeItem *> m_shown;
    qint64 m_totalSize = 0;
    qint64 m_selectTotalSize = 0;
    bool m_atQuery = false;
};
