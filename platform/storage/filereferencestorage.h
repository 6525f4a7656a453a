#pragma once

#include "messageidrange.h"
#include "storage_export.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>

namespace storage {

class Database;

// Rows made from a quoted message carry this bit on top of the content type, so that they never
// collide with the rows of the message's own media and never count as a reason to delete a file.
constexpr int QUOTED_TYPE_FLAG = 0x800;

// One resource of a message and the files it names. Fields in this order.
struct FileReferenceInfo
{
    QString dialogId;
    qint64 messageId = 0;
    qint32 subMsgId = 0;
    int type = 0; // content type; quoted media: type | QUOTED_TYPE_FLAG
    qint64 dateTime = 0;
    QString thumbId;
    QString fileId;
    QByteArray data; // JSON record of the resource's files

    bool isQuoted() const { return (type & QUOTED_TYPE_FLAG) != 0; }
    // The content type of the message or of the quoted message the row was made from.
    int contentType() const { return type & ~QUOTED_TYPE_FLAG; }
};

// The file-reference table: which message rows name which files, so that a file is deleted only
// when no row names it any more. Primary key (dialogId, messageId, subMsgId, type); looked up by
// fileId, by thumbId and by the live-photo id of the record.
//
// Lists of ids may be of any length (they are bound in chunks); empty ids and duplicates are
// ignored. Rows come back in no particular order unless stated. Thread-safe; failures log one
// warning and return false or an empty result. The lookups a deletion rests on also tell a failed
// read from one that found nothing through ok.
class STORAGE_EXPORT FileReferenceStorage
{
public:
    explicit FileReferenceStorage(Database *db);

    // Inserts or replaces by key, all rows in one transaction.
    bool save(const QList<FileReferenceInfo> &rows);
    // Removes every row of the message: all sub ids and the quoted rows.
    bool remove(const QString &dialogId, qint64 messageId);

    // The remove* forms return the rows they removed, read and deleted in one transaction.
    // Messages from range.from() to range.to(), both included; from > to removes nothing.
    QList<FileReferenceInfo> removeWithMessageRange(const QString &dialogId,
                                                    const MessageIdRange &range);
    QList<FileReferenceInfo> removeWithMessageIds(const QString &dialogId,
                                                  const QList<qint64> &messageIds);
    // Rows with dateTime <= time; time < 1 removes every row of the dialog.
    QList<FileReferenceInfo> removeBefore(const QString &dialogId, qint64 time);

    // File id -> number of rows naming it as their fileId, quoted rows included. Ids that no row
    // names are absent, never mapped to 0.
    QMap<QString, int> fileReferences(const QList<QString> &fileIds, bool *ok = nullptr);
    QList<FileReferenceInfo> infosWithFileIds(const QList<QString> &fileIds, bool *ok = nullptr);
    QList<FileReferenceInfo> infosWithThumbIds(const QList<QString> &thumbIds, bool *ok = nullptr);
    // Rows whose record (data) names one of the ids as its live-photo video, which the thumbId
    // column does only when the resource has no thumbnail.
    QList<FileReferenceInfo> infosWithLivePhotoIds(const QList<QString> &livePhotoIds,
                                                   bool *ok = nullptr);
    QList<FileReferenceInfo> infosWithMessageIds(const QString &dialogId,
                                                 const QList<qint64> &messageIds);
    // Rows of the dialog with dateTime >= sinceTime (< 1: all) whose type is in types (empty:
    // any), newest first.
    QList<FileReferenceInfo> infosWithDialog(const QString &dialogId, qint64 sinceTime,
                                             const QList<int> &types);

private:
    Database *const m_db;
};

} // namespace storage
