#include "database.h"

#include "livephotoindex_p.h"
#include "platformlog.h"
#include "sqlhelpers_p.h"

#include <QHash>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QThreadStorage>

namespace storage {

namespace {

const QStringList &schemaStatements()
{
    // The gallery pages walk these indexes: one dialog (resource_dialog_*) or all dialogs
    // (resource_kind_time, resource_time), and for one kind (photos and videos share kind 2) or
    // any type. Each index ends with the full page order, so SQLite never sorts a page.
    static const QStringList statements {
            QStringLiteral(
                    "CREATE TABLE IF NOT EXISTS resource ("
                    "dialog_id TEXT NOT NULL, message_id INTEGER NOT NULL, "
                    "sub_msg_id INTEGER NOT NULL, type INTEGER NOT NULL, kind INTEGER NOT NULL, "
                    "date_time INTEGER NOT NULL, sender_id INTEGER NOT NULL, "
                    "text TEXT NOT NULL, folded_text TEXT NOT NULL, "
                    "PRIMARY KEY (dialog_id, message_id, sub_msg_id))"),
            QStringLiteral("CREATE INDEX IF NOT EXISTS resource_dialog_time ON resource "
                           "(dialog_id, date_time, message_id, sub_msg_id)"),
            QStringLiteral("CREATE INDEX IF NOT EXISTS resource_dialog_kind_time ON resource "
                           "(dialog_id, kind, date_time, message_id, sub_msg_id)"),
            QStringLiteral("CREATE INDEX IF NOT EXISTS resource_time ON resource "
                           "(date_time, message_id, sub_msg_id, dialog_id)"),
            QStringLiteral("CREATE INDEX IF NOT EXISTS resource_kind_time ON resource "
                           "(kind, date_time, message_id, sub_msg_id, dialog_id)"),

            // Ingest writes a row per media message, so every b-tree a row lands in counts: the
            // table is its primary key (no rowid tree beside it), and the file and thumbnail
            // indexes, which only the reference checks read, skip the empty ids. The jobs that
            // read a dialog's rows by time (clearing its history, bulk download) are rare and
            // want most of them anyway, so they walk the dialog's key range instead of keeping a
            // time index on every insert; files of version 1 drop that index.
            QStringLiteral("CREATE TABLE IF NOT EXISTS file_reference ("
                           "dialog_id TEXT NOT NULL, message_id INTEGER NOT NULL, "
                           "sub_msg_id INTEGER NOT NULL, type INTEGER NOT NULL, "
                           "date_time INTEGER NOT NULL, thumb_id TEXT NOT NULL, "
                           "file_id TEXT NOT NULL, data BLOB, "
                           "PRIMARY KEY (dialog_id, message_id, sub_msg_id, type)) WITHOUT ROWID"),
            QStringLiteral("CREATE INDEX IF NOT EXISTS file_reference_file ON file_reference "
                           "(file_id) WHERE file_id != ''"),
            QStringLiteral("CREATE INDEX IF NOT EXISTS file_reference_thumb ON file_reference "
                           "(thumb_id) WHERE thumb_id != ''"),
            QStringLiteral("DROP INDEX IF EXISTS file_reference_dialog_time"),
            // The video of a live photo with a thumbnail is named by neither id column, only by
            // the record; the expiry asks which rows name it.
            QStringLiteral("CREATE INDEX IF NOT EXISTS file_reference_live_photo ON file_reference "
                           "(%1) WHERE %2")
                    .arg(LivePhotoIndex::expression(), LivePhotoIndex::condition()),

            QStringLiteral(
                    "CREATE TABLE IF NOT EXISTS cache_file ("
                    "file_id TEXT NOT NULL PRIMARY KEY, type INTEGER NOT NULL, "
                    "suffix TEXT NOT NULL, size INTEGER NOT NULL, date_time INTEGER NOT NULL)"),
            QStringLiteral("CREATE INDEX IF NOT EXISTS cache_file_time ON cache_file "
                           "(date_time, file_id)"),

            QStringLiteral("CREATE TABLE IF NOT EXISTS buffer_file ("
                           "file_id TEXT NOT NULL PRIMARY KEY, category INTEGER NOT NULL, "
                           "kind INTEGER NOT NULL, suffix TEXT NOT NULL, size INTEGER NOT NULL, "
                           "date_time INTEGER NOT NULL)"),
            QStringLiteral("CREATE INDEX IF NOT EXISTS buffer_file_time ON buffer_file "
                           "(date_time, file_id)"),

            QStringLiteral("CREATE TABLE IF NOT EXISTS keep_media_setting ("
                           "dialog_id TEXT NOT NULL PRIMARY KEY, keep_time INTEGER NOT NULL)"),

            // Looked up by id two at a time for every message a gallery page shows: kept in the
            // order of its key, a lookup is one b-tree descent instead of an index and a table.
            QStringLiteral(
                    "CREATE TABLE IF NOT EXISTS file_record ("
                    "file_id TEXT NOT NULL PRIMARY KEY, type INTEGER NOT NULL, "
                    "suffix TEXT NOT NULL, size INTEGER NOT NULL, name TEXT NOT NULL, "
                    "url TEXT NOT NULL, state INTEGER NOT NULL, downloaded INTEGER NOT NULL) "
                    "WITHOUT ROWID"),

            QStringLiteral("CREATE TABLE IF NOT EXISTS message ("
                           "dialog_id TEXT NOT NULL, message_id INTEGER NOT NULL, "
                           "sub_msg_id INTEGER NOT NULL, date_time INTEGER NOT NULL, "
                           "type INTEGER NOT NULL, sender_id INTEGER NOT NULL, text TEXT NOT NULL, "
                           "folded_text TEXT NOT NULL, has_url INTEGER NOT NULL, "
                           "removed INTEGER NOT NULL, data BLOB, "
                           "PRIMARY KEY (dialog_id, message_id, sub_msg_id))"),
            QStringLiteral("CREATE INDEX IF NOT EXISTS message_dialog_time ON message "
                           "(dialog_id, date_time)"),

            QStringLiteral(
                    "CREATE TABLE IF NOT EXISTS dialog ("
                    "dialog_id TEXT NOT NULL PRIMARY KEY, name TEXT NOT NULL, "
                    "type INTEGER NOT NULL, is_group INTEGER NOT NULL, "
                    "first_visible_msg_id INTEGER NOT NULL, last_active_time INTEGER NOT NULL, "
                    "can_search_remote INTEGER NOT NULL, has_remote_history INTEGER NOT NULL)"),
    };
    return statements;
}

std::atomic<quint64> s_nextSerial {1};
std::atomic<quint64> s_nextConnection {1};

// The connections every Database made, by serial. A connection leaves it exactly once: when its
// thread ends or when its Database is destroyed, whichever comes first; that side removes it.
class ConnectionRegistry
{
public:
    void add(quint64 serial, const QString &name)
    {
        QMutexLocker locker(&m_mutex);
        m_names[serial].insert(name);
    }

    bool take(quint64 serial, const QString &name)
    {
        QMutexLocker locker(&m_mutex);
        const auto it = m_names.find(serial);
        if (it == m_names.end() || !it->remove(name)) {
            return false;
        }
        if (it->isEmpty()) {
            m_names.erase(it);
        }
        return true;
    }

    QSet<QString> takeAll(quint64 serial)
    {
        QMutexLocker locker(&m_mutex);
        return m_names.take(serial);
    }

private:
    QMutex m_mutex;
    QHash<quint64, QSet<QString>> m_names; // guarded by m_mutex
};

Q_GLOBAL_STATIC(ConnectionRegistry, s_registry)

// The connections of one thread, by Database serial. Lives in thread-local storage, so it is
// deleted on its own thread when the thread ends, which is where its connections must close.
struct ThreadConnections
{
    struct Entry
    {
        QString name;
        int transactionDepth = 0;
    };

    ~ThreadConnections()
    {
        if (s_registry.isDestroyed()) {
            return;
        }
        for (auto it = entries.cbegin(); it != entries.cend(); ++it) {
            if (s_registry->take(it.key(), it->name)) {
                Sql::finalizeKeptStatements(it->name);
                QSqlDatabase::removeDatabase(it->name);
            }
        }
    }

    QHash<quint64, Entry> entries;
};

QThreadStorage<ThreadConnections *> s_threadConnections;

ThreadConnections::Entry &threadEntry(quint64 serial)
{
    if (!s_threadConnections.hasLocalData()) {
        s_threadConnections.setLocalData(new ThreadConnections);
    }
    return s_threadConnections.localData()->entries[serial];
}

bool execute(QSqlDatabase &db, const QString &sql)
{
    QSqlQuery query(db);
    if (!query.exec(sql)) {
        qCWarning(lcPlatform).noquote()
                << "storage:" << sql << "failed:" << query.lastError().text() << "in"
                << db.databaseName();
        return false;
    }
    return true;
}

} // namespace

Database::Database(const QString &path)
    : m_path(path)
    , m_serial(s_nextSerial++)
{ }

Database::~Database()
{
    if (s_threadConnections.hasLocalData()) {
        s_threadConnections.localData()->entries.remove(m_serial);
    }
    const QSet<QString> names = s_registry->takeAll(m_serial);
    for (const QString &name : names) {
        Sql::finalizeKeptStatements(name);
        QSqlDatabase::removeDatabase(name);
    }
}

QSqlDatabase Database::connection()
{
    ThreadConnections::Entry &entry = threadEntry(m_serial);
    if (entry.name.isEmpty()) {
        entry.name = addConnection();
    }
    QSqlDatabase db = QSqlDatabase::database(entry.name, false);
    if (!db.isOpen()) {
        open(db);
    }
    return db;
}

bool Database::isOpen()
{
    return connection().isOpen() && m_schemaReady.load();
}

bool Database::transaction(const std::function<bool(QSqlDatabase &)> &fn)
{
    QSqlDatabase db = connection();
    if (!db.isOpen()) {
        return false;
    }
    // Looked up again after fn: fn may open connections of other databases on this thread, which
    // may move the entry.
    const int depth = threadEntry(m_serial).transactionDepth;
    const bool nested = depth > 0;
    const QString savepoint = QStringLiteral("nested%1").arg(depth);
    if (!execute(db,
                 nested ? QStringLiteral("SAVEPOINT ") + savepoint
                        : QStringLiteral("BEGIN IMMEDIATE"))) {
        return false;
    }
    threadEntry(m_serial).transactionDepth = depth + 1;
    bool ok = fn(db);
    threadEntry(m_serial).transactionDepth = depth;
    if (nested) {
        if (!ok) {
            execute(db, QStringLiteral("ROLLBACK TO ") + savepoint);
        }
        return execute(db, QStringLiteral("RELEASE ") + savepoint) && ok;
    }
    ok = ok && execute(db, QStringLiteral("COMMIT"));
    if (!ok) {
        execute(db, QStringLiteral("ROLLBACK"));
    }
    return ok;
}

bool Database::isSound(QString *problem)
{
    QSqlDatabase db = connection();
    if (!db.isOpen()) {
        *problem = db.lastError().text();
        return false;
    }
    QSqlQuery check(db);
    if (!check.exec(QStringLiteral("PRAGMA quick_check(1)")) || !check.next()) {
        *problem = check.lastError().text();
        return false;
    }
    const QString verdict = check.value(0).toString();
    if (verdict != QLatin1String("ok")) {
        *problem = verdict.split(QLatin1Char('\n'), Qt::SkipEmptyParts).join(QStringLiteral("; "));
        return false;
    }
    return true;
}

QString Database::addConnection()
{
    const QString name = QStringLiteral("storage-%1-%2").arg(m_serial).arg(s_nextConnection++);
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    db.setDatabaseName(m_path);
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
    s_registry->add(m_serial, name);
    return name;
}

bool Database::open(QSqlDatabase &db)
{
    if (!db.open()) {
        qCWarning(lcPlatform).noquote()
                << "storage: cannot open" << m_path << db.lastError().text();
        return false;
    }
    // A history batch writes megabytes of pages in one transaction; with SQLite's 2 MB default
    // the pages it still changes are spilled to the journal midway and written a second time at
    // commit. Pages are taken only as used, so an idle connection holds none of the 16 MB.
    if (!ensureSchema(db) || !execute(db, QStringLiteral("PRAGMA synchronous=NORMAL"))
        || !execute(db, QStringLiteral("PRAGMA cache_size=-16384"))) {
        db.close();
        return false;
    }
    return true;
}

bool Database::ensureSchema(QSqlDatabase &db)
{
    if (m_schemaReady.load()) {
        return true;
    }
    QMutexLocker locker(&m_schemaMutex);
    if (!m_schemaReady.load()) {
        m_schemaReady.store(createSchema(db));
    }
    return m_schemaReady.load();
}

bool Database::createSchema(QSqlDatabase &db)
{
    QSqlQuery version(db);
    if (!version.exec(QStringLiteral("PRAGMA user_version")) || !version.next()) {
        qCWarning(lcPlatform).noquote() << "storage: cannot read the schema version of" << m_path
                                        << version.lastError().text();
        return false;
    }
    const int found = version.value(0).toInt();
    version.finish();
    if (found > SchemaVersion) {
        qCWarning(lcPlatform).noquote() << "storage:" << m_path << "has schema version" << found
                                        << "newer than" << SchemaVersion << "; not using it";
        return false;
    }
    // A file of this version has its schema: opening it writes nothing, so a file that turns out
    // to be damaged is left as it was.
    if (found == SchemaVersion) {
        return true;
    }
    // Only now that the file is known to be ours: the journal mode is written into the file.
    if (!execute(db, QStringLiteral("PRAGMA journal_mode=WAL"))) {
        return false;
    }
    return transaction([](QSqlDatabase &db) {
        for (const QString &statement : schemaStatements()) {
            if (!execute(db, statement)) {
                return false;
            }
        }
        return execute(db, QStringLiteral("PRAGMA user_version=%1").arg(SchemaVersion));
    });
}

} // namespace storage
