#include "sqlhelpers_p.h"

#include "platformlog.h"

#include <QSqlDriver>
#include <QSqlError>

namespace storage::Sql {

namespace {

void logFailure(const QSqlQuery &query, const QString &sql)
{
    qCWarning(lcPlatform).noquote() << "storage:" << query.lastError().text() << "in" << sql;
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

} // namespace storage::Sql
