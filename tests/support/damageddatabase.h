#pragma once

#include <QFile>
#include <QList>
#include <QRandomGenerator>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QStringList>

// Damages an SQLite database file on purpose, as a failing disk or a stray write would: garbage
// over whole pages. No connection may hold the file open meanwhile, or its page cache would hide
// the damage. The garbage is the same on every run.
namespace DamagedDatabase {

inline QByteArray garbage(qint64 size)
{
    QRandomGenerator random(0x5eed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &byte : bytes) {
        byte = char(random.bounded(256));
    }
    return bytes;
}

// Writes garbage over size bytes from offset.
inline bool writeGarbage(const QString &path, qint64 offset, qint64 size)
{
    QFile file(path);
    return file.open(QIODevice::ReadWrite) && file.seek(offset)
            && file.write(garbage(size)) == size;
}

// Moves every page the write-ahead log holds into the file, and finds the page size and the
// root page of each named table or index; false when any of it cannot be read.
inline bool settle(const QString &path, const QStringList &objects, qint64 *pageSize,
                   QList<qint64> *rootPages)
{
    const QString connection = QStringLiteral("damaged_database");
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(path);
        if (db.open()) {
            QSqlQuery query(db);
            query.exec(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
            if (query.exec(QStringLiteral("PRAGMA page_size")) && query.next()) {
                *pageSize = query.value(0).toLongLong();
            }
            for (const QString &object : objects) {
                query.prepare(QStringLiteral("SELECT rootpage FROM sqlite_master WHERE name = ?"));
                query.addBindValue(object);
                if (query.exec() && query.next()) {
                    rootPages->append(query.value(0).toLongLong());
                }
            }
        }
    }
    QSqlDatabase::removeDatabase(connection);
    return *pageSize > 0 && rootPages->size() == objects.size();
}

// Writes garbage over the root page of each named table or index.
inline bool damageRootPages(const QString &path, const QStringList &objects)
{
    qint64 pageSize = 0;
    QList<qint64> pages;
    if (!settle(path, objects, &pageSize, &pages)) {
        return false;
    }
    for (qint64 page : std::as_const(pages)) {
        if (!writeGarbage(path, (page - 1) * pageSize, pageSize)) {
            return false;
        }
    }
    return true;
}

// Writes size bytes of garbage from the first page boundary at or after the middle of the file.
inline bool damageMiddle(const QString &path, qint64 size)
{
    qint64 pageSize = 0;
    QList<qint64> none;
    if (!settle(path, {}, &pageSize, &none)) {
        return false;
    }
    const qint64 middle = QFile(path).size() / 2;
    return writeGarbage(path, (middle + pageSize - 1) / pageSize * pageSize, size);
}

// The file-reference table and its indexes: which messages name which files.
inline QStringList fileReferencePages()
{
    return {QStringLiteral("file_reference"), QStringLiteral("file_reference_file"),
            QStringLiteral("file_reference_thumb"), QStringLiteral("file_reference_live_photo")};
}

} // namespace DamagedDatabase
