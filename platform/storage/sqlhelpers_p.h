#pragma once

// Internal to the storage library, not API: statement helpers shared by the table classes.

#include "database.h"

#include <QList>
#include <QSet>
#include <QSqlQuery>
#include <QString>
#include <QVarLengthArray>
#include <QVariant>
#include <memory>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace storage::Sql {

// "?, ?, ?" for count values.
QString placeholders(qsizetype count);
// A text value that binds as '' rather than NULL when the string is null: text columns are NOT
// NULL and key columns must compare equal.
QVariant text(const QString &value);

// Binds values by position, replacing earlier bindings, executes and logs the SQL error on failure.
bool exec(QSqlQuery &query, const QVariantList &values = {});
// Prepares sql on query (forward only), then exec(). Fails silently on a connection that is not
// open: Database has logged that already.
bool exec(QSqlQuery &query, const QString &sql, const QVariantList &values);

// One statement on this thread's connection of db.
bool exec(Database *db, const QString &sql, const QVariantList &values = {});

// The ids in their first order without duplicates and, for strings, without empty ids: an empty
// id names nothing, and matching it would return every row that lacks that id.
QList<QString> uniqueIds(const QList<QString> &ids);

template<typename T> QList<T> uniqueIds(const QList<T> &ids)
{
    QList<T> unique;
    QSet<T> seen;
    for (const T &id : ids) {
        if (!seen.contains(id)) {
            seen.insert(id);
            unique.append(id);
        }
    }
    return unique;
}

template<typename T> QVariantList toVariantList(const QList<T> &values)
{
    QVariantList list;
    list.reserve(values.size());
    for (const T &value : values) {
        list.append(QVariant::fromValue(value));
    }
    return list;
}

// An id list of any length in an IN clause ("column IN (%1)" with %1 := idSet()): the ids bind as
// one JSON array, so the statement text never changes and holds one value. Bound one by one, ids
// cost far more than the lookups themselves, and SQLite limits the number of variables.
QString idSet();
// The value idSet() binds. Empty string ids are left out, as they name nothing and would match
// every row that lacks that id, and so are ids with a NUL, which the JSON cannot carry to SQLite
// intact; null when no id is left.
QVariant idArray(const QList<QString> &ids);
QVariant idArray(const QList<qint64> &ids);
// idArray that keeps every id in its place: one that names nothing is a JSON null, which matches
// no row. Joined as "json_each(?) AS j CROSS JOIN t ON t.id = j.value", j.key is then each row's
// position in ids, and the rows come in that order.
QVariant idArrayByPosition(const QList<QString> &ids);

// Memory that bound text and bytes are copied into until the statement has run: SQLite reads
// bound values in place. Its blocks are kept for the next run, so binding allocates nothing once
// the first rows have gone through.
class BindBuffer
{
public:
    // The text as UTF-8, and a copy of the bytes; both valid until clear().
    QByteArrayView add(QStringView text);
    QByteArrayView add(QByteArrayView bytes);
    void clear();

private:
    static constexpr qsizetype BlockSize = 16 * 1024;

    QByteArrayView addEncoded(QStringView text);
    // Room for at most size bytes; take() then counts what was written into it.
    char *roomFor(qsizetype size);
    QByteArrayView take(char *room, qsizetype roomSize, qsizetype written);

    std::vector<std::unique_ptr<char[]>> m_blocks;
    std::vector<std::unique_ptr<char[]>> m_apart; // values larger than a block
    size_t m_block = 0;                           // the block being filled
    qsizetype m_used = 0;                         // bytes used of it
};

// A value to bind, without a QVariant around it. Text binds '' for a null string, as text columns
// are NOT NULL; bytes bind NULL when null. Text binds as UTF-8, the database's encoding, so that
// SQLite takes it as it is: given UTF-16 it converts every string into memory of its own.
class Value
{
public:
    Value() = default; // NULL
    Value(qint64 integer)
        : m_kind(Kind::Integer)
        , m_integer(integer)
    { }
    Value(const QString &text)
        : m_kind(Kind::Text)
        , m_text(text)
    { }
    Value(const QByteArray &bytes)
        : m_kind(Kind::Bytes)
        , m_bytes(bytes)
    { }

    // SQLite's result code. Text and bytes are copied into buffer, which must keep them until
    // the statement has run.
    int bindTo(sqlite3_stmt *statement, int index, BindBuffer &buffer) const;

private:
    enum class Kind { Null, Integer, Text, Bytes };

    Kind m_kind = Kind::Null;
    qint64 m_integer = 0;
    QString m_text;
    QByteArray m_bytes;
};

// The values of one row, in column order.
using Values = QVarLengthArray<Value, 12>;

// The current row of a NativeStatement's query, read by column. Valid only inside the callback
// that receives it: the values are read from SQLite's own buffers.
class NativeRow
{
public:
    explicit NativeRow(sqlite3_stmt *statement)
        : m_statement(statement)
    { }

    QString text(int column) const;
    // The text as SQLite holds it, valid until the row moves on.
    QUtf8StringView textView(int column) const;
    qint64 integer(int column) const;
    bool boolean(int column) const { return integer(column) != 0; }
    QByteArray blob(int column) const;

private:
    sqlite3_stmt *m_statement;
};

// Finalizes the statements kept for the named connection; called before the connection closes,
// as SQLite keeps a connection with live statements open.
void finalizeKeptStatements(const QString &connectionName);

// A statement prepared on the connection's own SQLite handle. Going through QSqlQuery costs more
// than SQLite's own work on a row: every value becomes a QVariant in a cached row, which tells
// where rows come by the hundred thousand (ingest, imports, paging a gallery). Values bind as
// Qt's SQLite driver binds them. The compiled statement is kept for the connection when this
// object ends and lent to the next statement of the same text: a gallery page runs the same few
// statements page after page, and compiling them cost as much as a page's row lookups.
class NativeStatement
{
public:
    NativeStatement(QSqlDatabase &connection, const QString &sql);
    ~NativeStatement();
    Q_DISABLE_COPY_MOVE(NativeStatement)

    // False when the statement does not compile (logged) or the connection is not open (logged
    // by Database already).
    bool isValid() const { return m_statement != nullptr; }
    // Binds values to the placeholders in order, runs the statement once and resets it.
    bool run(const QVariantList &values);
    // Binds values to the placeholders from firstIndex (counted from 1) on, replacing what was
    // bound there; runBound() then runs the statement once, resets it and lets the values go.
    bool bind(int firstIndex, const Values &values);
    bool runBound();
    // Binds values, appends rowAt(const NativeRow &) for every row to rows and resets the
    // statement, so that it can run again with other values.
    template<typename Row, typename RowAt>
    bool appendRows(const QVariantList &values, RowAt rowAt, QList<Row> &rows)
    {
        return visitRows(values, [&](const NativeRow &row) { rows.append(rowAt(row)); });
    }
    // Binds values, calls visit(const NativeRow &) for every row and resets the statement.
    template<typename Visit> bool visitRows(const QVariantList &values, Visit visit)
    {
        if (!start(values)) {
            return false;
        }
        const NativeRow row(m_statement);
        while (nextRow()) {
            visit(row);
        }
        return !m_failed;
    }

private:
    bool start(const QVariantList &values);
    // True on a row; false at the end or on a failure (logged, m_failed set), the statement reset.
    bool nextRow();
    bool bind(int index, const QVariant &value);
    void releaseBindings();
    void logFailure(const char *what) const;

    sqlite3 *m_handle = nullptr;
    sqlite3_stmt *m_statement = nullptr;
    QString m_connectionName;
    QString m_sql;
    BindBuffer m_bound;
    bool m_failed = false;
};

// What a read returns: its rows when it succeeded, none when it failed; *ok, when given, tells
// which, so that a caller who decides on the rows never takes a failure for "no rows".
template<typename Row> QList<Row> readResult(bool succeeded, QList<Row> &&rows, bool *ok)
{
    if (ok) {
        *ok = succeeded;
    }
    return succeeded ? std::move(rows) : QList<Row>();
}

// Runs a SELECT and appends rowAt(const NativeRow &) for every row to rows.
template<typename Row, typename RowAt>
bool select(QSqlDatabase db, const QString &sql, const QVariantList &values, RowAt rowAt,
            QList<Row> &rows)
{
    NativeStatement statement(db, sql);
    return statement.isValid() && statement.appendRows(values, rowAt, rows);
}

// Runs a SELECT and calls visit(const NativeRow &) for every row.
template<typename Visit>
bool visitRows(QSqlDatabase db, const QString &sql, const QVariantList &values, Visit visit)
{
    NativeStatement statement(db, sql);
    return statement.isValid() && statement.visitRows(values, visit);
}

// "(?, ?), (?, ?)" for rowCount rows of columnCount values.
QString valueRows(qsizetype columnCount, qsizetype rowCount);

// Rows an insert statement writes at once: running a statement costs SQLite about as much as
// writing the row into its table and indexes.
constexpr qsizetype RowsPerInsert = 64;

// Inserts every row, valuesOf(row) giving its values, with insertInto ("INSERT OR REPLACE INTO
// t (a, b)") in one transaction, RowsPerInsert rows per statement while that many are left.
template<typename Row, typename ValuesOf>
bool insertRows(Database *db, const QString &insertInto, const QList<Row> &rows, ValuesOf valuesOf)
{
    if (rows.isEmpty()) {
        return true;
    }
    const qsizetype columnCount = valuesOf(rows.constFirst()).size();
    return db->transaction([&](QSqlDatabase &connection) {
        qsizetype next = 0;
        const auto insertWhileLeft = [&](qsizetype rowsPerStatement) {
            NativeStatement statement(connection,
                                      insertInto + QStringLiteral(" VALUES ")
                                              + valueRows(columnCount, rowsPerStatement));
            for (; statement.isValid() && rows.size() - next >= rowsPerStatement;
                 next += rowsPerStatement) {
                for (qsizetype k = 0; k < rowsPerStatement; ++k) {
                    if (!statement.bind(int(k * columnCount) + 1, valuesOf(rows.at(next + k)))) {
                        return false;
                    }
                }
                if (!statement.runBound()) {
                    return false;
                }
            }
            return statement.isValid();
        };
        return (rows.size() < RowsPerInsert || insertWhileLeft(RowsPerInsert))
                && (next == rows.size() || insertWhileLeft(1));
    });
}

// Executes sqlTemplate, whose %1 stands for an id list bound after the leading values. With no
// id, nothing runs.
template<typename T>
bool execWithIds(Database *db, const QString &sqlTemplate, const QVariantList &leading,
                 const QList<T> &ids)
{
    const QVariant idList = idArray(ids);
    return idList.isNull() || exec(db, sqlTemplate.arg(idSet()), leading + QVariantList {idList});
}

// Like execWithIds for a SELECT: appends rowAt(query) for every row to rows.
template<typename T, typename Row, typename RowAt>
bool selectWithIds(QSqlDatabase db, const QString &sqlTemplate, const QVariantList &leading,
                   const QList<T> &ids, RowAt rowAt, QList<Row> &rows)
{
    const QVariant idList = idArray(ids);
    return idList.isNull()
            || select(db, sqlTemplate.arg(idSet()), leading + QVariantList {idList}, rowAt, rows);
}

} // namespace storage::Sql
