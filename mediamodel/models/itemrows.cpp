#include "itemrows_p.h"

#include "mediamodellog_p.h"
#include "mediautil.h"
#include "resourceitem.h"

#include <QSet>
#include <algorithm>

namespace {

// The largest sub-message id: a probe that sorts above every sub-item of its message.
constexpr qint64 kLastSubMsgId = 0x7fffffff;

enum class Verdict {
    Join, // the row belongs to the current run
    Pass, // the row ends the current run; the scan goes on
    Stop, // the row ends the current run and the scan
};

// Walks the rows from start in steps of step (+1 down the list, -1 up) and gathers the runs of
// consecutive joining rows. A row that does not join always ends the run before it, so a run
// never spans a row that stays.
template<typename Classify>
QList<RowSpan> collectRuns(const QList<ResourceItem *> &items, int start, int step,
                           Classify classify)
{
    QList<RowSpan> runs;
    RowSpan run;
    for (int row = start; row >= 0 && row < items.size(); row += step) {
        const Verdict verdict = classify(*items.at(row));
        if (verdict == Verdict::Join) {
            run = run.isEmpty() ? RowSpan(row, row)
                                : RowSpan(std::min(run.first, row), std::max(run.last, row));
            continue;
        }
        if (!run.isEmpty()) {
            runs.append(run);
            run = RowSpan();
        }
        if (verdict == Verdict::Stop) {
            break;
        }
    }
    if (!run.isEmpty()) {
        runs.append(run);
    }
    if (step < 0) {
        std::reverse(runs.begin(), runs.end());
    }
    return runs;
}

int positionOf(const QList<ResourceItem *> &items, const MessageKey &key, bool *found = nullptr)
{
    int pos = 0;
    const bool held = MediaUtil::find(items, key, pos);
    if (found) {
        *found = held;
    }
    return pos;
}

} // namespace

namespace ItemRows {

RowSpan messageRows(const QList<ResourceItem *> &items, qint64 messageId)
{
    bool found = false;
    const int plain = positionOf(items, MessageKey(messageId, 0), &found);
    if (found) {
        return RowSpan(plain, plain);
    }
    const int aboveSubItems = positionOf(items, MessageKey(messageId, kLastSubMsgId));
    return RowSpan(aboveSubItems, plain - 1);
}

RowSpan dialogMessageRows(const QList<ResourceItem *> &items, const QString &dialogId,
                          qint64 messageId)
{
    const auto matches = [&](const ResourceItem *item) {
        return item->messageId() == messageId && item->dialogId() == dialogId;
    };
    const auto first = std::find_if(items.cbegin(), items.cend(), matches);
    if (first == items.cend()) {
        return RowSpan();
    }
    const auto end = std::find_if_not(first, items.cend(), matches);
    return RowSpan(int(first - items.cbegin()), int(end - items.cbegin()) - 1);
}

RowSpan idRangeRows(const QList<ResourceItem *> &items, const MessageIdRange &range)
{
    const int newest = positionOf(items, MessageKey(range.to(), 0));
    bool found = false;
    int belowOldest = positionOf(items, MessageKey(range.from(), kLastSubMsgId), &found);
    if (found) {
        ++belowOldest;
    }
    if (belowOldest >= items.size() || newest > belowOldest) {
        return RowSpan();
    }
    return RowSpan(newest, belowOldest - 1);
}

QList<RowSpan> dialogRangeRuns(const QList<ResourceItem *> &items, const QString &dialogId,
                               const MessageIdRange &range)
{
    return collectRuns(items, 0, 1, [&](const ResourceItem &item) {
        if (item.dialogId() != dialogId) {
            return Verdict::Pass;
        }
        if (item.messageId() < range.from()) {
            return Verdict::Stop;
        }
        return item.messageId() <= range.to() ? Verdict::Join : Verdict::Pass;
    });
}

HistoryCut historyRows(const QList<ResourceItem *> &items, qint64 messageId)
{
    HistoryCut cut;
    if (items.isEmpty()) {
        return cut;
    }
    // No message (id 0 or below) means the whole history, as it does for a single dialog.
    if (messageId <= 0 || messageId >= items.first()->messageId()) {
        cut.everything = true;
        return cut;
    }
    if (messageId < items.last()->messageId()) {
        return cut;
    }
    bool found = false;
    int start = positionOf(items, MessageKey(messageId, 0), &found);
    if (found) {
        ++start;
    }
    if (start < items.size()) {
        cut.rows = RowSpan(start, int(items.size()) - 1);
    }
    return cut;
}

QList<RowSpan> dialogHistoryRuns(const QList<ResourceItem *> &items, const QString &dialogId,
                                 qint64 messageId)
{
    return collectRuns(items, int(items.size()) - 1, -1, [&](const ResourceItem &item) {
        if (item.dialogId() != dialogId) {
            return Verdict::Pass;
        }
        if (messageId <= 0 || item.messageId() <= messageId) {
            return Verdict::Join;
        }
        return Verdict::Stop;
    });
}

void discardDuplicate(const ResourceItem *held, ResourceItem *incoming)
{
    if (held == incoming) {
        qCWarning(lcMedia) << "item" << incoming->mediaKey() << "of" << incoming->dialogId()
                           << "is already in the list; left as it is";
        return;
    }
    delete incoming;
}

void deleteAllBut(QList<ResourceItem *> items, const QList<ResourceItem *> &kept)
{
    if (!kept.isEmpty()) {
        const QSet<ResourceItem *> keep(kept.cbegin(), kept.cend());
        items.removeIf([&keep](ResourceItem *item) { return keep.contains(item); });
    }
    qDeleteAll(items);
}

QList<ResourceItem *> withoutNulls(const QList<ResourceItem *> &items)
{
    if (!items.contains(nullptr)) {
        return items;
    }
    qCWarning(lcMedia) << "null items handed to a list model were dropped";
    QList<ResourceItem *> valid = items;
    valid.removeAll(nullptr);
    return valid;
}

} // namespace ItemRows
