#pragma once

#include "mediaitemmodel.h"
#include "resourcemodel.h"

class LocalDayWatcher;

// The photo-and-video list of a dialog in dated sections: the items of the current local day in
// one section, every other item in the section of its month. Rows are sections (MediaItemModel),
// newest first, strictly descending by date; each section holds its items newest first.
//
// When the local day changes the model calls updateModel(), which folds the section of the day
// that has just ended into its month.
class MEDIAMODEL_EXPORT MediaModel : public ResourceModel
{
    Q_OBJECT

public:
    explicit MediaModel(int type, QObject *parent = nullptr);
    // Deletes the sections and their items.
    ~MediaModel() override;

    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    // The number of sections.
    int count() const override;
    // The number of items in all sections.
    int resourceCount() const override;

    using ResourceModel::batchDelete;
    void deleteItem(const QString &dialogId, qint64 messageId) override;
    void deleteItem(qint64 messageId) override;
    void batchDelete(const QString &dialogId, const MessageIdRange &range) override;
    void batchDelete(const MessageIdRange &range) override;
    void clearResource(const QString &dialogId, qint64 messageId) override;
    void clearResource(qint64 messageId) override;
    // Folds every section of a day that has ended into its month: into the section below when
    // that is of the same month, else into a new section of the month in its place. Items never
    // move into a section of another month. With a single section nothing changes.
    void updateModel() override;
    bool update(ResourceItem *item) override;
    bool canInsert(ResourceItem *item) override;
    void append(const QList<ResourceItem *> &items) override;
    void insert(ResourceItem *item) override;
    void resetItems(const QList<ResourceItem *> &items) override;
    // Points are (section, row); points that name no item give null.
    void foreachItem(const ItemPoint &start, const ItemPoint &end, const ItemPoint &skip,
                     std::function<void(ResourceItem *)> fn) override;
    void clearAll() override;
    void resetModel() override;
    void releaseData() override;

private:
    bool findWithDate(qint64 date, int &pos) const;
    void appendByDate(const QList<ResourceItem *> &items, qint64 date);

    // Runs of consecutive items of the same period, with the period's key.
    QList<std::pair<qint64, QList<ResourceItem *>>>
    runsByDate(const QList<ResourceItem *> &items) const;
    MediaItemModel *makeSection(qint64 date, const QList<ResourceItem *> &items) const;
    void insertSection(int row, qint64 date, const QList<ResourceItem *> &items);
    void removeSection(int row);
    void removeEmptySections();
    // Sets every section aside in a reset; they are deleted by releaseData().
    void releaseSections();
    bool isEndedDay(const MediaItemModel *section) const;
    void foldIntoMonth(int row);

    // The items of all sections in a row, and removal by rows of that sequence, for the deletion
    // rules of the flat model.
    QList<ResourceItem *> allItems() const;
    void removeItemRows(const RowSpan &rows);
    void removeItemRuns(const QList<RowSpan> &runs);

    QList<MediaItemModel *> m_sections;         // shown, newest first; owned
    QList<MediaItemModel *> m_releasedSections; // set aside by clearAll()/resetModel(); owned
    LocalDayWatcher *m_dayWatcher = nullptr;    // child
};
