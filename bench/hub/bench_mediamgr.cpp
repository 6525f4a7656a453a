#include "accountbase.h"
#include "contenttype.h"
#include "filereferencestorage.h"
#include "im.pb.h"
#include "mediainfo.h"
#include "mediamgr.h"
#include "messagebase.h"
#include "userstorageprovider.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <memory>

namespace {

constexpr int MessageCount = 100'000;
constexpr qint64 BaseTime = 1'700'000'000'000;
const QString DialogId = QStringLiteral("g1");

im::Message photo(qint64 id)
{
    im::Message m;
    m.set_dialog_id(DialogId.toStdString());
    m.set_msg_id(id);
    m.set_type(CONTENT_PHOTO);
    m.set_time(BaseTime + id);
    m.set_sender_id(7);
    im::FileInfo *file = m.mutable_file();
    file->set_file_id("p" + std::to_string(id));
    file->set_suffix("jpg");
    file->set_size(1);
    file->set_name("photo.jpg");
    return m;
}

// An account with MessageCount stored photos and their message objects, as a host holds them
// when it hands a batch to ingest.
struct Fixture
{
    QTemporaryDir dir;
    std::unique_ptr<AccountBase> account;
    MediaMgr *hub = nullptr; // child of the account
    QList<MediaInfo> infos;

    Fixture()
    {
        account = std::make_unique<AccountBase>(1, dir.path());
        account->storeDialog(DialogId, DialogId, DIALOG_GROUP, BaseTime);
        QList<im::Message> protos;
        protos.reserve(MessageCount);
        for (int id = 1; id <= MessageCount; ++id) {
            protos.append(photo(id));
        }
        account->storeMessages(protos);
        infos.reserve(MessageCount);
        for (const im::Message &proto : std::as_const(protos)) {
            const QSharedPointer<MessageBase> msg(
                    new MessageBase(proto, account->fileManager(), account->userId()));
            infos.append(MediaInfo {msg, proto.time(), proto.msg_id(), 0, false});
        }
        hub = new MediaMgr(account.get());
    }

    QString photoPath(int id) const
    {
        return hub->mediaBaseDir(CONTENT_PHOTO) + QStringLiteral("p%1.jpg").arg(id);
    }

    void writeFiles() const
    {
        QDir().mkpath(hub->mediaBaseDir(CONTENT_PHOTO));
        for (int id = 1; id <= MessageCount; ++id) {
            QFile file(photoPath(id));
            file.open(QIODevice::WriteOnly);
            file.putChar('x');
        }
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

void BM_SaveResources(benchmark::State &state)
{
    Fixture &f = fixture();
    for (auto _ : state) {
        f.hub->saveResources(DialogId, f.infos, false);
        state.PauseTiming();
        QCoreApplication::sendPostedEvents();
        // Received messages are new: the next round writes into an empty table again.
        f.hub->fileReferenceDb()->removeBefore(DialogId, 0);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * MessageCount);
    state.counters["rows_per_s"] = benchmark::Counter(double(state.iterations()) * MessageCount,
                                                      benchmark::Counter::kIsRate);
}

// Rows are taken out of the table first, as a removal does; the measure is the reference check,
// the file deletions and the cache-table update.
void BM_DeleteMedias(benchmark::State &state)
{
    Fixture &f = fixture();
    for (auto _ : state) {
        state.PauseTiming();
        f.hub->saveResources(DialogId, f.infos, true);
        f.writeFiles();
        const QList<storage::FileReferenceInfo> rows =
                f.hub->fileReferenceDb()->removeBefore(DialogId, 0);
        state.ResumeTiming();
        f.hub->deleteMedias(rows);
    }
    state.counters["files_per_s"] = benchmark::Counter(double(state.iterations()) * MessageCount,
                                                       benchmark::Counter::kIsRate);
}

void BM_PlainUnlink(benchmark::State &state)
{
    Fixture &f = fixture();
    for (auto _ : state) {
        state.PauseTiming();
        f.writeFiles();
        state.ResumeTiming();
        for (int id = 1; id <= MessageCount; ++id) {
            QFile::remove(f.photoPath(id));
        }
    }
    state.counters["files_per_s"] = benchmark::Counter(double(state.iterations()) * MessageCount,
                                                       benchmark::Counter::kIsRate);
}

BENCHMARK(BM_SaveResources)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_DeleteMedias)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_PlainUnlink)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    s_fixture.reset();
    benchmark::Shutdown();
    return 0;
}
