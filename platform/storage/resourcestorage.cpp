#include "resourcestorage.h"

#include "database.h"
#include "sqlhelpers_p.h"
#include "whereclause_p.h"

#include <QSet>
#include <QSqlQuery>
#include <QStringList>
#include <algorithm>
#include <limits>
#include <optional>
#include <tuple>

namespace storage {

namespace {

enum class Direction { Before, After };

constexpr int LinkType = 1;
constexpr int PhotoType = 2;
constexpr int VideoType = 5;

// Photos and videos are always paged together, so they share one kind and one index range.
int kindOfType(int type)
{
    return type == VideoType ? PhotoType : type;
}

QSet<int> typesOfKind(int kind)
{
    return kind == PhotoType ? QSet<int> {PhotoType, VideoType} : QSet<int> {kind};
}

const QString &selectColumns()
{
    static const QString columns = QStringLiteral(
            "SELECT dialog_id, message_id, sub_msg_id, type, date_time, sender_id, text "
            "FROM resource");
    return columns;
}

// knownDialogId, when it is the row's, is shared instead of read: a page's rows all name the
// dialog it was asked for.
ResourceInfo rowAt(const Sql::NativeRow &stored, const QString &knownDialogId = QString())
{
    ResourceInfo row;
    const QUtf8StringView dialogId = stored.textView(0);
    row.dialogId = !knownDialogId.isEmpty() && QAnyStringView::equal(knownDialogId, dialogId)
            ? knownDialogId
            : dialogId.toString();
    row.messageId = stored.integer(1);
    row.subMsgId = stored.integer(2);
    row.type = int(stored.integer(3));
    row.dateTime = stored.integer(4);
    row.senderId = stored.integer(5);
    row.text = stored.text(6);
    return row;
}

// The same order as the SQL ORDER BY, for merging the pages of several dialogs. SQLite compares
// text as UTF-8 bytes, which differs from UTF-16 order above the BMP.
bool isOrderedBefore(const ResourceInfo &a, const ResourceInfo &b)
{
    const auto key = [](const ResourceInfo &row) {
        return std::tie(row.dateTime, row.messageId, row.subMsgId);
    };
    if (key(a) != key(b)) {
        return key(a) < key(b);
    }
    return a.dialogId.toUtf8() < b.dialogId.toUtf8();
}

void sortRows(QList<ResourceInfo> &rows, Direction direction)
{
    if (direction == Direction::After) {
        std::sort(rows.begin(), rows.end(), isOrderedBefore);
    } else {
        std::sort(rows.begin(), rows.end(), [](const ResourceInfo &a, const ResourceInfo &b) {
            return isOrderedBefore(b, a);
        });
    }
}

QString orderBy(Direction direction)
{
    return direction == Direction::Before
            ? QStringLiteral(" ORDER BY date_time DESC, message_id DESC, sub_msg_id DESC, "
                             "dialog_id DESC")
            : QStringLiteral(" ORDER BY date_time, message_id, sub_msg_id, dialog_id");
}

// A position in the page order: a row is inside an upper bound when (dateTime, messageId) <=
// (time, msgId), inside a lower bound when >=. A msgId of HighestId (upper) or LowestId (lower)
// takes in the whole millisecond.
struct RowBound
{
    qint64 time = 0;
    qint64 msgId = 0;
};

constexpr qint64 LowestId = std::numeric_limits<qint64>::min();
constexpr qint64 HighestId = std::numeric_limits<qint64>::max();

bool operator<(const RowBound &a, const RowBound &b)
{
    return std::tie(a.time, a.msgId) < std::tie(b.time, b.msgId);
}

// (t + 1, m + 1) exclusive is (t + 1, m) inclusive: ids are integers.
std::optional<RowBound> beforeCursor(const ResourceSearchInfo &info)
{
    if (info.time < 1) {
        return std::nullopt;
    }
    if (info.msgId == 0) {
        return RowBound {info.time, HighestId};
    }
    if (info.time == std::numeric_limits<qint64>::max()) {
        return std::nullopt;
    }
    return RowBound {info.time + 1, info.msgId};
}

// (t - 1, m - 1) exclusive is (t - 1, m) inclusive.
std::optional<RowBound> afterCursor(const ResourceSearchInfo &info)
{
    if (info.time < 1) {
        return std::nullopt;
    }
    if (info.msgId == 0) {
        return RowBound {info.time, LowestId};
    }
    return RowBound {info.time - 1, info.msgId};
}

std::optional<RowBound> tighterUpper(std::optional<RowBound> bound, const RowBound &other)
{
    return bound && *bound < other ? bound : other;
}

std::optional<RowBound> tighterLower(std::optional<RowBound> bound, const RowBound &other)
{
    return bound && other < *bound ? bound : other;
}

// One upper and one lower bound at most, so that SQLite walks a single index range: a cursor and
// a time span on the same columns would otherwise leave one of them as a filter over the rows
// scanned.
void addBounds(WhereClause &conditions, const ResourceSearchInfo &info, Direction direction)
{
    std::optional<RowBound> upper =
            direction == Direction::Before ? beforeCursor(info) : std::nullopt;
    std::optional<RowBound> lower =
            direction == Direction::After ? afterCursor(info) : std::nullopt;
    if (info.endTime >= 1) {
        upper = tighterUpper(upper, RowBound {info.endTime, HighestId});
    }
    if (info.startTime >= 1) {
        lower = tighterLower(lower, RowBound {info.startTime, LowestId});
    }
    if (upper) {
        if (upper->msgId == HighestId) {
            conditions.add(QStringLiteral("date_time <= ?"), {upper->time});
        } else {
            conditions.add(QStringLiteral("(date_time, message_id) <= (?, ?)"),
                           {upper->time, upper->msgId});
        }
    }
    if (lower) {
        if (lower->msgId == LowestId) {
            conditions.add(QStringLiteral("date_time >= ?"), {lower->time});
        } else {
            conditions.add(QStringLiteral("(date_time, message_id) >= (?, ?)"),
                           {lower->time, lower->msgId});
        }
    }
}

// A single kind is matched on the kind column so the page walks the kind index; a subset of the
// kind (photos without videos) is narrowed by type on top.
void addTypeFilter(WhereClause &conditions, const ResourceSearchInfo &info)
{
    if (info.isLink) {
        conditions.add(QStringLiteral("kind = ?"), {LinkType});
        return;
    }
    const QList<int> types = Sql::uniqueIds(info.types);
    if (types.isEmpty()) {
        return;
    }
    QSet<int> kinds;
    for (const int type : types) {
        kinds.insert(kindOfType(type));
    }
    if (kinds.size() == 1) {
        const int kind = *kinds.cbegin();
        conditions.add(QStringLiteral("kind = ?"), {kind});
        if (QSet<int>(types.cbegin(), types.cend()) == typesOfKind(kind)) {
            return;
        }
    }
    conditions.add(QStringLiteral("type IN (%1)").arg(Sql::placeholders(types.size())),
                   Sql::toVariantList(types));
}

void addContentFilters(WhereClause &conditions, const ResourceSearchInfo &info)
{
    addTypeFilter(conditions, info);
    const QString keyword = info.keyword.toCaseFolded();
    if (!keyword.isEmpty()) {
        conditions.add(QStringLiteral("instr(folded_text, ?) > 0"), {keyword});
    }
    const QList<qint64> senders = Sql::uniqueIds(info.senderIds);
    if (!senders.isEmpty()) {
        conditions.add(QStringLiteral("sender_id IN (%1)").arg(Sql::placeholders(senders.size())),
                       Sql::toVariantList(senders));
    }
}

// The rows of the last row's group that follow it in the page order.
void addGroupTail(WhereClause &conditions, const ResourceInfo &last, Direction direction)
{
    conditions.add(QStringLiteral("date_time = ? AND message_id = ?"),
                   {last.dateTime, last.messageId});
    conditions.add(direction == Direction::Before
                           ? QStringLiteral("(sub_msg_id, dialog_id) < (?, ?)")
                           : QStringLiteral("(sub_msg_id, dialog_id) > (?, ?)"),
                   {last.subMsgId, Sql::text(last.dialogId)});
}

// Reads one page for all dialogs (dialogIds null) or for each of a list of dialogs. The per-dialog
// form runs one indexed query per dialog and merges in memory: a query over "dialog_id IN (...)"
// would have to sort every matching row of those dialogs to find the first page.
class PageReader
{
public:
    PageReader(Database *db, const QList<QString> *dialogIds, const ResourceSearchInfo &info,
               Direction direction)
        : m_db(db)
        , m_dialogIds(dialogIds)
        , m_info(info)
        , m_direction(direction)
    { }

    QList<ResourceInfo> read()
    {
        if (m_info.count < 1 || (m_dialogIds && m_dialogIds->isEmpty())) {
            return {};
        }
        WhereClause page = scopeConditions();
        addBounds(page, m_info, m_direction);
        QList<ResourceInfo> rows;
        if (!select(page, m_info.count, rows)) {
            return {};
        }
        if (rows.size() > m_info.count) {
            rows.resize(m_info.count);
        }
        if (rows.size() < m_info.count) {
            return rows;
        }
        WhereClause tail = scopeConditions();
        addGroupTail(tail, rows.constLast(), m_direction);
        if (!select(tail, std::nullopt, rows)) {
            return {};
        }
        return rows;
    }

private:
    WhereClause scopeConditions() const
    {
        WhereClause conditions;
        if (m_dialogIds) {
            // Bound for each dialog in turn by select().
            conditions.add(QStringLiteral("dialog_id = ?"), {QString()});
        }
        addContentFilters(conditions, m_info);
        return conditions;
    }

    // Appends the matching rows, in page order, to rows.
    bool select(const WhereClause &conditions, std::optional<int> limit, QList<ResourceInfo> &rows)
    {
        QString sql = selectColumns() + conditions.sql() + orderBy(m_direction);
        QVariantList values = conditions.values();
        if (limit) {
            sql += QStringLiteral(" LIMIT ?");
            values.append(*limit);
        }
        QSqlDatabase connection = m_db->connection();
        Sql::NativeStatement statement(connection, sql);
        if (!statement.isValid()) {
            return false;
        }
        if (!m_dialogIds) {
            return statement.appendRows(
                    values, [](const auto &row) { return rowAt(row); }, rows);
        }
        QList<ResourceInfo> merged;
        for (const QString &dialogId : *m_dialogIds) {
            values[0] = Sql::text(dialogId);
            const auto rowOfDialog = [&dialogId](const auto &row) {
                return rowAt(row, dialogId);
            };
            if (!statement.appendRows(values, rowOfDialog, merged)) {
                return false;
            }
        }
        if (m_dialogIds->size() > 1) {
            sortRows(merged, m_direction);
        }
        rows.append(merged);
        return true;
    }

    Database *const m_db;
    const QList<QString> *const m_dialogIds;
    const ResourceSearchInfo &m_info;
    const Direction m_direction;
};

QList<ResourceInfo> readPage(Database *db, const QList<QString> &dialogIds,
                             const ResourceSearchInfo &info, Direction direction)
{
    const QList<QString> unique = Sql::uniqueIds(dialogIds);
    return PageReader(db, &unique, info, direction).read();
}

} // namespace

ResourceStorage::ResourceStorage(Database *db)
    : m_db(db)
{ }

QList<ResourceInfo> ResourceStorage::infosBefore(const QString &dialogId,
                                                 const ResourceSearchInfo &info)
{
    return readPage(m_db, {dialogId}, info, Direction::Before);
}

QList<ResourceInfo> ResourceStorage::infosBefore(const QList<QString> &dialogIds,
                                                 const ResourceSearchInfo &info)
{
    return readPage(m_db, dialogIds, info, Direction::Before);
}

QList<ResourceInfo> ResourceStorage::infosBefore(const ResourceSearchInfo &info)
{
    return PageReader(m_db, nullptr, info, Direction::Before).read();
}

QList<ResourceInfo> ResourceStorage::infosAfter(const QString &dialogId,
                                                const ResourceSearchInfo &info)
{
    return readPage(m_db, {dialogId}, info, Direction::After);
}

QList<ResourceInfo> ResourceStorage::infosAfter(const QList<QString> &dialogIds,
                                                const ResourceSearchInfo &info)
{
    return readPage(m_db, dialogIds, info, Direction::After);
}

QList<ResourceInfo> ResourceStorage::infosAfter(const ResourceSearchInfo &info)
{
    return PageReader(m_db, nullptr, info, Direction::After).read();
}

bool ResourceStorage::save(const QList<ResourceInfo> &rows)
{
    return Sql::insertRows(
            m_db,
            QStringLiteral("INSERT OR REPLACE INTO resource (dialog_id, message_id, sub_msg_id, "
                           "type, kind, date_time, sender_id, text, folded_text)"),
            rows, [](const ResourceInfo &row) {
                return Sql::Values {
                        row.dialogId,
                        row.messageId,
                        row.subMsgId,
                        row.type,
                        kindOfType(row.type),
                        row.dateTime,
                        row.senderId,
                        row.text,
                        row.text.toCaseFolded(),
                };
            });
}

bool ResourceStorage::removeWithMessageIds(const QString &dialogId, const QList<qint64> &messageIds)
{
    return Sql::execWithIds(
            m_db, QStringLiteral("DELETE FROM resource WHERE dialog_id = ? AND message_id IN (%1)"),
            {Sql::text(dialogId)}, messageIds);
}

bool ResourceStorage::removeDialog(const QString &dialogId)
{
    return Sql::exec(m_db, QStringLiteral("DELETE FROM resource WHERE dialog_id = ?"),
                     {Sql::text(dialogId)});
}

int ResourceStorage::count(const QString &dialogId)
{
    QList<int> counts;
    Sql::select(
            m_db->connection(), QStringLiteral("SELECT COUNT(*) FROM resource WHERE dialog_id = ?"),
            {Sql::text(dialogId)},
            [](const Sql::NativeRow &stored) { return int(stored.integer(0)); }, counts);
    return counts.isEmpty() ? 0 : counts.constFirst();
}

QMap<int, int> ResourceStorage::countByType(const QString &dialogId)
{
    QList<QPair<int, int>> rows;
    Sql::select(
            m_db->connection(),
            QStringLiteral("SELECT type, COUNT(*) FROM resource WHERE dialog_id = ? "
                           "GROUP BY type"),
            {Sql::text(dialogId)},
            [](const Sql::NativeRow &stored) {
                return qMakePair(int(stored.integer(0)), int(stored.integer(1)));
            },
            rows);
    QMap<int, int> counts;
    for (const auto &row : std::as_const(rows)) {
        counts.insert(row.first, row.second);
    }
    return counts;
}

} // namespace storage
