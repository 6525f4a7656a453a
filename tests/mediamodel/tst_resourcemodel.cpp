#include "mediatestsupport.h"
#include "messageidrange.h"
#include "resourceitem.h"
#include "resourcemodel.h"

#include <QAbstractItemModelTester>
#include <QPointer>
#include <QSignalSpy>
#include <QtTest>
#include <memory>

using namespace MediaTest;

Q_DECLARE_METATYPE(MessageIdRange)

namespace {

// A model checked by QAbstractItemModelTester after every change.
std::unique_ptr<ResourceModel> testedModel(const QStringList &labels = {})
{
    auto model = std::make_unique<ResourceModel>(2);
    new QAbstractItemModelTester(model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal,
                                 model.get());
    model->append(itemsOf(labels));
    return model;
}

QList<std::pair<int, int>> spans(const QSignalSpy &spy)
{
    QList<std::pair<int, int>> result;
    for (const QList<QVariant> &arguments : spy) {
        result.append({arguments.at(1).toInt(), arguments.at(2).toInt()});
    }
    return result;
}

// Message ids 70 to 30 of dialog u1; 60 is held as two sub-items, 50 as itself and two sub-items.
const QStringList kGallery {"70", "60.2", "60.1", "50.2", "50.1", "50", "40", "30"};
// Two dialogs interleaved in time.
const QStringList kTwoDialogs {"u1/60", "g1/55", "u1/50", "u1/40", "g1/35", "u1/30", "u1/20"};

} // namespace

// The flat gallery list: sorted insertion, paging, every deletion form, the released state.
class TestResourceModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanupTestCase();

    void roles();
    void dateRole_data();
    void dateRole();
    void insert_data();
    void insert();
    void insertingAnEqualItemDestroysTheIncomingOne();
    void insertingAHeldItemKeepsIt();
    void insertingNothingChangesNothing();
    void update_data();
    void update();
    void canInsert_data();
    void canInsert();
    void appendAnnouncesThePageAtOnce();
    void resetItemsReplacesTheList();
    void resetItemsOfNothingOnEmptyModelIsSilent();

    void deleteItem_data();
    void deleteItem();
    void deleteItemOfDialog_data();
    void deleteItemOfDialog();
    void batchDeleteRange_data();
    void batchDeleteRange();
    void batchDeleteRangeOfDialog_data();
    void batchDeleteRangeOfDialog();
    void batchDeleteIds();
    void clearResource_data();
    void clearResource();
    void clearResourceOfDialog_data();
    void clearResourceOfDialog();
    void rangeRemovalAnnouncesItsLastRowFirst();
    void removedItemsAreDeleted();

    void resetModelHidesItemsUntilReleased();
    void releasedModelDestroysWhatItIsGiven();
    void releaseDataWithNothingReleasedChangesNothing();
    void clearAllDeletesShownAndHiddenItems();
    void foreachItem_data();
    void foreachItem();
    void destructionDeletesTheItems();
    void itemPointsOrderByGroupThenRow();
};

void TestResourceModel::init()
{
    setNow(localMSecs(2024, 3, 20, 10, 0));
}

void TestResourceModel::cleanupTestCase()
{
    resetNow();
}

void TestResourceModel::roles()
{
    const auto model = testedModel({"50", "40"});
    const QHash<int, QByteArray> roles = model->roleNames();
    QCOMPARE(roles.size(), 2);
    QCOMPARE(roles.value(257), QByteArray("itemModel"));
    QCOMPARE(roles.value(258), QByteArray("date"));

    const QVariant item = model->data(model->index(1), 257);
    QCOMPARE(item.value<QObject *>(), model->getResourceItem(1));
    QCOMPARE(labelOf(qobject_cast<ResourceItem *>(item.value<QObject *>())), QString("u1/40.0"));
    QVERIFY(!model->data(model->index(1), Qt::DisplayRole).isValid());
    QVERIFY(!model->data(model->index(2), 257).isValid());
    QVERIFY(!model->getResourceItem(2));
    QVERIFY(!model->getResourceItem(-1));
    QCOMPARE(model->type(), 2);
    QCOMPARE(model->property("count").toInt(), 2);
}

void TestResourceModel::dateRole_data()
{
    QTest::addColumn<qint64>("time");
    QTest::addColumn<qint64>("date");

    QTest::newRow("today: today's midnight")
            << localMSecs(2024, 3, 20, 9, 0) << localMSecs(2024, 3, 20, 0, 0);
    QTest::newRow("today's first millisecond")
            << localMSecs(2024, 3, 20, 0, 0) << localMSecs(2024, 3, 20, 0, 0);
    QTest::newRow("yesterday, same month: the 1st")
            << localMSecs(2024, 3, 19, 23, 59, 59, 999) << localMSecs(2024, 3, 1, 0, 0);
    QTest::newRow("15 March of another year: its 1 March")
            << localMSecs(2023, 3, 15, 18, 30) << localMSecs(2023, 3, 1, 0, 0);
    QTest::newRow("tomorrow is not today")
            << localMSecs(2024, 3, 21, 0, 0) << localMSecs(2024, 3, 1, 0, 0);
}

void TestResourceModel::dateRole()
{
    QFETCH(qint64, time);
    const auto model = testedModel();
    model->insert(rowItem("u1", 1, 0, time));
    QTEST(model->data(model->index(0), 258).toLongLong(), "date");
}

void TestResourceModel::insert_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<int>("row");

    QTest::newRow("newer than every item: row 0") << "80" << 0;
    QTest::newRow("older than every item: last row") << "20" << 8;
    QTest::newRow("between two messages") << "45" << 6;
    QTest::newRow("a missing sub-item among its siblings") << "50.3" << 3;
    QTest::newRow("same time, another dialog: by dialog id") << "U1/50.0@5000" << 6;
    QTest::newRow("same time, dialog id compared case-sensitively") << "v1/50.0@5000" << 3;
}

void TestResourceModel::insert()
{
    QFETCH(QString, item);
    QFETCH(int, row);
    const auto model = testedModel(kGallery);
    QSignalSpy inserted(model.get(), &QAbstractItemModel::rowsInserted);
    QSignalSpy counted(model.get(), &ResourceModel::countChanged);

    ResourceItem *incoming = itemOf(item);
    model->insert(incoming);
    QCOMPARE(spans(inserted), (QList<std::pair<int, int>> {{row, row}}));
    QCOMPARE(counted.count(), 1);
    QCOMPARE(model->getResourceItem(row), incoming);
    QCOMPARE(model->count(), kGallery.size() + 1);
}

void TestResourceModel::insertingAnEqualItemDestroysTheIncomingOne()
{
    const auto model = testedModel(kGallery);
    ResourceItem *held = model->getResourceItem(5);
    QPointer<ResourceItem> incoming = rowItem("u1", 50, 0, 5000, 5);
    QSignalSpy inserted(model.get(), &QAbstractItemModel::rowsInserted);

    model->insert(incoming);
    QVERIFY(!incoming);
    QCOMPARE(inserted.count(), 0);
    QCOMPARE(model->count(), kGallery.size());
    QCOMPARE(model->getResourceItem(5), held);
}

void TestResourceModel::insertingAHeldItemKeepsIt()
{
    const auto model = testedModel(kGallery);
    QPointer<ResourceItem> held = model->getResourceItem(3);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("already in the list"));
    model->insert(held);
    QVERIFY(held);
    QCOMPARE(labelsOf(*model), canonical(kGallery));
}

void TestResourceModel::insertingNothingChangesNothing()
{
    const auto model = testedModel(kGallery);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("null item"));
    model->insert(nullptr);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("null item"));
    QVERIFY(!model->update(nullptr));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("null items"));
    model->append({nullptr, itemOf("10")});
    QCOMPARE(model->count(), kGallery.size() + 1);
    QVERIFY(!model->canInsert(nullptr));
}

void TestResourceModel::update_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<bool>("replaced");
    QTest::addColumn<int>("row");

    QTest::newRow("an equal item replaces the held one in place") << "50.1" << true << 4;
    QTest::newRow("a new item is inserted at its place") << "55" << false << 3;
}

void TestResourceModel::update()
{
    QFETCH(QString, item);
    QFETCH(bool, replaced);
    QFETCH(int, row);
    const auto model = testedModel(kGallery);
    QPointer<ResourceItem> before = model->getResourceItem(row);
    QSignalSpy changed(model.get(), &QAbstractItemModel::dataChanged);
    QSignalSpy inserted(model.get(), &QAbstractItemModel::rowsInserted);

    ResourceItem *incoming = itemOf(item);
    QTEST(model->update(incoming), "replaced");
    QCOMPARE(model->getResourceItem(row), incoming);
    if (replaced) {
        QVERIFY(!before);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.first().at(0).toModelIndex().row(), row);
        QCOMPARE(changed.first().at(1).toModelIndex().row(), row);
        QCOMPARE(changed.first().at(2).value<QList<int>>(), QList<int> {257});
        QCOMPARE(model->count(), kGallery.size());
    } else {
        QVERIFY(before);
        QCOMPARE(spans(inserted), (QList<std::pair<int, int>> {{row, row}}));
        QCOMPARE(model->count(), kGallery.size() + 1);
    }
}

void TestResourceModel::canInsert_data()
{
    QTest::addColumn<QStringList>("held");
    QTest::addColumn<QString>("item");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("empty model takes anything") << QStringList() << "5" << true;
    QTest::newRow("inside the loaded span") << kGallery << "45" << true;
    QTest::newRow("newer than everything") << kGallery << "90" << true;
    QTest::newRow("equal to the oldest item: left to paging") << kGallery << "30" << false;
    QTest::newRow("older than the oldest item: left to paging") << kGallery << "25" << false;
}

void TestResourceModel::canInsert()
{
    QFETCH(QStringList, held);
    QFETCH(QString, item);
    const auto model = testedModel(held);
    const std::unique_ptr<ResourceItem> candidate(itemOf(item));
    QTEST(model->canInsert(candidate.get()), "accepted");
}

void TestResourceModel::appendAnnouncesThePageAtOnce()
{
    const auto model = testedModel({"90", "80"});
    QSignalSpy inserted(model.get(), &QAbstractItemModel::rowsInserted);
    QSignalSpy counted(model.get(), &ResourceModel::countChanged);

    model->append(itemsOf({"70", "60", "50"}));
    model->append({});
    QCOMPARE(spans(inserted), (QList<std::pair<int, int>> {{2, 4}}));
    QCOMPARE(counted.count(), 1);
    QCOMPARE(labelsOf(*model),
             (QStringList {"u1/90.0", "u1/80.0", "u1/70.0", "u1/60.0", "u1/50.0"}));
}

void TestResourceModel::resetItemsReplacesTheList()
{
    Watch watch;
    const auto model = testedModel();
    model->append(watch(itemsOf({"50", "40", "30"})));
    ResourceItem *kept = model->getResourceItem(1);
    QSignalSpy reset(model.get(), &QAbstractItemModel::modelReset);
    QSignalSpy counted(model.get(), &ResourceModel::countChanged);

    model->resetItems({watch(itemOf("90")), kept});
    QCOMPARE(reset.count(), 1);
    QCOMPARE(counted.count(), 1);
    QCOMPARE(labelsOf(*model), (QStringList {"u1/90.0", "u1/40.0"}));
    QCOMPARE(watch.deleted(), 2);
}

void TestResourceModel::resetItemsOfNothingOnEmptyModelIsSilent()
{
    const auto model = testedModel();
    QSignalSpy reset(model.get(), &QAbstractItemModel::modelReset);
    model->resetItems({});
    QCOMPARE(reset.count(), 0);
}

void TestResourceModel::deleteItem_data()
{
    QTest::addColumn<qint64>("messageId");
    QTest::addColumn<QStringList>("left");

    QTest::newRow("a plain message: its row")
            << qint64(40) << QStringList {"70", "60.2", "60.1", "50.2", "50.1", "50", "30"};
    QTest::newRow("held only as sub-items: every sub-item")
            << qint64(60) << QStringList {"70", "50.2", "50.1", "50", "40", "30"};
    QTest::newRow("held as (id, 0) and sub-items: only (id, 0)")
            << qint64(50) << QStringList {"70", "60.2", "60.1", "50.2", "50.1", "40", "30"};
    QTest::newRow("the newest") << qint64(70)
                                << QStringList {"60.2", "60.1", "50.2", "50.1", "50", "40", "30"};
    QTest::newRow("the oldest") << qint64(30)
                                << QStringList {"70", "60.2", "60.1", "50.2", "50.1", "50", "40"};
    QTest::newRow("not held: nothing") << qint64(45) << kGallery;
}

void TestResourceModel::deleteItem()
{
    QFETCH(qint64, messageId);
    QFETCH(QStringList, left);
    const auto model = testedModel(kGallery);
    model->deleteItem(messageId);
    QCOMPARE(labelsOf(*model), canonical(left));
}

void TestResourceModel::deleteItemOfDialog_data()
{
    QTest::addColumn<QString>("dialogId");
    QTest::addColumn<qint64>("messageId");
    QTest::addColumn<QStringList>("left");

    const QStringList held {"u1/9.1@900", "u1/9.0@900", "U1/9.0@900", "u1/8@800", "u1/9.2@700"};
    QTest::newRow("the first run of the message, not a later one")
            << "u1" << qint64(9) << QStringList {"U1/9.0@900", "u1/8@800", "u1/9.2@700"};
    QTest::newRow("dialog ids are case-sensitive")
            << "U1" << qint64(9)
            << QStringList {"u1/9.1@900", "u1/9.0@900", "u1/8@800", "u1/9.2@700"};
    QTest::newRow("another dialog: nothing") << "u2" << qint64(9) << held;
}

void TestResourceModel::deleteItemOfDialog()
{
    QFETCH(QString, dialogId);
    QFETCH(qint64, messageId);
    QFETCH(QStringList, left);
    const auto model =
            testedModel({"u1/9.1@900", "u1/9.0@900", "U1/9.0@900", "u1/8@800", "u1/9.2@700"});
    model->deleteItem(dialogId, messageId);
    QCOMPARE(labelsOf(*model), canonical(left));
}

void TestResourceModel::batchDeleteRange_data()
{
    QTest::addColumn<MessageIdRange>("range");
    QTest::addColumn<QStringList>("left");
    const QStringList held {"80", "70.2", "70.1", "60", "50", "40", "30", "20"};

    QTest::newRow("from (to, 0) down to the rows above from")
            << MessageIdRange(30, 60) << QStringList {"80", "70.2", "70.1", "30", "20"};
    QTest::newRow("sub-items of to sort above (to, 0) and stay")
            << MessageIdRange(50, 70) << QStringList {"80", "70.2", "70.1", "50", "40", "30", "20"};
    QTest::newRow("down to the oldest item, which stays")
            << MessageIdRange(20, 50) << QStringList {"80", "70.2", "70.1", "60", "20"};
    QTest::newRow("reaching past the oldest item: nothing") << MessageIdRange(10, 50) << held;
    QTest::newRow("above every item: nothing") << MessageIdRange(90, 99) << held;
    QTest::newRow("reversed bounds: nothing") << MessageIdRange(60, 30) << held;
}

void TestResourceModel::batchDeleteRange()
{
    QFETCH(MessageIdRange, range);
    QFETCH(QStringList, left);
    const auto model = testedModel({"80", "70.2", "70.1", "60", "50", "40", "30", "20"});
    model->batchDelete(range);
    QCOMPARE(labelsOf(*model), canonical(left));
}

void TestResourceModel::batchDeleteRangeOfDialog_data()
{
    QTest::addColumn<QString>("dialogId");
    QTest::addColumn<MessageIdRange>("range");
    QTest::addColumn<QStringList>("left");

    QTest::newRow("runs of the dialog; other dialogs' rows in between stay")
            << "u1" << MessageIdRange(30, 50) << QStringList {"u1/60", "g1/55", "g1/35", "u1/20"};
    QTest::newRow("bounds included") << "g1" << MessageIdRange(35, 55)
                                     << QStringList {"u1/60", "u1/50", "u1/40", "u1/30", "u1/20"};
    QTest::newRow("a range newer than the dialog's rows: nothing")
            << "u1" << MessageIdRange(70, 80) << kTwoDialogs;
    QTest::newRow("the whole dialog, down to the last row")
            << "u1" << MessageIdRange(1, 100) << QStringList {"g1/55", "g1/35"};
    QTest::newRow("an unknown dialog: nothing") << "x9" << MessageIdRange(1, 100) << kTwoDialogs;
}

void TestResourceModel::batchDeleteRangeOfDialog()
{
    QFETCH(QString, dialogId);
    QFETCH(MessageIdRange, range);
    QFETCH(QStringList, left);
    const auto model = testedModel(kTwoDialogs);
    model->batchDelete(dialogId, range);
    QCOMPARE(labelsOf(*model), canonical(left));
}

void TestResourceModel::batchDeleteIds()
{
    const auto model = testedModel(kGallery);
    model->batchDelete(QList<qint64> {40, 60, 99});
    QCOMPARE(labelsOf(*model), canonical({"70", "50.2", "50.1", "50", "30"}));

    const auto dialogs = testedModel(kTwoDialogs);
    dialogs->batchDelete("g1", QList<qint64> {55, 50});
    QCOMPARE(labelsOf(*dialogs), canonical({"u1/60", "u1/50", "u1/40", "g1/35", "u1/30", "u1/20"}));
}

void TestResourceModel::clearResource_data()
{
    QTest::addColumn<qint64>("messageId");
    QTest::addColumn<QStringList>("left");
    const QStringList held {"70", "60.2", "60.1", "50", "40", "30"};

    QTest::newRow("0: everything") << qint64(0) << QStringList();
    QTest::newRow("below 0: everything") << qint64(-5) << QStringList();
    QTest::newRow("the newest id: everything") << qint64(70) << QStringList();
    QTest::newRow("above the newest id: everything") << qint64(90) << QStringList();
    QTest::newRow("older than the oldest item: nothing") << qint64(20) << held;
    QTest::newRow("a held message: the rows older than it")
            << qint64(50) << QStringList {"70", "60.2", "60.1", "50"};
    QTest::newRow("an id between two messages: the older rows")
            << qint64(45) << QStringList {"70", "60.2", "60.1", "50"};
    QTest::newRow("a message held as sub-items: the rows below them")
            << qint64(60) << QStringList {"70", "60.2", "60.1"};
    QTest::newRow("the oldest message: nothing older to take") << qint64(30) << held;
}

void TestResourceModel::clearResource()
{
    QFETCH(qint64, messageId);
    QFETCH(QStringList, left);
    const auto model = testedModel({"70", "60.2", "60.1", "50", "40", "30"});
    model->clearResource(messageId);
    QCOMPARE(labelsOf(*model), canonical(left));
}

void TestResourceModel::clearResourceOfDialog_data()
{
    QTest::addColumn<QString>("dialogId");
    QTest::addColumn<qint64>("messageId");
    QTest::addColumn<QStringList>("left");

    QTest::newRow("up to and including the message, from the oldest up")
            << "u1" << qint64(40) << QStringList {"u1/60", "g1/55", "u1/50", "g1/35"};
    QTest::newRow("0: every row of the dialog")
            << "u1" << qint64(0) << QStringList {"g1/55", "g1/35"};
    QTest::newRow("stops at the dialog's first newer message")
            << "g1" << qint64(40)
            << QStringList {"u1/60", "g1/55", "u1/50", "u1/40", "u1/30", "u1/20"};
    QTest::newRow("an unknown dialog: nothing") << "x9" << qint64(0) << kTwoDialogs;
}

void TestResourceModel::clearResourceOfDialog()
{
    QFETCH(QString, dialogId);
    QFETCH(qint64, messageId);
    QFETCH(QStringList, left);
    const auto model = testedModel(kTwoDialogs);
    model->clearResource(dialogId, messageId);
    QCOMPARE(labelsOf(*model), canonical(left));
}

// Views have always seen a range removal begin as the removal of the range's last row alone;
// the rest of the range follows, so that the tester never sees rows that are gone.
void TestResourceModel::rangeRemovalAnnouncesItsLastRowFirst()
{
    const auto model = testedModel({"80", "70", "60", "50", "40", "30", "20"});
    QSignalSpy removing(model.get(), &QAbstractItemModel::rowsAboutToBeRemoved);
    QSignalSpy counted(model.get(), &ResourceModel::countChanged);

    model->batchDelete(MessageIdRange(20, 70));
    QCOMPARE(spans(removing), (QList<std::pair<int, int>> {{5, 5}, {1, 4}}));
    QCOMPARE(counted.count(), 1);
    QCOMPARE(labelsOf(*model), canonical({"80", "20"}));

    removing.clear();
    model->deleteItem(20);
    QCOMPARE(spans(removing), (QList<std::pair<int, int>> {{1, 1}}));
}

void TestResourceModel::removedItemsAreDeleted()
{
    Watch watch;
    const auto model = testedModel();
    model->append(watch(itemsOf(kGallery)));
    model->deleteItem(60);
    QCOMPARE(watch.deleted(), 2);
    model->batchDelete(MessageIdRange(30, 50));
    QCOMPARE(watch.deleted(), 4);
    model->clearResource(0);
    QCOMPARE(watch.deleted(), kGallery.size());
}

void TestResourceModel::resetModelHidesItemsUntilReleased()
{
    Watch watch;
    const auto model = testedModel();
    model->append(watch(itemsOf({"50", "40", "30"})));
    QSignalSpy reset(model.get(), &QAbstractItemModel::modelReset);
    QSignalSpy counted(model.get(), &ResourceModel::countChanged);

    model->resetModel();
    QCOMPARE(reset.count(), 1);
    QCOMPARE(counted.count(), 1);
    QCOMPARE(model->count(), 0);
    QCOMPARE(model->rowCount(), 0);
    QCOMPARE(model->resourceCount(), 0);
    QVERIFY(!model->getResourceItem(0));
    QCOMPARE(watch.alive(), 3);

    model->releaseData();
    QCOMPARE(watch.alive(), 0);
    model->append(itemsOf({"20", "10"}));
    QCOMPARE(model->count(), 2);
}

void TestResourceModel::releasedModelDestroysWhatItIsGiven()
{
    Watch watch;
    const auto model = testedModel({"50", "40"});
    model->resetModel();
    QSignalSpy inserted(model.get(), &QAbstractItemModel::rowsInserted);

    model->append(watch(itemsOf({"30", "20", "10"})));
    model->insert(watch(itemOf("60")));
    QVERIFY(!model->update(watch(itemOf("70"))));
    model->resetItems(watch(itemsOf({"80"})));
    QCOMPARE(watch.deleted(), 6);
    QCOMPARE(inserted.count(), 0);
    QCOMPARE(model->count(), 0);

    QSignalSpy removed(model.get(), &QAbstractItemModel::rowsRemoved);
    model->deleteItem(50);
    model->clearResource(0);
    model->batchDelete(MessageIdRange(1, 100));
    QCOMPARE(removed.count(), 0);
}

void TestResourceModel::releaseDataWithNothingReleasedChangesNothing()
{
    const auto model = testedModel();
    model->resetModel();
    model->releaseData();
    model->append(itemsOf({"50"}));
    QCOMPARE(model->count(), 1);
}

void TestResourceModel::clearAllDeletesShownAndHiddenItems()
{
    Watch watch;
    const auto model = testedModel();
    model->append(watch(itemsOf({"50", "40"})));
    model->resetModel();
    model->clearAll();
    QCOMPARE(watch.deleted(), 2);
    model->append(watch(itemsOf({"30", "20"})));
    QCOMPARE(model->count(), 2);

    QSignalSpy reset(model.get(), &QAbstractItemModel::modelReset);
    QSignalSpy counted(model.get(), &ResourceModel::countChanged);
    QVERIFY(QMetaObject::invokeMethod(model.get(), "clearAll"));
    QCOMPARE(reset.count(), 1);
    QCOMPARE(counted.count(), 1);
    QCOMPARE(watch.deleted(), 4);
    QCOMPARE(model->count(), 0);
}

void TestResourceModel::foreachItem_data()
{
    QTest::addColumn<QPoint>("start");
    QTest::addColumn<QPoint>("end");
    QTest::addColumn<QPoint>("skip");
    QTest::addColumn<QStringList>("visited");

    QTest::newRow("rows start to end") << QPoint(0, 1) << QPoint(0, 3) << QPoint(-1, -1)
                                       << QStringList {"u1/40.0", "u1/30.0", "u1/20.0"};
    QTest::newRow("except skip") << QPoint(0, 1) << QPoint(0, 3) << QPoint(0, 2)
                                 << QStringList {"u1/40.0", "u1/20.0"};
    QTest::newRow("skip compares the row only")
            << QPoint(0, 0) << QPoint(0, 1) << QPoint(5, 0) << QStringList {"u1/40.0"};
    QTest::newRow("rows past the end give null") << QPoint(0, 3) << QPoint(0, 5) << QPoint(-1, -1)
                                                 << QStringList {"u1/20.0", "null", "null"};
    QTest::newRow("start after end: nothing")
            << QPoint(0, 3) << QPoint(0, 1) << QPoint(-1, -1) << QStringList();
}

void TestResourceModel::foreachItem()
{
    QFETCH(QPoint, start);
    QFETCH(QPoint, end);
    QFETCH(QPoint, skip);
    const auto model = testedModel({"50", "40", "30", "20"});
    QStringList visited;
    model->foreachItem(start, end, skip,
                       [&visited](ResourceItem *item) { visited.append(labelOf(item)); });
    QTEST(visited, "visited");
}

void TestResourceModel::destructionDeletesTheItems()
{
    Watch watch;
    auto model = testedModel();
    model->append(watch(itemsOf({"50", "40"})));
    model->resetModel();
    model->append(watch(itemsOf({"30"})));
    model.reset();
    QCOMPARE(watch.alive(), 0);
}

void TestResourceModel::itemPointsOrderByGroupThenRow()
{
    const ItemPoint fromView = QPoint(2, 7);
    QCOMPARE(fromView.group, 2);
    QCOMPARE(fromView.row, 7);
    QVERIFY(ItemPoint(0, 9) < ItemPoint(1, 0));
    QVERIFY(ItemPoint(1, 0) < ItemPoint(1, 1));
    QVERIFY(!(ItemPoint(1, 1) < ItemPoint(1, 1)));
    QVERIFY(ItemPoint(1, 1) == QPoint(1, 1));
    QVERIFY(ItemPoint(1, 1) != QPoint(1, 2));
}

QTEST_GUILESS_MAIN(TestResourceModel)
#include "tst_resourcemodel.moc"
