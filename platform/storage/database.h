#pragma once

#include "storage_export.h"

#include <QMutex>
#include <QSqlDatabase>
#include <QString>
#include <atomic>
#include <functional>

namespace storage {

// One SQLite file, shared by the GUI thread, pool workers and host threads.
//
// SQLite connections must not be shared between threads, so every thread that touches the file
// gets its own named Qt SQL connection, opened on first use (WAL journal so readers never wait for
// a writer, a 5 s busy timeout so concurrent writers queue instead of failing, synchronous=NORMAL,
// a page cache of up to 16 MB) and removed when that thread ends. The schema of every table of the
// storage library is created on the first successful open; PRAGMA user_version records its version.
//
// Every method may be called from any thread; each works on the calling thread's connection.
class STORAGE_EXPORT Database
{
public:
    explicit Database(const QString &path);
    // Closes and removes the connections of every thread that still holds one: no thread may use
    // this database any more.
    ~Database();

    QString path() const { return m_path; }
    // This thread's connection, opened if it is not yet; check isOpen() (or let the query fail)
    // before relying on it.
    QSqlDatabase connection();
    // Whether the file could be opened and holds the schema of this version.
    bool isOpen();
    // Runs fn in one transaction on this thread's connection and commits when fn returns true;
    // rolls back when it returns false or the commit fails. Write transactions take the write lock
    // up front, so two threads never deadlock upgrading read locks. A nested call (fn calling
    // transaction() again) becomes a savepoint of the enclosing transaction.
    bool transaction(const std::function<bool(QSqlDatabase &)> &fn);
    // Whether SQLite finds every page of the file sound (PRAGMA quick_check; indexes are not
    // compared with their tables). False, with the first problem in *problem, when it does not
    // or cannot check at all. Reads the whole file: meant for tools that open an account once.
    bool isSound(QString *problem);

    // The version written to PRAGMA user_version by this build.
    static constexpr int SchemaVersion = 2;

private:
    Q_DISABLE_COPY(Database)

    QString addConnection();
    bool open(QSqlDatabase &db);
    bool ensureSchema(QSqlDatabase &db);
    bool createSchema(QSqlDatabase &db);

    const QString m_path;
    // Never reused, so a connection name can never name a connection of another Database.
    const quint64 m_serial;
    QMutex m_schemaMutex; // serialises the schema check of the first connections
    std::atomic<bool> m_schemaReady {false};
};

} // namespace storage
