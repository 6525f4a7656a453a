#include "filereferencestorage.h"

#include "database.h"
#include "livephotoindex_p.h"
#include "platformlog.h"
#include "sqlhelpers_p.h"
#include "whereclause_p.h"

#include <QSqlQuery>

namespace storage {

namespace {

FileReferenceInfo rowAt(const Sql::NativeRow &stored)
{
    FileReferenceInfo row;
    row.dialogId = stored.text(0);
    row.messageId = stored.integer(1);
    row.subMsgId = int(stored.integer(2));
    row.type = int(stored.integer(3));
    row.dateTime = stored.integer(4);
    row.thumbId = stored.text(5);
    row.fileId = stored.text(6);
    row.data = stored.blob(7);
    return row;
}

const QString &selectColumns()
{
    static const QString sql = QStringLiteral("SELECT dialog_id, message_id, sub_msg_id, type, "
                                              "date_time, thumb_id, file_id, data "
                                              "FROM file_reference");
    return sql;
}

bool selectRows(QSqlDatabase db, const WhereClause &where, QList<FileReferenceInfo> &rows,
                const QString &orderBy = QString())
{
    return Sql::select(db, selectColumns() + where.sql() + orderBy, where.values(), rowAt, rows);
}

bool deleteRows(QSqlDatabase db, const WhereClause &where)
{
    QSqlQuery query(db);
    return Sql::exec(query, QStringLiteral("DELETE FROM file_reference") + where.sql(),
                     where.values());
}

// Reads and deletes the rows of where in one transaction: the rows removed, none on failure.
QList<FileReferenceInfo> takeRows(Database *db, const WhereClause &where)
{
    QList<FileReferenceInfo> removed;
    const bool ok = db->transaction([&](QSqlDatabase &connection) {
        return selectRows(connection, where, removed) && deleteRows(connection, where);
    });
    return ok ? removed : QList<FileReferenceInfo>();
}

// The file and thumbnail indexes leave out empty ids, most thumbnails being absent; SQLite uses
// such an index only when the query itself rules the empty id out.
QString nonEmptyIdIn(const QString &column)
{
    return column + QStringLiteral(" != '' AND ") + column + QStringLiteral(" IN (%1)");
}

QList<FileReferenceInfo> rowsWithIds(Database *db, const QString &column, const QList<QString> &ids,
                                     bool *ok)
{
    QList<FileReferenceInfo> rows;
    const bool succeeded = Sql::selectWithIds(
            db->connection(), selectColumns() + QStringLiteral(" WHERE ") + nonEmptyIdIn(column),
            {}, ids, rowAt, rows);
    return Sql::readResult(succeeded, std::move(rows), ok);
}

} // namespace

FileReferenceStorage::FileReferenceStorage(Database *db)
    : m_db(db)
{ }

bool FileReferenceStorage::save(const QList<FileReferenceInfo> &rows)
{
    return Sql::insertRows(m_db,
                           QStringLiteral("INSERT OR REPLACE INTO file_reference (dialog_id, "
                                          "message_id, sub_msg_id, type, date_time, thumb_id, "
                                          "file_id, data)"),
                           rows, [](const FileReferenceInfo &row) {
                               return Sql::Values {
                                       row.dialogId, row.messageId, row.subMsgId, row.type,
                                       row.dateTime, row.thumbId,   row.fileId,   row.data,
                               };
                           });
}

bool FileReferenceStorage::remove(const QString &dialogId, qint64 messageId)
{
    return deleteRows(m_db->connection(),
                      WhereClause(QStringLiteral("dialog_id = ? AND message_id = ?"),
                                  {Sql::text(dialogId), messageId}));
}

QList<FileReferenceInfo> FileReferenceStorage::removeWithMessageRange(const QString &dialogId,
                                                                      const MessageIdRange &range)
{
    if (range.from() > range.to()) {
        qCWarning(lcPlatform) << "storage: inverted message range" << range.from() << range.to()
                              << "of dialog" << dialogId << "removes nothing";
        return {};
    }
    return takeRows(m_db,
                    WhereClause(QStringLiteral("dialog_id = ? AND message_id BETWEEN ? AND ?"),
                                {Sql::text(dialogId), range.from(), range.to()}));
}

QList<FileReferenceInfo> FileReferenceStorage::removeWithMessageIds(const QString &dialogId,
                                                                    const QList<qint64> &messageIds)
{
    const QVariant idList = Sql::idArray(messageIds);
    if (idList.isNull()) {
        return {};
    }
    return takeRows(m_db,
                    WhereClause(QStringLiteral("dialog_id = ?"), {Sql::text(dialogId)})
                            .add(QStringLiteral("message_id IN (%1)").arg(Sql::idSet()), {idList}));
}

QList<FileReferenceInfo> FileReferenceStorage::removeBefore(const QString &dialogId, qint64 time)
{
    WhereClause where(QStringLiteral("dialog_id = ?"), {Sql::text(dialogId)});
    if (time >= 1) {
        where.add(QStringLiteral("date_time <= ?"), {time});
    }
    return takeRows(m_db, where);
}

QMap<QString, int> FileReferenceStorage::fileReferences(const QList<QString> &fileIds, bool *ok)
{
    QList<std::pair<QString, int>> counts;
    const bool succeeded = Sql::selectWithIds(
            m_db->connection(),
            QStringLiteral("SELECT file_id, COUNT(*) FROM file_reference WHERE ")
                    + nonEmptyIdIn(QStringLiteral("file_id")) + QStringLiteral(" GROUP BY file_id"),
            {}, fileIds,
            [](const Sql::NativeRow &stored) {
                return std::make_pair(stored.text(0), int(stored.integer(1)));
            },
            counts);
    QMap<QString, int> references;
    for (const auto &[fileId, count] : Sql::readResult(succeeded, std::move(counts), ok)) {
        references.insert(fileId, count);
    }
    return references;
}

QList<FileReferenceInfo> FileReferenceStorage::infosWithFileIds(const QList<QString> &fileIds,
                                                                bool *ok)
{
    return rowsWithIds(m_db, QStringLiteral("file_id"), fileIds, ok);
}

QList<FileReferenceInfo> FileReferenceStorage::infosWithThumbIds(const QList<QString> &thumbIds,
                                                                 bool *ok)
{
    return rowsWithIds(m_db, QStringLiteral("thumb_id"), thumbIds, ok);
}

QList<FileReferenceInfo>
FileReferenceStorage::infosWithLivePhotoIds(const QList<QString> &livePhotoIds, bool *ok)
{
    QList<FileReferenceInfo> rows;
    const bool succeeded =
            Sql::selectWithIds(m_db->connection(),
                               selectColumns() + QStringLiteral(" WHERE ")
                                       + LivePhotoIndex::condition() + QStringLiteral(" AND ")
                                       + LivePhotoIndex::expression() + QStringLiteral(" IN (%1)"),
                               {}, livePhotoIds, rowAt, rows);
    return Sql::readResult(succeeded, std::move(rows), ok);
}

QList<FileReferenceInfo> FileReferenceStorage::infosWithMessageIds(const QString &dialogId,
                                                                   const QList<qint64> &messageIds)
{
    QList<FileReferenceInfo> rows;
    const bool ok = Sql::selectWithIds(
            m_db->connection(),
            selectColumns() + QStringLiteral(" WHERE dialog_id = ? AND message_id IN (%1)"),
            {Sql::text(dialogId)}, messageIds, rowAt, rows);
    return ok ? rows : QList<FileReferenceInfo>();
}

QList<FileReferenceInfo> FileReferenceStorage::infosWithDialog(const QString &dialogId,
                                                               qint64 sinceTime,
                                                               const QList<int> &types)
{
    WhereClause where(QStringLiteral("dialog_id = ?"), {Sql::text(dialogId)});
    if (sinceTime >= 1) {
        where.add(QStringLiteral("date_time >= ?"), {sinceTime});
    }
    const QList<int> uniqueTypes = Sql::uniqueIds(types);
    if (!uniqueTypes.isEmpty()) {
        where.add(QStringLiteral("type IN (%1)").arg(Sql::placeholders(uniqueTypes.size())),
                  Sql::toVariantList(uniqueTypes));
    }
    QList<FileReferenceInfo> rows;
    const bool ok = selectRows(m_db->connection(), where, rows,
                               QStringLiteral(" ORDER BY date_time DESC, message_id DESC, "
                                              "sub_msg_id DESC, type"));
    return ok ? rows : QList<FileReferenceInfo>();
}

} // namespace storage
