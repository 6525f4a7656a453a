#include "accountbase.h"
#include "appdirmanager.h"
#include "cachelayout.h"
#include "mediamgr.h"
#include "mediastoragemodel.h"
#include "modelbaseutil.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

namespace {

constexpr int FileCount = 100'000;
constexpr int FileBytes = 256;

// Where the generated files go, spread over the folders a scan measures: most are images,
// videos, files and music, the rest avatars, voice messages and temporary files.
QStringList cacheFolders(const QString &cacheRoot)
{
    const auto folder = [&cacheRoot](int category, int kind) {
        return ModelBaseUtil::makeMediaPath(cacheRoot, category, kind);
    };
    QStringList folders;
    for (int kind : {CacheLayout::ImageKind, CacheLayout::VideoKind, CacheLayout::FileKind,
                     CacheLayout::MusicKind}) {
        folders << folder(CacheLayout::MainCategory, kind)
                << folder(CacheLayout::MainCategory, kind);
    }
    folders << folder(CacheLayout::MainCategory, CacheLayout::PhotoKind)
            << folder(CacheLayout::MainCategory, CacheLayout::VoiceKind)
            << folder(CacheLayout::TempCategory, CacheLayout::ImageKind);
    return folders;
}

// An account whose cache holds FileCount real files.
struct Fixture
{
    QTemporaryDir dir;
    std::unique_ptr<AccountBase> account;
    MediaMgr *hub = nullptr; // child of the account

    Fixture()
    {
        AppDirManager::instance()->setDataDir(dir.path() + QStringLiteral("/app"));
        account = std::make_unique<AccountBase>(1, dir.path() + QStringLiteral("/account"));
        hub = new MediaMgr(account.get());
        const QStringList folders = cacheFolders(account->userCacheDataPath());
        for (const QString &folder : folders) {
            QDir().mkpath(folder);
        }
        const QByteArray bytes(FileBytes, 'x');
        for (int i = 0; i < FileCount; ++i) {
            QFile file(folders.at(i % folders.size()) + QStringLiteral("f%1.bin").arg(i));
            if (file.open(QIODevice::WriteOnly)) {
                file.write(bytes);
            }
        }
    }

    ~Fixture()
    {
        hub->prepareToClearData(false);
        hub->clearData(false);
        delete hub;
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    qint64 scanMsecs() const
    {
        MediaStorageModel *model = hub->mediaStorageModel();
        QEventLoop loop;
        QObject::connect(model, &MediaStorageModel::atQueryChanged, &loop, [&] {
            if (!model->atQuery()) {
                loop.quit();
            }
        });
        QElapsedTimer timer;
        timer.start();
        model->startLoading(true);
        loop.exec();
        return timer.elapsed();
    }

    qint64 duMsecs() const
    {
        QElapsedTimer timer;
        timer.start();
        QProcess du;
        du.start(QStringLiteral("du"), {QStringLiteral("-sb"), account->userCacheDataPath()});
        du.waitForFinished(-1);
        return timer.elapsed();
    }
};

// Made on first use and dropped by main while the application object still exists.
std::unique_ptr<Fixture> s_fixture;

Fixture &fixture()
{
    if (!s_fixture) {
        s_fixture = std::make_unique<Fixture>();
    }
    return *s_fixture;
}

void BM_ScanAgainstDu(benchmark::State &state)
{
    Fixture &f = fixture();
    f.scanMsecs(); // both walks start from a warm page cache
    f.duMsecs();
    qint64 scanTotal = 0;
    qint64 duTotal = 0;
    for (auto _ : state) {
        const qint64 scan = f.scanMsecs();
        const qint64 du = f.duMsecs();
        scanTotal += scan;
        duTotal += du;
        state.SetIterationTime(double(scan) / 1000.0);
    }
    const double iterations = double(state.iterations());
    state.counters["files"] = FileCount;
    state.counters["scan_ms"] = double(scanTotal) / iterations;
    state.counters["du_ms"] = double(duTotal) / iterations;
    state.counters["ratio"] = duTotal > 0 ? double(scanTotal) / double(duTotal) : 0.0;
    state.counters["bytes"] = double(f.hub->mediaStorageModel()->totalSize());
}

} // namespace

BENCHMARK(BM_ScanAgainstDu)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    s_fixture.reset();
    benchmark::Shutdown();
    return 0;
}
