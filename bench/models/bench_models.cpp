// The gallery list models at the sizes a long chat reaches:
//  - appending 1,000,000 items in pages of 100 (the loader's page size) to a flat ResourceModel and
//    to a sectioned MediaModel whose items span ten years (about 120 month sections);
//  - 10,000 single inserts at random places into a model of 100,000 items;
//  - deleting 10,000 message ids from a model of 100,000 items;
//  - the heap bytes each held item costs, the item and its slot in the model together, beside the
//    floor of any item that is a QObject QML must never delete: a bare QObject marked for C++
//    ownership, as every item is.
// Items are built from resource table rows, as the loader builds them before messages arrive.
// Building the items is not timed: only the model operations are.

#include "mediamodel.h"
#include "resourceitem.h"
#include "resourcemodel.h"
#include "resourcestorage.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QJSEngine>
#include <QRandomGenerator>
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <memory>
#include <vector>

namespace {

constexpr qint64 kTenYearsMSecs = 10LL * 365 * 24 * 60 * 60 * 1000;
constexpr int kPageSize = 100;

enum ModelKind { Flat = 0, Sectioned = 1 };

std::unique_ptr<ResourceModel> makeModel(int kind)
{
    if (kind == Sectioned) {
        return std::make_unique<MediaModel>(2);
    }
    return std::make_unique<ResourceModel>(2);
}

// count items of one dialog, newest first, evenly spread over ten years up to now. Message ids
// fall with time, as they do in a chat.
QList<ResourceItem *> tenYearsOfItems(int count, qint64 firstId)
{
    const qint64 newest = QDateTime::currentMSecsSinceEpoch();
    const qint64 step = kTenYearsMSecs / count;
    QList<ResourceItem *> items;
    items.reserve(count);
    storage::ResourceInfo row;
    row.type = 2;
    for (int i = 0; i < count; ++i) {
        // A string of its own per row, as rows read from the table have.
        row.dialogId = QString::fromLatin1("dialog-of-a-long-chat");
        row.messageId = firstId - i;
        row.dateTime = newest - i * step;
        items.append(new ResourceItem(row));
    }
    return items;
}

void appendInPages(ResourceModel &model, const QList<ResourceItem *> &items)
{
    for (qsizetype first = 0; first < items.size(); first += kPageSize) {
        model.append(items.mid(first, kPageSize));
    }
}

void BM_AppendPages(benchmark::State &state)
{
    const int count = int(state.range(1));
    for (auto _ : state) {
        state.PauseTiming();
        auto model = makeModel(int(state.range(0)));
        const QList<ResourceItem *> items = tenYearsOfItems(count, 10 * count);
        state.ResumeTiming();

        appendInPages(*model, items);
        benchmark::DoNotOptimize(model->count());

        state.PauseTiming();
        model.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_InsertAtRandomPlaces(benchmark::State &state)
{
    const int held = 100000;
    const int inserts = 10000;
    QRandomGenerator random(7);
    for (auto _ : state) {
        state.PauseTiming();
        auto model = makeModel(int(state.range(0)));
        const QList<ResourceItem *> loaded = tenYearsOfItems(held, 10 * held);
        appendInPages(*model, loaded);
        const qint64 oldest = loaded.last()->dateTime();
        const qint64 span = loaded.first()->dateTime() - oldest;
        storage::ResourceInfo row;
        row.dialogId = loaded.first()->dialogId();
        QList<ResourceItem *> incoming;
        for (int i = 0; i < inserts; ++i) {
            row.messageId = 20 * held + i;
            row.dateTime = oldest + qint64(random.bounded(double(span)));
            incoming.append(new ResourceItem(row));
        }
        state.ResumeTiming();

        for (ResourceItem *item : std::as_const(incoming)) {
            model->insert(item);
        }
        benchmark::DoNotOptimize(model->resourceCount());

        state.PauseTiming();
        model.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * inserts);
}

void BM_DeleteMessageIds(benchmark::State &state)
{
    const int held = 100000;
    const int deletions = 10000;
    QRandomGenerator random(11);
    for (auto _ : state) {
        state.PauseTiming();
        auto model = makeModel(int(state.range(0)));
        const QList<ResourceItem *> loaded = tenYearsOfItems(held, 10 * held);
        appendInPages(*model, loaded);
        QList<qint64> ids;
        for (int i = 0; i < deletions; ++i) {
            ids.append(loaded.at(random.bounded(held))->messageId());
        }
        state.ResumeTiming();

        model->batchDelete(ids);
        benchmark::DoNotOptimize(model->resourceCount());

        state.PauseTiming();
        model.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * deletions);
}

// Heap bytes in use, as the allocator counts them.
size_t heapInUse()
{
    return mallinfo2().uordblks;
}

// Heap bytes of a bare QObject marked for C++ ownership, its private part and QML data included.
double markedQObjectBytes(int count)
{
    const size_t before = heapInUse();
    std::vector<std::unique_ptr<QObject>> objects;
    objects.reserve(size_t(count));
    for (int i = 0; i < count; ++i) {
        objects.push_back(std::make_unique<QObject>());
        QJSEngine::setObjectOwnership(objects.back().get(), QJSEngine::CppOwnership);
    }
    return double(heapInUse() - before) / count;
}

void BM_MemoryPerItem(benchmark::State &state)
{
    const int count = 100000;
    double bytesPerItem = 0;
    for (auto _ : state) {
        const size_t before = heapInUse();
        auto model = makeModel(int(state.range(0)));
        appendInPages(*model, tenYearsOfItems(count, 10 * count));
        bytesPerItem = double(heapInUse() - before) / count;
        state.PauseTiming();
        model.reset();
        state.ResumeTiming();
    }
    state.counters["bytes_per_item"] = bytesPerItem;
    state.counters["marked_qobject_floor_bytes"] = markedQObjectBytes(count);
}

BENCHMARK(BM_AppendPages)
        ->ArgNames({"sectioned", "items"})
        ->Args({Flat, 1000000})
        ->Args({Sectioned, 1000000})
        ->Unit(benchmark::kMillisecond)
        ->Iterations(3);
BENCHMARK(BM_InsertAtRandomPlaces)
        ->ArgNames({"sectioned"})
        ->Arg(Flat)
        ->Arg(Sectioned)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(3);
BENCHMARK(BM_DeleteMessageIds)
        ->ArgNames({"sectioned"})
        ->Arg(Flat)
        ->Arg(Sectioned)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(3);
BENCHMARK(BM_MemoryPerItem)
        ->ArgNames({"sectioned"})
        ->Arg(Flat)
        ->Arg(Sectioned)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1);

} // namespace

// The sectioned model watches the local day with a timer, which needs an application object.
int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    QCoreApplication app(argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
