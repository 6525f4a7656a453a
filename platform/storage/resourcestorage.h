#pragma once

#include "storage_export.h"

#include <QList>
#include <QMap>
#include <QString>

namespace storage {

class Database;

// One media entry of a message: what the galleries page through.
struct ResourceInfo
{
    QString dialogId;
    qint64 messageId = 0;
    qint64 subMsgId = 0; // > 0: child of a combined message
    int type =
            0; // content type: 1 link (text with a URL), 2 photo, 3 voice, 4 music, 5 video, 6 file
    qint64 dateTime = 0; // ms since epoch
    qint64 senderId = 0;
    QString text; // what a keyword matches: file name, link, title, caption
};

// What one page asks for: filters, the cursor and the page size.
struct ResourceSearchInfo
{
    QList<int> types;        // content types; empty = any
    bool isLink = false;     // rows of type 1 only (set instead of types)
    qint64 time = 0;         // cursor time; < 1 = no cursor
    qint64 msgId = 0;        // cursor message id; 0 = the whole millisecond
    QString keyword;         // case-insensitive substring of text; empty = any
    QList<qint64> senderIds; // empty = any
    qint64 startTime = 0;    // time span filter, inclusive; < 1 = open
    qint64 endTime = 0;
    QString sourceDlgId; // carried for callers; not a filter
    int count = 50;      // maximum rows (see the page rule below); < 1 gives no rows
};

// The resource table: one row per (dialogId, messageId, subMsgId).
//
// Rows order by (dateTime, messageId, subMsgId, dialogId). infosBefore returns a page newest
// first, infosAfter oldest first. A cursor (time t, msgId m) bounds the page:
//   infosBefore: rows with (dateTime, messageId) < (t + 1, m + 1), compared as pairs;
//                with m = 0, rows with dateTime <= t.
//   infosAfter:  rows with (dateTime, messageId) > (t - 1, m - 1);
//                with m = 0, rows with dateTime >= t.
//   t < 1: no bound.
// So after a page the caller moves the cursor to (last.dateTime - 1, last.messageId - 1) before,
// or (last.dateTime + 1, last.messageId + 1) after, and the next page starts right behind the
// last row. Starting at an item (t, m) = (its dateTime, its messageId), a before page includes
// it; starting at (dateTime + 1, messageId + 1), an after page excludes it. Rows lying strictly
// between those two starts (the item's millisecond with a higher message id, or the next
// millisecond with a lower one) come in both directions; callers drop the repeats.
//
// Page rule: rows sharing (dateTime, messageId) form a group (the children of a combined
// message, or rows of different dialogs in the global forms). A page never ends inside the group
// of its last row: when count rows are reached, the rest of that group is added past count,
// because the cursor move above steps over the whole group. Fewer than count rows means the end.
//
// Filters combine with AND: types (2 and 5, photos and videos, are paged together from one
// index), the link flag, keyword (case-insensitive substring of text, full Unicode case
// folding), senders, and the inclusive span [startTime, endTime].
//
// Thread-safe: every call runs on the calling thread's connection. Failures log one warning and
// return an empty list or false.
class STORAGE_EXPORT ResourceStorage
{
public:
    explicit ResourceStorage(Database *db);

    // One dialog, a list of dialogs, or all dialogs.
    QList<ResourceInfo> infosBefore(const QString &dialogId, const ResourceSearchInfo &info);
    QList<ResourceInfo> infosBefore(const QList<QString> &dialogIds,
                                    const ResourceSearchInfo &info);
    QList<ResourceInfo> infosBefore(const ResourceSearchInfo &info);
    QList<ResourceInfo> infosAfter(const QString &dialogId, const ResourceSearchInfo &info);
    QList<ResourceInfo> infosAfter(const QList<QString> &dialogIds, const ResourceSearchInfo &info);
    QList<ResourceInfo> infosAfter(const ResourceSearchInfo &info);

    // Inserts or replaces by (dialogId, messageId, subMsgId), all rows in one transaction.
    bool save(const QList<ResourceInfo> &rows);
    // Removes the rows of the messages, their children included.
    bool removeWithMessageIds(const QString &dialogId, const QList<qint64> &messageIds);
    bool removeDialog(const QString &dialogId);
    // Rows of the dialog; 0 when the query fails.
    int count(const QString &dialogId);
    // The number of rows of each content type of the dialog; types without rows are absent.
    QMap<int, int> countByType(const QString &dialogId);

private:
    Database *const m_db;
};

} // namespace storage
