#include "cachefilestorage.h"
#include "database.h"
#include "filereferencestorage.h"
#include "filestorage.h"
#include "messagestorage.h"
#include "resourcestorage.h"
#include "userstorageprovider.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QThreadPool>
#include <QtConcurrent>
#include <atomic>
#include <memory>
#include <numeric>

using storage::Database;

namespace {

QStringList storageConnections()
{
    return QSqlDatabase::connectionNames().filter(QRegularExpression("^storage-"));
}

QVariant pragma(Database &db, const QString &name)
{
    QSqlQuery query(db.connection());
    if (!query.exec("PRAGMA " + name) || !query.next()) {
        return QVariant();
    }
    return query.value(0);
}

QByteArray fileHash(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return QByteArray();
    }
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

// The file descriptors of this process open on the database file or its journals.
int openHandlesOf(const QString &path)
{
    const QFileInfo file(path);
    const QString canonical = file.dir().canonicalPath() + QLatin1Char('/') + file.fileName();
    int handles = 0;
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    for (const QFileInfo &descriptor :
         descriptors.entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
        handles += descriptor.symLinkTarget().startsWith(canonical) ? 1 : 0;
    }
    return handles;
}

storage::CacheFileInfo cacheFile(const QString &fileId, qint64 size = 10)
{
    storage::CacheFileInfo info;
    info.fileId = fileId;
    info.size = size;
    return info;
}

// Collects the warnings logged while it lives.
class WarningRecorder
{
public:
    WarningRecorder()
    {
        s_messages.clear();
        m_previous = qInstallMessageHandler(record);
    }
    ~WarningRecorder() { qInstallMessageHandler(m_previous); }
    QStringList messages() const { return s_messages; }

private:
    static void record(QtMsgType type, const QMessageLogContext &, const QString &message)
    {
        if (type == QtWarningMsg) {
            s_messages.append(message);
        }
    }

    static inline QStringList s_messages;
    QtMessageHandler m_previous = nullptr;
};

} // namespace

class tst_Database : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void schemaAndSettings();
    void dataOutlivesTheObject();
    void upgradesVersionOneKeepingRows();
    void unusableFile_data();
    void unusableFile();
    void transactionCommitsOrRollsBack_data();
    void transactionCommitsOrRollsBack();
    void nestedTransaction();
    void connectionPerThread();
    void connectionClosesWithItsThread();
    void destructionClosesConnectionsOfLiveThreads();
    void keptStatementsLetConnectionsClose();
    void concurrentUse();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

void tst_Database::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void tst_Database::cleanup()
{
    m_dir.reset();
    QVERIFY2(storageConnections().isEmpty(), qPrintable(storageConnections().join(' ')));
}

void tst_Database::schemaAndSettings()
{
    Database db(m_dir->filePath("account.db"));
    QCOMPARE(db.path(), m_dir->filePath("account.db"));
    QVERIFY(db.isOpen());
    QCOMPARE(pragma(db, "user_version").toInt(), Database::SchemaVersion);
    QCOMPARE(pragma(db, "journal_mode").toString(), QStringLiteral("wal"));
    QCOMPARE(pragma(db, "busy_timeout").toInt(), 5000);
    QCOMPARE(pragma(db, "synchronous").toInt(), 1); // NORMAL
    QCOMPARE(pragma(db, "cache_size").toInt(), -16384);

    QSqlQuery tables(db.connection());
    QVERIFY(tables.exec("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name"));
    QStringList names;
    while (tables.next()) {
        names.append(tables.value(0).toString());
    }
    QCOMPARE(names,
             QStringList({"buffer_file", "cache_file", "dialog", "file_record", "file_reference",
                          "keep_media_setting", "message", "resource"}));
}

void tst_Database::dataOutlivesTheObject()
{
    const QString path = m_dir->filePath("account.db");
    {
        Database db(path);
        QVERIFY(storage::CacheFileStorage(&db).save({cacheFile("kept", 42)}));
    }
    Database db(path);
    QVERIFY(db.isOpen());
    QCOMPARE(storage::CacheFileStorage(&db).totalSize(), qint64(42));
}

// A version 1 file carried a time index on file references that ingest no longer pays for: it
// goes on the first open, and the rows stay and are still found by their dialog and time.
void tst_Database::upgradesVersionOneKeepingRows()
{
    const QString path = m_dir->filePath("account.db");
    {
        QSqlDatabase old = QSqlDatabase::addDatabase("QSQLITE", "version1");
        old.setDatabaseName(path);
        QVERIFY(old.open());
        QSqlQuery query(old);
        QVERIFY(query.exec("CREATE TABLE file_reference (dialog_id TEXT NOT NULL, "
                           "message_id INTEGER NOT NULL, sub_msg_id INTEGER NOT NULL, "
                           "type INTEGER NOT NULL, date_time INTEGER NOT NULL, "
                           "thumb_id TEXT NOT NULL, file_id TEXT NOT NULL, data BLOB, "
                           "PRIMARY KEY (dialog_id, message_id, sub_msg_id, type)) WITHOUT ROWID"));
        QVERIFY(query.exec("CREATE INDEX file_reference_dialog_time ON file_reference "
                           "(dialog_id, date_time)"));
        QVERIFY(query.exec("INSERT INTO file_reference VALUES ('d', 1, 0, 2, 100, '', 'f1', NULL), "
                           "('d', 2, 0, 2, 200, '', 'f2', NULL)"));
        QVERIFY(query.exec("PRAGMA user_version = 1"));
        query.finish();
        old.close();
        old = QSqlDatabase();
        QSqlDatabase::removeDatabase("version1");
    }
    Database db(path);
    QVERIFY(db.isOpen());
    QCOMPARE(pragma(db, "user_version").toInt(), Database::SchemaVersion);
    QSqlQuery index(db.connection());
    QVERIFY(index.exec("SELECT COUNT(*) FROM sqlite_master "
                       "WHERE name = 'file_reference_dialog_time'"));
    QVERIFY(index.next());
    QCOMPARE(index.value(0).toInt(), 0);
    index.finish();

    storage::FileReferenceStorage references(&db);
    const QList<storage::FileReferenceInfo> recent = references.infosWithDialog("d", 150, {});
    QCOMPARE(recent.size(), 1);
    QCOMPARE(recent.constFirst().fileId, QStringLiteral("f2"));
    const QList<storage::FileReferenceInfo> removed = references.removeBefore("d", 150);
    QCOMPARE(removed.size(), 1);
    QCOMPARE(removed.constFirst().fileId, QStringLiteral("f1"));
}

void tst_Database::unusableFile_data()
{
    QTest::addColumn<QString>("kind");

    QTest::newRow("folder does not exist") << "missing folder";
    QTest::newRow("file is not a database") << "garbage";
    QTest::newRow("schema of a newer version") << "newer";
    QTest::newRow("path is a folder") << "folder";
}

// The file cannot serve: every call fails with a warning, and the file is left as it was.
void tst_Database::unusableFile()
{
    QFETCH(QString, kind);
    QString path = m_dir->filePath("account.db");
    if (kind == "missing folder") {
        path = m_dir->filePath("nowhere/account.db");
    } else if (kind == "garbage") {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(8192, 'x'));
    } else if (kind == "newer") {
        QSqlDatabase other = QSqlDatabase::addDatabase("QSQLITE", "newer");
        other.setDatabaseName(path);
        QVERIFY(other.open());
        QVERIFY(QSqlQuery(other).exec("PRAGMA user_version = 99"));
        other.close();
        other = QSqlDatabase();
        QSqlDatabase::removeDatabase("newer");
    } else {
        QVERIFY(QDir(m_dir->path()).mkdir("account.db"));
    }
    const QByteArray before = fileHash(path);

    {
        WarningRecorder warnings;
        Database db(path);
        QVERIFY(!db.isOpen());
        QVERIFY(!db.transaction([](QSqlDatabase &) { return true; }));
        storage::ResourceStorage resources(&db);
        QVERIFY(!resources.save({storage::ResourceInfo()}));
        QVERIFY(resources.infosBefore("d", storage::ResourceSearchInfo()).isEmpty());
        QCOMPARE(resources.count("d"), 0);
        QVERIFY(!warnings.messages().isEmpty());
        QVERIFY2(warnings.messages().constFirst().contains(path),
                 qPrintable(warnings.messages().constFirst()));
    }
    QCOMPARE(fileHash(path), before);
}

void tst_Database::transactionCommitsOrRollsBack_data()
{
    QTest::addColumn<bool>("fnSucceeds");
    QTest::addColumn<qint64>("expectedSize");

    QTest::newRow("commits when the function succeeds") << true << qint64(3);
    QTest::newRow("rolls back when it fails") << false << qint64(0);
}

void tst_Database::transactionCommitsOrRollsBack()
{
    QFETCH(bool, fnSucceeds);
    QFETCH(qint64, expectedSize);
    Database db(m_dir->filePath("account.db"));
    storage::CacheFileStorage cache(&db);

    const bool ok = db.transaction([&](QSqlDatabase &) {
        return cache.save({cacheFile("a", 1)}) && cache.save({cacheFile("b", 2)}) && fnSucceeds;
    });
    QCOMPARE(ok, fnSucceeds);
    QCOMPARE(cache.totalSize(), expectedSize);
    // The connection is usable again afterwards.
    QVERIFY(db.transaction([](QSqlDatabase &) { return true; }));
}

void tst_Database::nestedTransaction()
{
    Database db(m_dir->filePath("account.db"));
    storage::CacheFileStorage cache(&db);

    const bool ok = db.transaction([&](QSqlDatabase &) {
        const bool kept =
                db.transaction([&](QSqlDatabase &) { return cache.save({cacheFile("kept", 1)}); });
        const bool undone = db.transaction(
                [&](QSqlDatabase &) { return cache.save({cacheFile("undone", 100)}) && false; });
        return kept && !undone;
    });
    QVERIFY(ok);
    QCOMPARE(cache.totalSize(), qint64(1));
}

void tst_Database::connectionPerThread()
{
    Database db(m_dir->filePath("account.db"));
    const QString mine = db.connection().connectionName();
    QCOMPARE(db.connection().connectionName(), mine);

    QString theirs;
    bool theirsOpen = false;
    std::unique_ptr<QThread> thread(QThread::create([&] {
        theirs = db.connection().connectionName();
        theirsOpen = db.isOpen();
    }));
    thread->start();
    QVERIFY(thread->wait());
    QVERIFY(theirsOpen);
    QVERIFY(!theirs.isEmpty());
    QVERIFY(theirs != mine);

    Database other(m_dir->filePath("other.db"));
    QVERIFY(other.connection().connectionName() != mine);
}

void tst_Database::connectionClosesWithItsThread()
{
    Database db(m_dir->filePath("account.db"));
    QVERIFY(db.isOpen());
    const int before = storageConnections().size();

    bool opened = false;
    qsizetype whileRunning = 0;
    std::unique_ptr<QThread> thread(QThread::create([&] {
        opened = db.isOpen();
        whileRunning = storageConnections().size();
    }));
    thread->start();
    QVERIFY(thread->wait());
    QVERIFY(opened);
    QCOMPARE(whileRunning, before + 1);
    QCOMPARE(storageConnections().size(), before);
}

void tst_Database::destructionClosesConnectionsOfLiveThreads()
{
    QThread thread;
    QObject inThread;
    inThread.moveToThread(&thread);
    thread.start();

    auto db = std::make_unique<Database>(m_dir->filePath("account.db"));
    bool opened = false;
    QMetaObject::invokeMethod(
            &inThread, [&] { opened = db->isOpen(); }, Qt::BlockingQueuedConnection);
    QVERIFY(opened);
    QVERIFY(db->isOpen());
    QCOMPARE(storageConnections().size(), 2);

    db.reset();
    QVERIFY(storageConnections().isEmpty());
    thread.quit();
    QVERIFY(thread.wait());
}

// Statements stay compiled for their connection between calls; SQLite would refuse to close a
// connection that still has them, and its file would stay open for the life of the process.
void tst_Database::keptStatementsLetConnectionsClose()
{
    const QString path = m_dir->filePath("account.db");
    auto db = std::make_unique<Database>(path);
    storage::FileStorage files(db.get());
    const auto useStatements = [&files] {
        return files.save({{QStringLiteral("f1"), 2, "jpg", 1, "a", QString(), 0, 0}})
                && files.infos({QStringLiteral("f1")}).size() == 1
                && files.infos({QStringLiteral("f1")}).size() == 1;
    };
    bool used = false;
    std::unique_ptr<QThread> thread(QThread::create([&] { used = useStatements(); }));
    thread->start();
    QVERIFY(thread->wait());
    QVERIFY(used);
    QCOMPARE(openHandlesOf(path), 0);

    QVERIFY(useStatements());
    QVERIFY(openHandlesOf(path) > 0);
    db.reset();
    QCOMPARE(openHandlesOf(path), 0);
}

// Writers and readers on several threads at once: every call succeeds, nothing is lost.
void tst_Database::concurrentUse()
{
    storage::UserStorageProvider provider(m_dir->filePath("account.db"));
    constexpr int workers = 6;
    constexpr int batches = 5;
    constexpr int rowsPerBatch = 20;
    std::atomic<int> failures {0};
    const auto check = [&](bool ok) {
        if (!ok) {
            ++failures;
        }
    };

    QThreadPool pool;
    pool.setMaxThreadCount(workers);
    QList<int> workerIds(workers);
    std::iota(workerIds.begin(), workerIds.end(), 0);
    QtConcurrent::blockingMap(&pool, workerIds, [&](int worker) {
        const QString dialogId = QStringLiteral("d%1").arg(worker);
        for (int batch = 0; batch < batches; ++batch) {
            QList<storage::ResourceInfo> rows;
            QList<storage::FileReferenceInfo> references;
            for (int i = 0; i < rowsPerBatch; ++i) {
                const qint64 id = batch * rowsPerBatch + i + 1;
                rows.append({dialogId, id, 0, 2, 1000 + id, 1, QString()});
                references.append({dialogId, id, 0, 2, 1000 + id, QString(),
                                   QStringLiteral("f%1-%2").arg(worker).arg(id), QByteArray()});
            }
            check(provider.resourceStorage()->save(rows));
            check(provider.fileReferenceStorage()->save(references));
            storage::ResourceSearchInfo info;
            info.count = 10;
            check(provider.resourceStorage()->infosBefore(info).size() >= 10);
            check(provider.resourceStorage()->count(dialogId) == (batch + 1) * rowsPerBatch);
            check(provider.messageStorage()->save({{dialogId, batch + 1, 0, 1000, 1, 1,
                                                    QStringLiteral("m"), false, QByteArray()}}));
        }
        check(provider.fileReferenceStorage()->removeWithMessageIds(dialogId, {1, 2}).size() == 2);
    });

    QCOMPARE(failures.load(), 0);
    storage::ResourceSearchInfo all;
    all.count = workers * batches * rowsPerBatch + 1;
    QCOMPARE(provider.resourceStorage()->infosAfter(all).size(), workers * batches * rowsPerBatch);
    QCOMPARE(provider.messageStorage()->count(), workers * batches);
    QCOMPARE(provider.fileReferenceStorage()->fileReferences({"f0-1", "f0-3"}).keys(),
             QList<QString> {"f0-3"});
}

QTEST_GUILESS_MAIN(tst_Database)
#include "tst_database.moc"
