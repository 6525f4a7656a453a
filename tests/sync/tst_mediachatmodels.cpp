#include "contenttype.h"
#include "mediachatitem.h"
#include "mediachatmodel.h"
#include "mediachatselectmodel.h"

#include <QAbstractItemModelTester>
#include <QtTest>
#include <memory>

namespace {

using Sizes = std::array<qlonglong, MediaChatItem::KIND_COUNT>;

std::unique_ptr<MediaChatItem> makeItem(const Sizes &sizes)
{
    auto item = std::make_unique<MediaChatItem>(QSharedPointer<DialogBase>());
    for (int kind = 0; kind < MediaChatItem::KIND_COUNT; ++kind) {
        item->setSize(kind, sizes[kind]);
    }
    return item;
}

// The type code that toggles each kind.
constexpr int TypeOfKind[] = {CONTENT_PHOTO, CONTENT_FILE, CONTENT_MUSIC, CONTENT_VOICE};

} // namespace

// The chat rows of the bulk download screen: one chat's sizes and check boxes, the list on offer
// and the selection with its running total.
class TestMediaChatModels : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void totalSizeOfCheckedKinds_data();
    void totalSizeOfCheckedKinds();
    void toggleByTypeCode_data();
    void toggleByTypeCode();
    void codesOfNoKindChangeNothing_data();
    void codesOfNoKindChangeNothing();
    void sizeChangeEmitsOnChangeOnly();

    void selectionTotalFollowsItems();
    void selectionDropsDeletedItem();
    void checkedAllFollowsSingleItems();
    void showItemsHidesAndShowsRows();
};

void TestMediaChatModels::totalSizeOfCheckedKinds_data()
{
    QTest::addColumn<QList<int>>("unchecked"); // type codes toggled off
    QTest::addColumn<qlonglong>("total");

    QTest::newRow("every kind checked") << QList<int>() << qlonglong(100);
    QTest::newRow("document and voice only")
            << QList<int> {CONTENT_PHOTO, CONTENT_MUSIC} << qlonglong(60);
    QTest::newRow("video code unchecks media")
            << QList<int> {CONTENT_VIDEO, CONTENT_FILE, CONTENT_VOICE} << qlonglong(30);
    QTest::newRow("nothing checked")
            << QList<int> {CONTENT_PHOTO, CONTENT_FILE, CONTENT_MUSIC, CONTENT_VOICE}
            << qlonglong(0);
}

void TestMediaChatModels::totalSizeOfCheckedKinds()
{
    QFETCH(QList<int>, unchecked);
    QFETCH(qlonglong, total);

    const auto item = makeItem({10, 20, 30, 40});
    for (int code : unchecked) {
        QVERIFY(item->toggleChecked(code));
    }
    QCOMPARE(item->totalSize(), total);
    // The sizes stay whatever is checked.
    QCOMPARE(item->mediaSize(), 10);
    QCOMPARE(item->docSize(), 20);
    QCOMPARE(item->audioSize(), 30);
    QCOMPARE(item->voiceSize(), 40);
}

void TestMediaChatModels::toggleByTypeCode_data()
{
    QTest::addColumn<int>("msgType");
    QTest::addColumn<QByteArray>("flag");
    QTest::addColumn<QByteArray>("signal");

    QTest::newRow("photo") << int(CONTENT_PHOTO) << QByteArray("mediaChecked")
                           << QByteArray("mediaCheckedChanged");
    QTest::newRow("video") << int(CONTENT_VIDEO) << QByteArray("mediaChecked")
                           << QByteArray("mediaCheckedChanged");
    QTest::newRow("file") << int(CONTENT_FILE) << QByteArray("docChecked")
                          << QByteArray("docCheckedChanged");
    QTest::newRow("music") << int(CONTENT_MUSIC) << QByteArray("audioChecked")
                           << QByteArray("audioCheckedChanged");
    QTest::newRow("voice") << int(CONTENT_VOICE) << QByteArray("voiceChecked")
                           << QByteArray("voiceCheckedChanged");
}

void TestMediaChatModels::toggleByTypeCode()
{
    QFETCH(int, msgType);
    QFETCH(QByteArray, flag);
    QFETCH(QByteArray, signal);

    const auto item = makeItem({10, 20, 30, 40});
    QStringList emitted;
    const QMetaObject *meta = item->metaObject();
    // Record the order of the two signals a toggle must emit.
    connect(item.get(), &MediaChatItem::totalSizeChanged, this,
            [&] { emitted << QStringLiteral("totalSizeChanged"); });
    const QMetaMethod flagSignal = meta->method(meta->indexOfSignal((signal + "()").constData()));
    QSignalSpy flagSpy(item.get(), flagSignal);
    connect(item.get(), &MediaChatItem::mediaCheckedChanged, this,
            [&] { emitted << QStringLiteral("mediaCheckedChanged"); });
    connect(item.get(), &MediaChatItem::docCheckedChanged, this,
            [&] { emitted << QStringLiteral("docCheckedChanged"); });
    connect(item.get(), &MediaChatItem::audioCheckedChanged, this,
            [&] { emitted << QStringLiteral("audioCheckedChanged"); });
    connect(item.get(), &MediaChatItem::voiceCheckedChanged, this,
            [&] { emitted << QStringLiteral("voiceCheckedChanged"); });

    QVERIFY(item->property(flag.constData()).toBool());
    QVERIFY(item->toggleChecked(msgType));
    QVERIFY(!item->property(flag.constData()).toBool());
    QCOMPARE(emitted, QStringList({QString::fromLatin1(signal), "totalSizeChanged"}));
    QCOMPARE(flagSpy.count(), 1);
    QVERIFY(item->toggleChecked(msgType));
    QVERIFY(item->property(flag.constData()).toBool());
    QCOMPARE(item->totalSize(), 100);
}

void TestMediaChatModels::codesOfNoKindChangeNothing_data()
{
    QTest::addColumn<int>("msgType");
    QTest::newRow("text") << int(CONTENT_TEXT);
    QTest::newRow("combined") << int(CONTENT_COMBINED);
    QTest::newRow("zero") << 0;
    QTest::newRow("negative") << -1;
}

void TestMediaChatModels::codesOfNoKindChangeNothing()
{
    QFETCH(int, msgType);
    const auto item = makeItem({10, 20, 30, 40});
    QList<std::shared_ptr<QSignalSpy>> spies;
    const QMetaObject *meta = item->metaObject();
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        if (meta->method(i).methodType() == QMetaMethod::Signal) {
            spies.append(std::make_shared<QSignalSpy>(item.get(), meta->method(i)));
        }
    }
    QVERIFY(!item->toggleChecked(msgType));
    for (const auto &spy : spies) {
        QCOMPARE(spy->count(), 0);
    }
    QCOMPARE(item->totalSize(), 100);
}

void TestMediaChatModels::sizeChangeEmitsOnChangeOnly()
{
    const auto item = makeItem({10, 20, 30, 40});
    QSignalSpy docSpy(item.get(), &MediaChatItem::docSizeChanged);
    QSignalSpy totalSpy(item.get(), &MediaChatItem::totalSizeChanged);
    item->setSize(MediaChatItem::KIND_DOC, 25);
    item->setSize(MediaChatItem::KIND_DOC, 25);
    QCOMPARE(docSpy.count(), 1);
    QCOMPARE(docSpy.at(0).at(0).toLongLong(), 25);
    QCOMPARE(totalSpy.count(), 1);

    // An unchecked kind's size does not move the total.
    item->toggleChecked(CONTENT_FILE);
    totalSpy.clear();
    item->setSize(MediaChatItem::KIND_DOC, 5);
    QCOMPARE(totalSpy.count(), 0);
    QCOMPARE(item->totalSize(), 80);
}

void TestMediaChatModels::selectionTotalFollowsItems()
{
    MediaChatSelectModel model;
    QAbstractItemModelTester tester(&model);
    QSignalSpy totalSpy(&model, &MediaChatSelectModel::totalSizeChanged);
    const auto a = makeItem({10, 20, 30, 40});
    const auto b = makeItem({1, 2, 3, 4});

    model.addItem(a.get());
    QCOMPARE(model.totalSize(), 100);
    model.addItem(b.get());
    model.addItem(b.get()); // once only
    QCOMPARE(model.count(), 2);
    QCOMPARE(model.totalSize(), 110);

    a->toggleChecked(CONTENT_VOICE);
    QCOMPARE(model.totalSize(), 70);
    b->setSize(MediaChatItem::KIND_MEDIA, 101);
    QCOMPARE(model.totalSize(), 170);
    QCOMPARE(totalSpy.last().at(0).toLongLong(), 170);

    const int emittedBefore = int(totalSpy.count());
    b->setSize(MediaChatItem::KIND_MEDIA, 101);
    QCOMPARE(totalSpy.count(), emittedBefore);

    model.removeItem(a.get());
    QCOMPARE(model.totalSize(), 110);
    // A removed item no longer moves the total.
    a->setSize(MediaChatItem::KIND_MEDIA, 1000);
    QCOMPARE(model.totalSize(), 110);

    const QModelIndex first = model.index(0);
    QCOMPARE(first.data(MediaChatListModel::TotalSizeRole).toLongLong(), 110);
    QCOMPARE(first.data(MediaChatListModel::ChatItemRole).value<MediaChatItem *>(), b.get());
    QCOMPARE(model.roleNames().value(MediaChatListModel::TotalSizeRole), QByteArray("totalSize"));

    model.resetItems({});
    QCOMPARE(model.totalSize(), 0);
}

void TestMediaChatModels::selectionDropsDeletedItem()
{
    MediaChatSelectModel model;
    QAbstractItemModelTester tester(&model);
    auto a = makeItem({10, 20, 30, 40});
    const auto b = makeItem({1, 2, 3, 4});
    model.addItem(a.get());
    model.addItem(b.get());
    QSignalSpy countSpy(&model, &MediaChatListModel::countChanged);
    a.reset();
    QCOMPARE(model.count(), 1);
    QCOMPARE(countSpy.count(), 1);
    QCOMPARE(model.totalSize(), 10);
}

void TestMediaChatModels::checkedAllFollowsSingleItems()
{
    MediaChatModel model;
    QAbstractItemModelTester tester(&model);
    QSignalSpy checkedAllSpy(&model, &MediaChatModel::checkedAllChanged);
    const auto a = makeItem({1, 0, 0, 0});
    const auto b = makeItem({2, 0, 0, 0});
    model.resetItems({a.get(), b.get()});
    QVERIFY(!model.checkedAll());

    a->setSelected(true);
    QVERIFY(!model.checkedAll());
    b->setSelected(true);
    QVERIFY(model.checkedAll());
    QCOMPARE(checkedAllSpy.count(), 1);
    QCOMPARE(model.index(1).data(MediaChatListModel::IsSelectedRole).toBool(), true);

    a->setSelected(false);
    QVERIFY(!model.checkedAll());
    QCOMPARE(checkedAllSpy.count(), 2);

    model.resetItems({});
    QVERIFY(!model.checkedAll());
}

void TestMediaChatModels::showItemsHidesAndShowsRows()
{
    MediaChatModel model;
    QAbstractItemModelTester tester(&model);
    const auto a = makeItem({1, 0, 0, 0});
    const auto b = makeItem({2, 0, 0, 0});
    const auto c = makeItem({3, 0, 0, 0});
    model.resetItems({a.get(), b.get(), c.get()});
    QSignalSpy resetSpy(&model, &QAbstractItemModel::modelReset);
    QSignalSpy removedSpy(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy insertedSpy(&model, &QAbstractItemModel::rowsInserted);

    model.showItems({a.get(), c.get()});
    QCOMPARE(model.items(), QList<MediaChatItem *>({a.get(), c.get()}));
    QCOMPARE(removedSpy.count(), 1);
    model.showItems({a.get(), b.get(), c.get()});
    QCOMPARE(model.items(), QList<MediaChatItem *>({a.get(), b.get(), c.get()}));
    QCOMPARE(insertedSpy.count(), 1);
    QCOMPARE(insertedSpy.at(0).at(1).toInt(), 1);
    QCOMPARE(resetSpy.count(), 0);
    QCOMPARE(model.count(), 3);
}

QTEST_GUILESS_MAIN(TestMediaChatModels)
#include "tst_mediachatmodels.moc"
