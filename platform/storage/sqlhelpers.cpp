#include "sqlhelpers_p.h"

#include "jsonutil.h"
#include "platformlog.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QStringEncoder>
#include <algorithm>
#include <cstring>
#include <sqlite3.h>

namespace storage::Sql {

namespace {

void logFailure(const QSqlQuery &query, const QString &sql)
{
    qCWarning(lcPlatform).noquote() << "storage:" << query.lastError().text() << "in" << sql;
}

bool prepare(QSqlQuery &query, const QString &sql)
{
    // Database logged why the connection could not open; one line per failure is enough.
    if (!query.driver() || !query.driver()->isOpen()) {
        return false;
    }
    query.setForwardOnly(true);
    if (!query.prepare(sql)) {
        logFailure(query, sql);
        return false;
    }
    return true;
}

// Compiled statements by connection name and text, each lent to one NativeStatement at a time.
// Shared between threads only because a Database closes the connections of other threads when
// it is destroyed; each connection's statements are used on its own thread.
class KeptStatements
{
public:
    sqlite3_stmt *take(const QString &connectionName, const QString &sql)
    {
        QMutexLocker locker(&m_mutex);
        const auto connection = m_statements.find(connectionName);
        if (connection == m_statements.end()) {
            return nullptr;
        }
        const auto kept = connection->find(sql);
        if (kept == connection->end()) {
            return nullptr;
        }
        sqlite3_stmt *statement = kept.value();
        connection->erase(kept);
        return statement;
    }

    // Keeps the statement, its bindings cleared by its owner, or finalizes it when the connection
    // has one of that text already or keeps as many as it may: the texts of a connection are few,
    // but an id list bound value by value makes one text per length.
    void keep(const QString &connectionName, const QString &sql, sqlite3_stmt *statement)
    {
        QMutexLocker locker(&m_mutex);
        QHash<QString, sqlite3_stmt *> &kept = m_statements[connectionName];
        if (kept.size() >= MaxPerConnection || kept.contains(sql)) {
            locker.unlock();
            sqlite3_finalize(statement);
            return;
        }
        kept.insert(sql, statement);
    }

    void finalizeAll(const QString &connectionName)
    {
        QMutexLocker locker(&m_mutex);
        const QHash<QString, sqlite3_stmt *> statements = m_statements.take(connectionName);
        locker.unlock();
        for (sqlite3_stmt *statement : statements) {
            sqlite3_finalize(statement);
        }
    }

private:
    static constexpr qsizetype MaxPerConnection = 64;

    QMutex m_mutex;
    QHash<QString, QHash<QString, sqlite3_stmt *>> m_statements; // guarded by m_mutex
};

Q_GLOBAL_STATIC(KeptStatements, s_keptStatements)

// An empty id names nothing. Nor does one with a NUL: SQLite reads the ids out of the JSON as C
// strings, so it would arrive cut short, as another id.
bool namesSomething(const QString &id)
{
    return !id.isEmpty() && !id.contains(QChar(u'\0'));
}

} // namespace

void finalizeKeptStatements(const QString &connectionName)
{
    if (!s_keptStatements.isDestroyed()) {
        s_keptStatements->finalizeAll(connectionName);
    }
}

QString placeholders(qsizetype count)
{
    QString list;
    list.reserve(count * 3);
    for (qsizetype i = 0; i < count; ++i) {
        list += i == 0 ? QStringLiteral("?") : QStringLiteral(", ?");
    }
    return list;
}

QString valueRows(qsizetype columnCount, qsizetype rowCount)
{
    const QString row = QLatin1Char('(') + placeholders(columnCount) + QLatin1Char(')');
    QString rows;
    rows.reserve(rowCount * (row.size() + 2));
    for (qsizetype i = 0; i < rowCount; ++i) {
        if (i > 0) {
            rows += QStringLiteral(", ");
        }
        rows += row;
    }
    return rows;
}

QVariant text(const QString &value)
{
    return value.isNull() ? QVariant(QStringLiteral("")) : QVariant(value);
}

QString idSet()
{
    return QStringLiteral("SELECT value FROM json_each(?)");
}

namespace {

// The JSON array of the ids that name something; an id that names nothing is left out, or stands
// as null when keepPlaces. Null when no id names anything.
QVariant jsonIdArray(const QList<QString> &ids, bool keepPlaces)
{
    QByteArray json("[");
    bool namesAny = false;
    for (const QString &id : ids) {
        const bool names = namesSomething(id);
        if (!names && !keepPlaces) {
            continue;
        }
        if (json.size() > 1) {
            json += ',';
        }
        if (names) {
            appendJsonString(json, id);
            namesAny = true;
        } else {
            json += "null";
        }
    }
    json += ']';
    return namesAny ? QVariant(QString::fromUtf8(json)) : QVariant();
}

} // namespace

QVariant idArray(const QList<QString> &ids)
{
    return jsonIdArray(ids, false);
}

QVariant idArrayByPosition(const QList<QString> &ids)
{
    return jsonIdArray(ids, true);
}

QVariant idArray(const QList<qint64> &ids)
{
    if (ids.isEmpty()) {
        return {};
    }
    QByteArray json("[");
    for (qint64 id : ids) {
        if (json.size() > 1) {
            json += ',';
        }
        json += QByteArray::number(id);
    }
    json += ']';
    return QString::fromLatin1(json);
}

bool exec(QSqlQuery &query, const QVariantList &values)
{
    for (qsizetype i = 0; i < values.size(); ++i) {
        query.bindValue(int(i), values.at(i));
    }
    if (!query.exec()) {
        logFailure(query, query.lastQuery());
        return false;
    }
    return true;
}

bool exec(QSqlQuery &query, const QString &sql, const QVariantList &values)
{
    return prepare(query, sql) && exec(query, values);
}

bool exec(Database *db, const QString &sql, const QVariantList &values)
{
    QSqlQuery query(db->connection());
    return exec(query, sql, values);
}

QList<QString> uniqueIds(const QList<QString> &ids)
{
    QList<QString> unique;
    QSet<QString> seen;
    for (const QString &id : ids) {
        if (!id.isEmpty() && !seen.contains(id)) {
            seen.insert(id);
            unique.append(id);
        }
    }
    return unique;
}

// Ids, suffixes and names are mostly ASCII, whose UTF-8 is the units narrowed; an encoder costs
// more than that for the short strings a row holds.
QByteArrayView BindBuffer::add(QStringView text)
{
    if (text.size() > BlockSize) {
        return addEncoded(text);
    }
    char *room = roomFor(text.size());
    const char16_t *units = text.utf16();
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (units[i] >= 0x80) {
            return addEncoded(text);
        }
        room[i] = char(units[i]);
    }
    return take(room, text.size(), text.size());
}

QByteArrayView BindBuffer::addEncoded(QStringView text)
{
    QStringEncoder toUtf8(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    const qsizetype roomSize = toUtf8.requiredSpace(text.size());
    char *room = roomFor(roomSize);
    return take(room, roomSize, toUtf8.appendToBuffer(room, text) - room);
}

QByteArrayView BindBuffer::add(QByteArrayView bytes)
{
    char *room = roomFor(bytes.size());
    std::memcpy(room, bytes.data(), size_t(bytes.size()));
    return take(room, bytes.size(), bytes.size());
}

void BindBuffer::clear()
{
    m_apart.clear();
    m_blocks.resize(std::min<size_t>(m_blocks.size(), 4));
    m_block = 0;
    m_used = 0;
}

// Blocks are written before they are read, so they are left uninitialised: zeroing a block for
// every statement that binds a value touched memory that nothing else needed.
char *BindBuffer::roomFor(qsizetype size)
{
    if (size > BlockSize) {
        m_apart.push_back(std::unique_ptr<char[]>(new char[size_t(size)]));
        return m_apart.back().get();
    }
    if (m_block < m_blocks.size() && m_used + size > BlockSize) {
        ++m_block;
        m_used = 0;
    }
    if (m_block == m_blocks.size()) {
        m_blocks.push_back(std::unique_ptr<char[]>(new char[BlockSize]));
    }
    return m_blocks[m_block].get() + m_used;
}

QByteArrayView BindBuffer::take(char *room, qsizetype roomSize, qsizetype written)
{
    if (roomSize <= BlockSize) {
        m_used += written;
    }
    return QByteArrayView(room, written);
}

int Value::bindTo(sqlite3_stmt *statement, int index, BindBuffer &buffer) const
{
    switch (m_kind) {
    case Kind::Text: {
        const QByteArrayView text = buffer.add(m_text);
        return sqlite3_bind_text(statement, index, text.data(), int(text.size()), SQLITE_STATIC);
    }
    case Kind::Bytes: {
        if (m_bytes.isNull()) {
            break;
        }
        const QByteArrayView bytes = buffer.add(m_bytes);
        return sqlite3_bind_blob(statement, index, bytes.data(), int(bytes.size()), SQLITE_STATIC);
    }
    case Kind::Integer:
        return sqlite3_bind_int64(statement, index, m_integer);
    case Kind::Null:
        break;
    }
    return sqlite3_bind_null(statement, index);
}

QString NativeRow::text(int column) const
{
    return textView(column).toString();
}

QUtf8StringView NativeRow::textView(int column) const
{
    const auto *data = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    return QUtf8StringView(data, sqlite3_column_bytes(m_statement, column));
}

qint64 NativeRow::integer(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

QByteArray NativeRow::blob(int column) const
{
    const void *data = sqlite3_column_blob(m_statement, column);
    const int bytes = sqlite3_column_bytes(m_statement, column);
    return data ? QByteArray(static_cast<const char *>(data), bytes) : QByteArray();
}

NativeStatement::NativeStatement(QSqlDatabase &connection, const QString &sql)
    : m_connectionName(connection.connectionName())
    , m_sql(sql)
{
    // Database logged why the connection could not open; one line per failure is enough.
    if (!connection.driver() || !connection.driver()->isOpen()) {
        return;
    }
    const QVariant handle = connection.driver()->handle();
    if (!handle.isValid() || qstrcmp(handle.typeName(), "sqlite3*") != 0) {
        qCWarning(lcPlatform).noquote() << "storage: not an SQLite connection for" << sql;
        return;
    }
    m_handle = *static_cast<sqlite3 *const *>(handle.constData());
    if (!s_keptStatements.isDestroyed()) {
        m_statement = s_keptStatements->take(m_connectionName, sql);
    }
    if (!m_statement
        && sqlite3_prepare16_v2(m_handle, sql.utf16(), int(sql.size() * sizeof(char16_t)),
                                &m_statement, nullptr)
                != SQLITE_OK) {
        logFailure("cannot prepare");
        m_statement = nullptr;
    }
}

NativeStatement::~NativeStatement()
{
    if (!m_statement) {
        return;
    }
    sqlite3_reset(m_statement);
    releaseBindings();
    if (s_keptStatements.isDestroyed()) {
        sqlite3_finalize(m_statement);
    } else {
        s_keptStatements->keep(m_connectionName, m_sql, m_statement);
    }
}

bool NativeStatement::run(const QVariantList &values)
{
    return start(values) && runBound();
}

bool NativeStatement::bind(int firstIndex, const Values &values)
{
    if (!m_statement) {
        return false;
    }
    for (qsizetype i = 0; i < values.size(); ++i) {
        if (values.at(i).bindTo(m_statement, firstIndex + int(i), m_bound) != SQLITE_OK) {
            logFailure("cannot bind a value");
            return false;
        }
    }
    return true;
}

bool NativeStatement::runBound()
{
    m_failed = false;
    if (!m_statement) {
        return false;
    }
    while (nextRow()) {
    }
    releaseBindings();
    return !m_failed;
}

// The statement must not point into the buffer once it is reused, even while nobody runs it.
void NativeStatement::releaseBindings()
{
    sqlite3_clear_bindings(m_statement);
    m_bound.clear();
}

bool NativeStatement::start(const QVariantList &values)
{
    m_failed = false;
    if (!m_statement) {
        return false;
    }
    releaseBindings();
    for (qsizetype i = 0; i < values.size(); ++i) {
        if (!bind(int(i) + 1, values.at(i))) {
            logFailure("cannot bind a value");
            return false;
        }
    }
    return true;
}

bool NativeStatement::nextRow()
{
    const int result = sqlite3_step(m_statement);
    if (result == SQLITE_ROW) {
        return true;
    }
    if (result != SQLITE_DONE) {
        logFailure("failed");
        m_failed = true;
    }
    sqlite3_reset(m_statement);
    return false;
}

// A variant binds as Qt's SQLite driver binds it: a null string as NULL, any other type by its
// string form.
bool NativeStatement::bind(int index, const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QByteArray:
        return Value(value.toByteArray()).bindTo(m_statement, index, m_bound) == SQLITE_OK;
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return Value(value.toLongLong()).bindTo(m_statement, index, m_bound) == SQLITE_OK;
    case QMetaType::Double:
        return sqlite3_bind_double(m_statement, index, value.toDouble()) == SQLITE_OK;
    case QMetaType::UnknownType:
        return Value().bindTo(m_statement, index, m_bound) == SQLITE_OK;
    default: {
        const QString text = value.toString();
        return (text.isNull() ? Value() : Value(text)).bindTo(m_statement, index, m_bound)
                == SQLITE_OK;
    }
    }
}

void NativeStatement::logFailure(const char *what) const
{
    qCWarning(lcPlatform).noquote()
            << "storage:" << what << "(" << sqlite3_errmsg(m_handle) << ") in" << m_sql;
}

} // namespace storage::Sql
