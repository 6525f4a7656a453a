#include "accountbase.h"
#include "accountsettingmodel.h"
#include "cachefilestorage.h"
#include "constants.h"
#include "contenttype.h"
#include "filereferencestorage.h"
#include "mediaexpiry.h"
#include "mediamgr.h"
#include "resourcedata.h"
#include "userstorageprovider.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

namespace {

constexpr int RowCount = 100'000;
constexpr qint64 Now = 1'700'000'000'000;
constexpr qint64 FileSize = 16;
const QString PrivateId = QStringLiteral("p1");
const QString GroupId = QStringLiteral("g1");

// An account whose files are named by one private chat kept a week and one group kept a month,
// alternately; every other file is older than its chat's keep time, the rest are younger.
struct Fixture
{
    QTemporaryDir dir;
    std::unique_ptr<AccountBase> account;
    MediaMgr *hub = nullptr; // child of the account
    QList<storage::CacheFileInfo> rows;
    QList<storage::FileReferenceInfo> refs;

    Fixture()
    {
        account = std::make_unique<AccountBase>(1, dir.path());
        account->storeDialog(PrivateId, PrivateId, DIALOG_PRIVATE, Now);
        account->storeDialog(GroupId, GroupId, DIALOG_GROUP, Now);
        account->accountSettingModel()->setPrivateKeepTime(7);
        account->accountSettingModel()->setGroupKeepTime(30);
        hub = new MediaMgr(account.get());
        hub->loadLocalData(false);
        rows.reserve(RowCount);
        refs.reserve(RowCount);
        for (int i = 0; i < RowCount; ++i) {
            const bool group = i % 4 >= 2;
            const bool expired = i % 2 == 0;
            const qint64 keep = group ? ONE_MONTH_MSEC : ONE_WEEK_MSEC;
            const qint64 time = expired ? Now - keep - ONE_DAY_MSEC - i : Now - ONE_DAY_MSEC - i;
            const QString fileId = QStringLiteral("f%1").arg(i);
            ResourceData data;
            data.fileId = fileId;
            data.suffix = QStringLiteral("bin");
            data.size = FileSize;
            QByteArray json;
            data.serialize(json);
            rows.append({fileId, CONTENT_FILE, QStringLiteral("bin"), FileSize, time});
            refs.append(
                    {group ? GroupId : PrivateId, i + 1, 0, CONTENT_FILE, time, {}, fileId, json});
        }
        hub->fileReferenceDb()->save(refs);
    }

    ~Fixture()
    {
        hub->prepareToClearData(false);
        hub->clearData(false);
        delete hub;
        QCoreApplication::sendPostedEvents();
    }

    void restore() const
    {
        account->storage()->cacheFileStorage()->removeAll();
        account->storage()->cacheFileStorage()->save(rows);
        const QString folder = hub->mediaBaseDir(CONTENT_FILE);
        QDir().mkpath(folder);
        for (const storage::CacheFileInfo &row : rows) {
            QFile file(folder + row.fileId + QStringLiteral(".bin"));
            file.open(QIODevice::WriteOnly);
            file.write(QByteArray(FileSize, 'x'));
        }
    }
};

// Made on first use and dropped by main while the application object still exists: the hub's
// teardown needs it.
std::unique_ptr<Fixture> s_fixture;

Fixture &fixture()
{
    if (!s_fixture) {
        s_fixture = std::make_unique<Fixture>();
    }
    return *s_fixture;
}

// Expiry passes over the restored cache, each timed from its start to its end.
void runExpiry(benchmark::State &state, const MediaExpiry::Limits &limits)
{
    Fixture &f = fixture();
    qint64 removed = 0;
    for (auto _ : state) {
        state.PauseTiming();
        f.restore();
        state.ResumeTiming();
        MediaExpiry expiry(f.hub->cacheContext(), limits);
        removed = expiry.run().files;
    }
    state.counters["rows_per_s"] =
            benchmark::Counter(double(state.iterations()) * RowCount, benchmark::Counter::kIsRate);
    state.counters["files_removed"] = double(removed);
}

void BM_ExpireByAge(benchmark::State &state)
{
    runExpiry(state, MediaExpiry::limitsAt(fixture().hub->cacheContext(), Now));
}

// No keep time applies; the size limit lets half of the bytes go, oldest first.
void BM_EvictBySize(benchmark::State &state)
{
    MediaExpiry::Limits limits = MediaExpiry::limitsAt(fixture().hub->cacheContext(), Now);
    limits.cutOff = -1;
    limits.sizeLimit = RowCount / 2 * FileSize;
    runExpiry(state, limits);
}

BENCHMARK(BM_ExpireByAge)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(BM_EvictBySize)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    s_fixture.reset();
    return 0;
}
