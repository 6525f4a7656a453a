// Page latency of the resource table on a large chat.
//
// Data, generated once per process into a temporary database: one chat "big" of 1,000,000 rows
// and nine smaller chats of 20,000 rows each (1,180,000 rows in all). Mixed types as a chat's
// media look: 60 % photos, 25 % videos, 5 % files, 4 % links, 3 % voice, 3 % music; every 25th
// message is a combined message of four items; a message every 1 to 4 s, some sharing a
// millisecond. A page is 100 rows (the largest page a gallery asks for). "Deep" pages start at a
// cursor 900,000 rows below the newest row of the big chat, as after scrolling far back.

#include "database.h"
#include "resourcestorage.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <memory>

using storage::Database;
using storage::ResourceInfo;
using storage::ResourceSearchInfo;
using storage::ResourceStorage;

namespace {

constexpr int BigChatRows = 1000000;
constexpr int SmallChats = 9;
constexpr int SmallChatRows = 20000;
constexpr int DeepRows = 900000;
constexpr int PageRows = 100;
constexpr qint64 StartTime = 1500000000000;

int pickType(QRandomGenerator &random)
{
    const int roll = int(random.bounded(100));
    if (roll < 60) {
        return 2;
    }
    if (roll < 85) {
        return 5;
    }
    if (roll < 90) {
        return 6;
    }
    if (roll < 94) {
        return 1;
    }
    return roll < 97 ? 3 : 4;
}

// The rows of one chat, oldest first.
QList<ResourceInfo> chatRows(const QString &dialogId, int count, QRandomGenerator &random)
{
    QList<ResourceInfo> rows;
    rows.reserve(count);
    qint64 time = StartTime;
    qint64 messageId = 0;
    while (rows.size() < count) {
        ++messageId;
        // Some messages share the previous one's millisecond.
        time += random.bounded(10) == 0 ? 0 : 1000 + random.bounded(3000);
        const bool combined = messageId % 25 == 0;
        for (int item = combined ? 1 : 0; item <= (combined ? 4 : 0) && rows.size() < count;
             ++item) {
            ResourceInfo row;
            row.dialogId = dialogId;
            row.messageId = messageId;
            row.subMsgId = item;
            row.type = pickType(random);
            row.dateTime = time;
            row.senderId = 1000 + random.bounded(20);
            row.text = QStringLiteral("IMG_%1_%2.jpg").arg(messageId).arg(item);
            rows.append(row);
        }
    }
    return rows;
}

// The database, built once by main() and kept for every benchmark of the process.
class Chat
{
public:
    Chat();
    ~Chat() { s_instance = nullptr; }

    static Chat &instance() { return *s_instance; }

    ResourceStorage &storage() { return *m_storage; }
    // The loader's cursor after having paged DeepRows rows back from the newest row.
    qint64 deepTime() const { return m_deepTime; }
    qint64 deepMsgId() const { return m_deepMsgId; }

private:
    static inline Chat *s_instance = nullptr;

    QTemporaryDir m_dir;
    std::unique_ptr<Database> m_db;
    std::unique_ptr<ResourceStorage> m_storage;
    qint64 m_deepTime = 0;
    qint64 m_deepMsgId = 0;
};

Chat::Chat()
    : m_db(std::make_unique<Database>(m_dir.filePath("bench.db")))
{
    s_instance = this;
    m_storage = std::make_unique<ResourceStorage>(m_db.get());
    QRandomGenerator random(42);
    QElapsedTimer timer;
    timer.start();
    const bool ok = m_db->transaction([&](QSqlDatabase &) {
        QList<ResourceInfo> big = chatRows(QStringLiteral("big"), BigChatRows, random);
        const ResourceInfo &deep = big.at(BigChatRows - DeepRows);
        m_deepTime = deep.dateTime - 1;
        m_deepMsgId = deep.messageId - 1;
        bool saved = m_storage->save(big);
        for (int chat = 0; chat < SmallChats && saved; ++chat) {
            saved = m_storage->save(
                    chatRows(QStringLiteral("small%1").arg(chat), SmallChatRows, random));
        }
        return saved;
    });
    const double seconds = timer.elapsed() / 1000.0;
    if (!ok) {
        qFatal("generating the benchmark database failed");
    }
    benchmark::AddCustomContext("generated_rows",
                                std::to_string(BigChatRows + SmallChats * SmallChatRows));
    benchmark::AddCustomContext("generation_seconds", std::to_string(seconds));
    fprintf(stderr, "generated %d rows in %.1f s\n", BigChatRows + SmallChats * SmallChatRows,
            seconds);
}

enum Scope { OneChat, TwoChats, AllChats };
enum Depth { FirstPage, DeepPage };
enum Direction { Older, Newer };

ResourceSearchInfo pageInfo(const QList<int> &types, Depth depth)
{
    ResourceSearchInfo info;
    info.types = types;
    info.count = PageRows;
    if (depth == DeepPage) {
        info.time = Chat::instance().deepTime();
        info.msgId = Chat::instance().deepMsgId();
    }
    return info;
}

QList<ResourceInfo> readPage(Scope scope, Direction direction, const ResourceSearchInfo &info)
{
    ResourceStorage &storage = Chat::instance().storage();
    const QList<QString> twoChats {QStringLiteral("big"), QStringLiteral("small0")};
    switch (scope) {
    case OneChat:
        return direction == Older ? storage.infosBefore(QStringLiteral("big"), info)
                                  : storage.infosAfter(QStringLiteral("big"), info);
    case TwoChats:
        return direction == Older ? storage.infosBefore(twoChats, info)
                                  : storage.infosAfter(twoChats, info);
    case AllChats:
        break;
    }
    return direction == Older ? storage.infosBefore(info) : storage.infosAfter(info);
}

void pageLatency(benchmark::State &state, Scope scope, Direction direction, QList<int> types,
                 Depth depth)
{
    const ResourceSearchInfo info = pageInfo(types, depth);
    qsizetype rows = 0;
    for (auto _ : state) {
        const QList<ResourceInfo> page = readPage(scope, direction, info);
        rows = page.size();
        benchmark::DoNotOptimize(page.constData());
    }
    state.counters["rows"] = double(rows);
    if (rows < PageRows) {
        state.SkipWithError("short page: the data set is too small for this cursor");
    }
}

const QList<int> PhotosAndVideos {2, 5};
const QList<int> Voice {3};
const QList<int> VoiceAndMusic {3, 4};

} // namespace

BENCHMARK_CAPTURE(pageLatency, older_photos_videos_first, OneChat, Older, PhotosAndVideos,
                  FirstPage)
        ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(pageLatency, older_photos_videos_deep, OneChat, Older, PhotosAndVideos, DeepPage)
        ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(pageLatency, older_voice_first, OneChat, Older, Voice, FirstPage)
        ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(pageLatency, older_voice_deep, OneChat, Older, Voice, DeepPage)
        ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(pageLatency, older_voice_music_deep, OneChat, Older, VoiceAndMusic, DeepPage)
        ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(pageLatency, older_any_type_deep, OneChat, Older, QList<int>(), DeepPage)
        ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(pageLatency, newer_photos_videos_deep, OneChat, Newer, PhotosAndVideos, DeepPage)
        ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(pageLatency, newer_voice_deep, OneChat, Newer, Voice, DeepPage)
        ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(pageLatency, two_chats_older_photos_videos_deep, TwoChats, Older, PhotosAndVideos,
                  DeepPage)
        ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(pageLatency, all_chats_older_photos_videos_first, AllChats, Older,
                  PhotosAndVideos, FirstPage)
        ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(pageLatency, all_chats_older_photos_videos_deep, AllChats, Older, PhotosAndVideos,
                  DeepPage)
        ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(pageLatency, all_chats_older_voice_deep, AllChats, Older, Voice, DeepPage)
        ->Unit(benchmark::kMicrosecond);

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    // Qt SQL loads its SQLite driver as a plugin, which needs an application object.
    QCoreApplication app(argc, argv);
    // Generated up front so that no benchmark's time includes it.
    const Chat chat;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
