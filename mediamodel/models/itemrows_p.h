#pragma once

// Not API: the row rules of the item list models, shared by ResourceModel and MediaModel.

#include "messageidrange.h"

#include <QList>
#include <QString>

class ResourceItem;

// Rows first..last of a list; empty when last < first.
struct RowSpan
{
    RowSpan() = default;
    RowSpan(int first, int last)
        : first(first)
        , last(last)
    { }

    bool isEmpty() const { return last < first; }
    int size() const { return isEmpty() ? 0 : last - first + 1; }

    int first = 0;
    int last = -1;
};

// What clearing the history up to a message takes from a list.
struct HistoryCut
{
    bool everything = false; // the whole list, through clearAll()
    RowSpan rows;            // otherwise these rows (possibly none)
};

// Each rule reads a list sorted newest first and says which rows an operation takes; the models
// do the removal and its notices. Lookups by message id assume, as the host does, that message
// ids grow with time within a dialog.
namespace ItemRows {

// deleteItem(messageId): the row of (messageId, 0) if held, else the rows of all its sub-items.
RowSpan messageRows(const QList<ResourceItem *> &items, qint64 messageId);
// deleteItem(dialogId, messageId): the first run of consecutive rows of that message and dialog.
RowSpan dialogMessageRows(const QList<ResourceItem *> &items, const QString &dialogId,
                          qint64 messageId);
// batchDelete(range): the rows between (to, 0) and (from, any sub-item). Nothing when the range
// reaches past the last row.
RowSpan idRangeRows(const QList<ResourceItem *> &items, const MessageIdRange &range);
// batchDelete(dialogId, range): the runs of the dialog's rows with ids in the range, in ascending
// row order; the scan stops at the dialog's first row older than the range.
QList<RowSpan> dialogRangeRuns(const QList<ResourceItem *> &items, const QString &dialogId,
                               const MessageIdRange &range);
// clearResource(messageId).
HistoryCut historyRows(const QList<ResourceItem *> &items, qint64 messageId);
// clearResource(dialogId, messageId): the runs of the dialog's rows up to messageId (every row of
// the dialog for messageId <= 0), in ascending row order; the scan runs from the oldest row up and
// stops at the dialog's first newer message.
QList<RowSpan> dialogHistoryRuns(const QList<ResourceItem *> &items, const QString &dialogId,
                                 qint64 messageId);

// Deletes an incoming item equal to a held one. The held object itself is kept, with a warning:
// deleting it would leave the list pointing at freed memory.
void discardDuplicate(const ResourceItem *held, ResourceItem *incoming);
// Deletes the items that are not in kept: what a reset replaces, less what the caller handed back.
void deleteAllBut(QList<ResourceItem *> items, const QList<ResourceItem *> &kept);
// items without the null pointers a caller may have let through, with a warning when there were
// any; the list itself when there were none.
QList<ResourceItem *> withoutNulls(const QList<ResourceItem *> &items);

} // namespace ItemRows
