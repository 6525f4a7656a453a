// A dialog's photo-and-video list over a chat of 1,000,000 media messages, through the same path
// the gallery takes: MediaResource::loadBefore on the pool, the page handed back to the main
// thread and appended to the sectioned model.
//  - FirstPage: from loadBefore(100) on a fresh list to the 100 rows in the model.
//  - WholeChat: pages of 100 until the chat ends; items_per_second counts the items that reached
//    the model, and the run fails unless the list ends holding exactly the chat's rows.
//    It also reports the memory the full list holds: resident_bytes_per_item is the growth of the
//    process's resident set from before the first page to the end of the chat, per item (items,
//    their messages, file records and model slots, with what the allocator keeps around them);
//    peak_resident_mb is the process's peak resident set by then, the generated chat's page cache
//    included. Resident figures, not the allocator's: items are built on pool threads, whose
//    arenas mallinfo2() does not count. page_faults_per_item, user_cpu_s and system_cpu_s say
//    where the wall-clock time went: on this shared virtual machine a first touch of a page can
//    cost 20 us in the kernel, so the time of a run follows the memory it grows by, and the cost
//    of a fault varies several times from day to day.
//  - QueryFloor: the same pages read with SQLite alone, building nothing (see FloorReader): what
//    no loader of these tables can beat on this machine.
// All are wall-clock times, since the work runs on a pool thread while the main thread waits.
// The chat is generated once per run in a temporary folder: message, resource and file rows in
// one transaction with prepared statements. That takes 30 to 45 s on the shared 2-core build
// machine and is not timed; the "generation" line printed before the benchmarks gives the figure.

#include "accountbase.h"
#include "contenttype.h"
#include "database.h"
#include "dialogbase.h"
#include "im.pb.h"
#include "mediaresource.h"
#include "resourcemodel.h"
#include "userstorageprovider.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <limits>
#include <memory>
#include <sqlite3.h>
#include <sys/resource.h>

namespace {

constexpr int kChatSize = 1000000;
constexpr int kPageSize = 100;
constexpr qint64 kTenYearsMSecs = 10LL * 365 * 24 * 60 * 60 * 1000;
const QString kDialogId = QStringLiteral("long-chat");

im::FileInfo fileInfo(const std::string &fileId, const char *suffix, qint64 size)
{
    im::FileInfo info;
    info.set_file_id(fileId);
    info.set_suffix(suffix);
    info.set_size(size);
    info.set_name(fileId + "." + suffix);
    return info;
}

// Message ids rise with time, as in a chat; every fifth item is a video.
im::Message mediaMessage(qint64 id, qint64 time)
{
    im::Message message;
    message.set_dialog_id(kDialogId.toStdString());
    message.set_msg_id(id);
    message.set_type(id % 5 == 0 ? CONTENT_VIDEO : CONTENT_PHOTO);
    message.set_time(time);
    message.set_sender_id(id % 7 + 1);
    const std::string fileId = "file-" + std::to_string(id);
    *message.mutable_file() = fileInfo(fileId, id % 5 == 0 ? "mp4" : "jpg", 200000 + id);
    *message.mutable_thumb() = fileInfo(fileId + "-thumb", "jpg", 4000);
    return message;
}

bool prepare(QSqlQuery &query, const char *sql)
{
    if (!query.prepare(QString::fromLatin1(sql))) {
        std::fprintf(stderr, "cannot prepare %s: %s\n", sql, qPrintable(query.lastError().text()));
        return false;
    }
    return true;
}

bool exec(QSqlQuery &query, const QVariantList &values)
{
    for (int i = 0; i < values.size(); ++i) {
        query.bindValue(i, values.at(i));
    }
    if (!query.exec()) {
        std::fprintf(stderr, "insert failed: %s\n", qPrintable(query.lastError().text()));
        return false;
    }
    return true;
}

bool insertFile(QSqlQuery &query, const im::FileInfo &file, int type)
{
    return exec(query,
                {QString::fromStdString(file.file_id()), type,
                 QString::fromStdString(file.suffix()), qint64(file.size()),
                 QString::fromStdString(file.name()), QStringLiteral(""), 0, 0});
}

// Writes the rows the client stores on receipt of each message, in the account's own tables.
bool writeChat(QSqlDatabase &db)
{
    // Room for the indexes being filled, so that pages are not written out and read back.
    QSqlQuery(db).exec(QStringLiteral("PRAGMA cache_size = -524288"));
    QSqlQuery messages(db);
    QSqlQuery resources(db);
    QSqlQuery files(db);
    if (!prepare(messages,
                 "INSERT INTO message (dialog_id, message_id, sub_msg_id, date_time, type, "
                 "sender_id, text, folded_text, has_url, removed, data) "
                 "VALUES (?, ?, 0, ?, ?, ?, ?, ?, 0, 0, ?)")
        || !prepare(resources,
                    "INSERT INTO resource (dialog_id, message_id, sub_msg_id, type, kind, "
                    "date_time, sender_id, text, folded_text) VALUES (?, ?, 0, ?, 2, ?, ?, ?, ?)")
        || !prepare(files,
                    "INSERT INTO file_record (file_id, type, suffix, size, name, url, state, "
                    "downloaded) VALUES (?, ?, ?, ?, ?, ?, ?, ?)")) {
        return false;
    }
    const qint64 newest = QDateTime::currentMSecsSinceEpoch();
    const qint64 step = kTenYearsMSecs / kChatSize;
    for (qint64 id = 1; id <= kChatSize; ++id) {
        const qint64 time = newest - (kChatSize - id) * step;
        const im::Message message = mediaMessage(id, time);
        const QString text = QString::fromStdString(message.file().name());
        if (!exec(messages,
                  {kDialogId, id, time, message.type(), qint64(message.sender_id()), text,
                   text.toCaseFolded(), QByteArray::fromStdString(message.SerializeAsString())})
            || !exec(resources,
                     {kDialogId, id, message.type(), time, qint64(message.sender_id()), text,
                      text.toCaseFolded()})
            || !insertFile(files, message.file(), message.type())
            || !insertFile(files, message.thumb(), CONTENT_PHOTO)) {
            return false;
        }
    }
    return true;
}

class Chat
{
public:
    static Chat &instance()
    {
        static Chat chat;
        return chat;
    }

    bool isValid() const { return m_valid; }
    AccountBase *account() const { return m_account.get(); }
    QSharedPointer<DialogBase> dialog() const { return m_account->dialog(kDialogId); }

private:
    Chat()
    {
        if (!m_dir.isValid()) {
            return;
        }
        m_account = std::make_unique<AccountBase>(1, m_dir.path());
        if (!m_account->isValid()
            || !m_account->storeDialog(kDialogId, QStringLiteral("A long chat"), DIALOG_PRIVATE,
                                       QDateTime::currentMSecsSinceEpoch())) {
            return;
        }
        QElapsedTimer timer;
        timer.start();
        m_valid = m_account->storage()->database()->transaction(writeChat);
        std::printf("generation of %d media messages: %.1f s\n", kChatSize,
                    timer.elapsed() / 1000.0);
        std::fflush(stdout);
    }

    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
    bool m_valid = false;
};

// Items released by a list are deleted later on the main thread, and their messages and files
// leave the caches only then.
void releaseDeferred()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

// Starts a page and runs the main thread's event loop until the page is in the model. False when
// no page started: the list has reached the end of the chat.
bool loadPage(MediaResource &resource)
{
    // The list reports the end of a page a moment before its worker task returns, and a page
    // asked for in between would be dropped.
    resource.waitForFinish();
    resource.loadBefore(kPageSize);
    if (!resource.isQuerying()) {
        return false;
    }
    QEventLoop loop;
    QObject::connect(&resource, &MediaResource::isQueryingChanged, &loop, [&] {
        if (!resource.isQuerying()) {
            loop.quit();
        }
    });
    loop.exec();
    return true;
}

std::unique_ptr<MediaResource> makeList(const Chat &chat)
{
    return std::make_unique<MediaResource>(chat.account(), chat.dialog(), QList<QString>(),
                                           CONTENT_PHOTO, QString());
}

void FirstPage(benchmark::State &state)
{
    const Chat &chat = Chat::instance();
    if (!chat.isValid()) {
        state.SkipWithError("the chat could not be generated");
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<MediaResource> list = makeList(chat);
        state.ResumeTiming();
        loadPage(*list);
        state.PauseTiming();
        const int count = list->resourceModel()->resourceCount();
        list.reset();
        releaseDeferred();
        if (count != kPageSize) {
            state.SkipWithError("the first page is not complete");
            break;
        }
        state.ResumeTiming();
    }
}

// A line of /proc/self/status in bytes ("VmRSS", "VmHWM"); 0 when it cannot be read.
qint64 statusBytes(const QByteArray &field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    for (QByteArray line = status.readLine(); !line.isEmpty(); line = status.readLine()) {
        if (line.startsWith(field + ':')) {
            return line.mid(field.size() + 1).trimmed().split(' ').value(0).toLongLong() * 1024;
        }
    }
    return 0;
}

// What the process has used so far, all threads together.
struct Usage
{
    qint64 pageFaults = 0; // minor faults: pages the kernel handed out on first touch
    double userSeconds = 0;
    double systemSeconds = 0;

    static Usage now()
    {
        rusage usage {};
        getrusage(RUSAGE_SELF, &usage);
        return {usage.ru_minflt, seconds(usage.ru_utime), seconds(usage.ru_stime)};
    }
    static double seconds(const timeval &time) { return double(time.tv_sec) + time.tv_usec / 1e6; }
};

void WholeChat(benchmark::State &state)
{
    const Chat &chat = Chat::instance();
    if (!chat.isValid()) {
        state.SkipWithError("the chat could not be generated");
        return;
    }
    qint64 items = 0;
    for (auto _ : state) {
        const qint64 residentBefore = statusBytes("VmRSS");
        const Usage before = Usage::now();
        std::unique_ptr<MediaResource> list = makeList(chat);
        while (loadPage(*list)) {
        }
        const int count = list->resourceModel()->resourceCount();
        items += count;
        state.PauseTiming();
        state.counters["resident_bytes_per_item"] =
                double(statusBytes("VmRSS") - residentBefore) / qMax(1, count);
        const Usage after = Usage::now();
        state.counters["page_faults_per_item"] =
                double(after.pageFaults - before.pageFaults) / qMax(1, count);
        state.counters["user_cpu_s"] = after.userSeconds - before.userSeconds;
        state.counters["system_cpu_s"] = after.systemSeconds - before.systemSeconds;
        state.counters["peak_resident_mb"] = double(statusBytes("VmHWM")) / (1024 * 1024);
        list.reset();
        releaseDeferred();
        if (count != kChatSize) {
            std::fprintf(stderr, "%d items in the list\n", count);
            state.SkipWithError("the list does not hold exactly the chat's rows");
            break;
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(items);
}

// The least any loader of this chat can do per page, written against SQLite directly and building
// nothing: the page of resource rows joined to their messages, each message's protobuf parsed for
// its file ids, and the file and thumbnail records looked up by id. Every column is read, as an
// item needs it. items_per_second is the ceiling of WholeChat on this machine.
class FloorReader
{
public:
    explicit FloorReader(const QString &path)
    {
        if (sqlite3_open_v2(path.toUtf8().constData(), &m_db, SQLITE_OPEN_READONLY, nullptr)
                    != SQLITE_OK
            || !prepare(&m_page,
                        "SELECT r.message_id, r.sub_msg_id, r.type, r.date_time, r.sender_id, "
                        "r.text, m.removed, m.data FROM resource AS r CROSS JOIN message AS m "
                        "ON m.dialog_id = r.dialog_id AND m.message_id = r.message_id "
                        "AND m.sub_msg_id = r.sub_msg_id WHERE r.dialog_id = ? AND r.kind = 2 "
                        "AND (r.date_time, r.message_id) < (?, ?) "
                        "ORDER BY r.date_time DESC, r.message_id DESC LIMIT ?")
            || !prepare(&m_file,
                        "SELECT file_id, type, suffix, size, name, url, state, downloaded "
                        "FROM file_record WHERE file_id = ?")) {
            std::fprintf(stderr, "floor: %s\n", sqlite3_errmsg(m_db));
            return;
        }
        m_valid = true;
    }
    ~FloorReader()
    {
        sqlite3_finalize(m_page);
        sqlite3_finalize(m_file);
        sqlite3_close(m_db);
    }

    bool isValid() const { return m_valid; }

    // Reads the whole chat page by page, newest first; returns the items read.
    qint64 readChat()
    {
        const QByteArray dialogId = kDialogId.toUtf8();
        qint64 time = std::numeric_limits<qint64>::max();
        qint64 messageId = std::numeric_limits<qint64>::max();
        qint64 items = 0;
        for (int rows = kPageSize; rows == kPageSize;) {
            sqlite3_bind_text(m_page, 1, dialogId.constData(), int(dialogId.size()), SQLITE_STATIC);
            sqlite3_bind_int64(m_page, 2, time);
            sqlite3_bind_int64(m_page, 3, messageId);
            sqlite3_bind_int(m_page, 4, kPageSize);
            for (rows = 0; sqlite3_step(m_page) == SQLITE_ROW; ++rows) {
                messageId = sqlite3_column_int64(m_page, 0);
                time = sqlite3_column_int64(m_page, 3);
                m_sink += sqlite3_column_int64(m_page, 1) + sqlite3_column_int64(m_page, 2)
                        + sqlite3_column_int64(m_page, 4) + sqlite3_column_bytes(m_page, 5)
                        + sqlite3_column_int64(m_page, 6);
                im::Message message;
                message.ParseFromArray(sqlite3_column_blob(m_page, 7),
                                       sqlite3_column_bytes(m_page, 7));
                readFile(message.file().file_id());
                readFile(message.thumb().file_id());
            }
            sqlite3_reset(m_page);
            items += rows;
        }
        return items;
    }

private:
    bool prepare(sqlite3_stmt **statement, const char *sql)
    {
        return sqlite3_prepare_v2(m_db, sql, -1, statement, nullptr) == SQLITE_OK;
    }

    void readFile(const std::string &fileId)
    {
        sqlite3_bind_text(m_file, 1, fileId.data(), int(fileId.size()), SQLITE_STATIC);
        while (sqlite3_step(m_file) == SQLITE_ROW) {
            for (int column = 0; column < 8; ++column) {
                m_sink += sqlite3_column_bytes(m_file, column);
            }
            m_sink += sqlite3_column_int64(m_file, 3) + sqlite3_column_int64(m_file, 6);
        }
        sqlite3_reset(m_file);
    }

    sqlite3 *m_db = nullptr;
    sqlite3_stmt *m_page = nullptr;
    sqlite3_stmt *m_file = nullptr;
    bool m_valid = false;
    qint64 m_sink = 0;
};

void QueryFloor(benchmark::State &state)
{
    const Chat &chat = Chat::instance();
    FloorReader reader(chat.account()->storage()->database()->path());
    if (!chat.isValid() || !reader.isValid()) {
        state.SkipWithError("the chat could not be generated or opened");
        return;
    }
    qint64 items = 0;
    for (auto _ : state) {
        items += reader.readChat();
    }
    if (items != state.iterations() * kChatSize) {
        state.SkipWithError("the floor reader did not read exactly the chat's rows");
    }
    state.SetItemsProcessed(items);
}

BENCHMARK(FirstPage)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(WholeChat)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(QueryFloor)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
