#include "sqlhelpers_p.h"

#include "jsonutil.h"
#include "platformlog.h"

#include <QSqlDriver>
#include <QSqlError>
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

} // namespace

QString placeholders(qsizetype count)
{
    QString list;
    list.reserve(count * 3);
    for (qsizetype i = 0; i < count; ++i) {
        list += i == 0 ? QStringLiteral("?") : QStringLiteral(", ?");
    }
    return list;
}

QVariant text(const QString &value)
{
    return value.isNull() ? QVariant(QStringLiteral("")) : QVariant(value);
}

QString idSet()
{
    return QStringLiteral("SELECT value FROM json_each(?)");
}

QVariant idArray(const QList<QString> &ids)
{
    QByteArray json("[");
    for (const QString &id : ids) {
        if (!id.isEmpty()) {
            if (json.size() > 1) {
                json += ',';
            }
            appendJsonString(json, id);
        }
    }
    json += ']';
    return json.size() > 2 ? QVariant(QString::fromUtf8(json)) : QVariant();
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

QString NativeRow::text(int column) const
{
    const void *data = sqlite3_column_text16(m_statement, column);
    const int bytes = sqlite3_column_bytes16(m_statement, column);
    return data ? QString(static_cast<const QChar *>(data), bytes / int(sizeof(QChar))) : QString();
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
    : m_sql(sql)
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
    if (sqlite3_prepare16_v2(m_handle, sql.utf16(), int(sql.size() * sizeof(char16_t)),
                             &m_statement, nullptr)
        != SQLITE_OK) {
        logFailure("cannot prepare");
        m_statement = nullptr;
    }
}

NativeStatement::~NativeStatement()
{
    sqlite3_finalize(m_statement);
}

bool NativeStatement::run(const QVariantList &values)
{
    if (!start(values)) {
        return false;
    }
    while (nextRow()) {
    }
    return !m_failed;
}

bool NativeStatement::start(const QVariantList &values)
{
    m_failed = false;
    if (!m_statement) {
        return false;
    }
    sqlite3_clear_bindings(m_statement);
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

// The variant outlives the step, so text and bytes are bound without a copy.
bool NativeStatement::bind(int index, const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString: {
        const auto *text = static_cast<const QString *>(value.constData());
        return (text->isNull()
                        ? sqlite3_bind_null(m_statement, index)
                        : sqlite3_bind_text16(m_statement, index, text->utf16(),
                                              int(text->size() * sizeof(char16_t)), SQLITE_STATIC))
                == SQLITE_OK;
    }
    case QMetaType::QByteArray: {
        const auto *bytes = static_cast<const QByteArray *>(value.constData());
        return (bytes->isNull() ? sqlite3_bind_null(m_statement, index)
                                : sqlite3_bind_blob(m_statement, index, bytes->constData(),
                                                    int(bytes->size()), SQLITE_STATIC))
                == SQLITE_OK;
    }
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return sqlite3_bind_int64(m_statement, index, value.toLongLong()) == SQLITE_OK;
    case QMetaType::Double:
        return sqlite3_bind_double(m_statement, index, value.toDouble()) == SQLITE_OK;
    case QMetaType::UnknownType:
        return sqlite3_bind_null(m_statement, index) == SQLITE_OK;
    default: {
        const QString text = value.toString();
        return sqlite3_bind_text16(m_statement, index, text.utf16(),
                                   int(text.size() * sizeof(char16_t)), SQLITE_TRANSIENT)
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
