#include "mediaitemmodel.h"
#include "mediamodel.h"
#include "mediatestsupport.h"
#include "messageidrange.h"
#include "resourceitem.h"

#include <QAbstractItemModelTester>
#include <QDateTime>
#include <QPointer>
#include <QSignalSpy>
#include <QtTest>
#include <functional>
#include <memory>

using namespace MediaTest;

using Operation = std::function<void(MediaModel &)>;
Q_DECLARE_METATYPE(Operation)

namespace {

// The test's today: 20 March 2024, 10:00 local time.
const QDate kToday(2024, 3, 20);

qint64 at(const QDate &date, int hour = 12, int minute = 0, int second = 0, int msec = 0)
{
    return localMSecs(date.year(), date.month(), date.day(), hour, minute, second, msec);
}

ResourceItem *on(qint64 id, const QDate &date, int hour = 12, qint64 subMsgId = 0,
                 const QString &dialogId = QStringLiteral("u1"))
{
    return rowItem(dialogId, id, subMsgId, at(date, hour));
}

MediaItemModel *sectionAt(const MediaModel &model, int row)
{
    return qobject_cast<MediaItemModel *>(model.data(model.index(row), 257).value<QObject *>());
}

// "date of the section: its items", e.g. "2024-03-01 00:00: 5.0 g1/4.0".
QStringList layout(const MediaModel &model)
{
    QStringList sections;
    for (int row = 0; row < model.count(); ++row) {
        const MediaItemModel *section = sectionAt(model, row);
        QStringList items;
        for (int index = 0; index < section->count(); ++index) {
            items.append(labelOf(section->getResourceItem(index)).remove(QStringLiteral("u1/")));
        }
        sections.append(QDateTime::fromMSecsSinceEpoch(section->date()).toString("yyyy-MM-dd hh:mm")
                        + QStringLiteral(": ") + items.join(QLatin1Char(' ')));
    }
    return sections;
}

// Attaches a QAbstractItemModelTester to a MediaModel and to every section it shows.
class TestedMediaModel
{
public:
    TestedMediaModel()
        : m_model(std::make_unique<MediaModel>(2))
    {
        new QAbstractItemModelTester(m_model.get(),
                                     QAbstractItemModelTester::FailureReportingMode::Fatal,
                                     m_model.get());
        QObject::connect(m_model.get(), &QAbstractItemModel::rowsInserted, m_model.get(),
                         [this] { testSections(); });
        QObject::connect(m_model.get(), &QAbstractItemModel::modelReset, m_model.get(),
                         [this] { testSections(); });
    }

    MediaModel *operator->() const { return m_model.get(); }
    MediaModel &operator*() const { return *m_model; }
    MediaModel *get() const { return m_model.get(); }
    void reset() { m_model.reset(); }

private:
    void testSections()
    {
        for (int row = 0; row < m_model->count(); ++row) {
            MediaItemModel *section = sectionAt(*m_model, row);
            if (!section->findChild<QAbstractItemModelTester *>()) {
                new QAbstractItemModelTester(
                        section, QAbstractItemModelTester::FailureReportingMode::Fatal, section);
            }
        }
    }

    std::unique_ptr<MediaModel> m_model;
};

// Today 9 and 8, earlier in March 7 and 6, February 4 (with sub-items 2 and 1) and 3, January 1.
QList<ResourceItem *> threeMonths()
{
    return {on(9, kToday, 9),
            on(8, kToday, 8),
            on(7, QDate(2024, 3, 10)),
            on(6, QDate(2024, 3, 2)),
            on(4, QDate(2024, 2, 20), 12, 2),
            on(4, QDate(2024, 2, 20), 12, 1),
            on(3, QDate(2024, 2, 1)),
            on(1, QDate(2024, 1, 5))};
}

const QStringList kThreeMonths {"2024-03-20 00:00: 9.0 8.0", "2024-03-01 00:00: 7.0 6.0",
                                "2024-02-01 00:00: 4.2 4.1 3.0", "2024-01-01 00:00: 1.0"};

} // namespace

// The photo-and-video list in dated sections: today alone, every other day by month.
class TestMediaModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanupTestCase();

    void rolesAndCounts();
    void todayIsASectionOfItsOwn();
    void aPageSpanningMonthsAddsTheirSections();
    void aPageContinuingASectionJoinsIt();
    void aPageRepeatingTheOldestItemDropsIt();
    void insert_data();
    void insert();
    void insertOpensAMonthBetweenItsNeighbours();
    void insertingAnEqualItemDestroysTheIncomingOne();
    void update_data();
    void update();
    void canInsert_data();
    void canInsert();
    void deleteItem_data();
    void deleteItem();
    void deletionForms_data();
    void deletionForms();
    void foreachItem_data();
    void foreachItem();
    void resetItemsRebuildsTheSections();
    void resetModelHidesSectionsUntilReleased();
    void clearAllDeletesSectionsAndItems();
    void destructionDeletesSectionsAndItems();

    void updateModel_data();
    void updateModel();
    void aDayChangeFoldsTodayAtLocalMidnight_data();
    void aDayChangeFoldsTodayAtLocalMidnight();
};

void TestMediaModel::init()
{
    setNow(at(kToday, 10));
}

void TestMediaModel::cleanupTestCase()
{
    resetNow();
}

void TestMediaModel::rolesAndCounts()
{
    TestedMediaModel model;
    model->append(threeMonths());
    QCOMPARE(model->roleNames(), (QHash<int, QByteArray> {{257, "itemModel"}}));
    QCOMPARE(model->count(), 4);
    QCOMPARE(model->rowCount(), 4);
    QCOMPARE(model->resourceCount(), 8);
    QVERIFY(!model->data(model->index(0), 258).isValid());
    QVERIFY(!model->data(model->index(4), 257).isValid());
    QVERIFY(!model->getResourceItem(0));

    MediaItemModel *february = sectionAt(*model, 2);
    QCOMPARE(february->property("date").toLongLong(), at(QDate(2024, 2, 1), 0));
    QCOMPARE(february->property("count").toInt(), 3);
    QCOMPARE(february->roleNames(), (QHash<int, QByteArray> {{257, "itemModel"}}));
    QCOMPARE(february->data(february->index(1), 257).value<QObject *>(),
             february->getResourceItem(1));
    QCOMPARE(labelOf(february->getResourceItem(1)), QString("u1/4.1"));
    QVERIFY(!february->getResourceItem(3));
    QVERIFY(!february->data(february->index(0), 258).isValid());
}

void TestMediaModel::todayIsASectionOfItsOwn()
{
    TestedMediaModel model;
    model->append({on(2, kToday, 9), on(1, kToday.addDays(-1), 23)});
    QCOMPARE(layout(*model), (QStringList {"2024-03-20 00:00: 2.0", "2024-03-01 00:00: 1.0"}));
}

void TestMediaModel::aPageSpanningMonthsAddsTheirSections()
{
    TestedMediaModel model;
    QSignalSpy inserted(model.get(), &QAbstractItemModel::rowsInserted);
    QSignalSpy counted(model.get(), &MediaModel::countChanged);
    model->append(threeMonths());
    QCOMPARE(layout(*model), kThreeMonths);
    QCOMPARE(inserted.count(), 4);
    QCOMPARE(counted.count(), 4);
}

void TestMediaModel::aPageContinuingASectionJoinsIt()
{
    TestedMediaModel model;
    model->append({on(9, kToday), on(7, QDate(2024, 3, 10))});
    MediaItemModel *march = sectionAt(*model, 1);
    QSignalSpy sectionInserted(march, &QAbstractItemModel::rowsInserted);
    QSignalSpy sectionCounted(march, &MediaItemModel::countChanged);
    QSignalSpy inserted(model.get(), &QAbstractItemModel::rowsInserted);

    model->append({on(6, QDate(2024, 3, 5)), on(5, QDate(2024, 3, 4)), on(3, QDate(2024, 2, 9))});
    QCOMPARE(sectionInserted.count(), 1);
    QCOMPARE(sectionInserted.first().at(1).toInt(), 1);
    QCOMPARE(sectionInserted.first().at(2).toInt(), 2);
    QCOMPARE(sectionCounted.count(), 1);
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(layout(*model),
             (QStringList {"2024-03-20 00:00: 9.0", "2024-03-01 00:00: 7.0 6.0 5.0",
                           "2024-02-01 00:00: 3.0"}));
}

void TestMediaModel::aPageRepeatingTheOldestItemDropsIt()
{
    Watch watch;
    TestedMediaModel model;
    model->append({on(9, kToday), on(7, QDate(2024, 3, 10))});
    model->append(watch({on(7, QDate(2024, 3, 10)), on(6, QDate(2024, 3, 9))}));
    QCOMPARE(watch.deleted(), 1);
    QCOMPARE(layout(*model), (QStringList {"2024-03-20 00:00: 9.0", "2024-03-01 00:00: 7.0 6.0"}));
}

void TestMediaModel::insert_data()
{
    QTest::addColumn<qint64>("time");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("into today's section, at its place")
            << at(kToday, 8, 30)
            << QStringList {"2024-03-20 00:00: 9.0 5.0 8.0", "2024-03-01 00:00: 7.0 6.0",
                            "2024-02-01 00:00: 4.2 4.1 3.0", "2024-01-01 00:00: 1.0"};
    QTest::newRow("into a month's section, at its place")
            << at(QDate(2024, 2, 10))
            << QStringList {"2024-03-20 00:00: 9.0 8.0", "2024-03-01 00:00: 7.0 6.0",
                            "2024-02-01 00:00: 4.2 4.1 5.0 3.0", "2024-01-01 00:00: 1.0"};
    QTest::newRow("a month older than every section: a last section")
            << at(QDate(2023, 12, 24))
            << QStringList {"2024-03-20 00:00: 9.0 8.0", "2024-03-01 00:00: 7.0 6.0",
                            "2024-02-01 00:00: 4.2 4.1 3.0", "2024-01-01 00:00: 1.0",
                            "2023-12-01 00:00: 5.0"};
}

void TestMediaModel::insert()
{
    QFETCH(qint64, time);
    TestedMediaModel model;
    model->append(threeMonths());
    model->insert(rowItem("u1", 5, 0, time));
    QTEST(layout(*model), "expected");
}

void TestMediaModel::insertOpensAMonthBetweenItsNeighbours()
{
    TestedMediaModel model;
    model->append({on(9, kToday), on(1, QDate(2024, 1, 5))});
    QSignalSpy inserted(model.get(), &QAbstractItemModel::rowsInserted);
    model->insert(on(4, QDate(2024, 2, 20)));
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(inserted.first().at(1).toInt(), 1);
    QCOMPARE(layout(*model),
             (QStringList {"2024-03-20 00:00: 9.0", "2024-02-01 00:00: 4.0",
                           "2024-01-01 00:00: 1.0"}));
}

void TestMediaModel::insertingAnEqualItemDestroysTheIncomingOne()
{
    TestedMediaModel model;
    model->append(threeMonths());
    QPointer<ResourceItem> incoming = on(7, QDate(2024, 3, 10));
    model->insert(incoming);
    QVERIFY(!incoming);
    QCOMPARE(layout(*model), kThreeMonths);
}

void TestMediaModel::update_data()
{
    QTest::addColumn<qint64>("id");
    QTest::addColumn<QDate>("date");
    QTest::addColumn<bool>("replaced");
    QTest::addColumn<int>("sections");

    QTest::newRow("a held item is replaced in its section")
            << qint64(3) << QDate(2024, 2, 1) << true << 4;
    QTest::newRow("an item of a new month opens its section")
            << qint64(2) << QDate(2023, 11, 1) << false << 5;
}

void TestMediaModel::update()
{
    QFETCH(qint64, id);
    QFETCH(QDate, date);
    QFETCH(int, sections);
    TestedMediaModel model;
    model->append(threeMonths());
    ResourceItem *incoming = on(id, date);
    QTEST(model->update(incoming), "replaced");
    QCOMPARE(model->count(), sections);
    bool shown = false;
    model->foreachItem(ItemPoint(0, 0), ItemPoint(sections - 1, 10), ItemPoint(-1, -1),
                       [&](ResourceItem *item) { shown = shown || item == incoming; });
    QVERIFY(shown);
}

void TestMediaModel::canInsert_data()
{
    QTest::addColumn<bool>("empty");
    QTest::addColumn<qint64>("time");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("an empty model takes anything") << true << at(QDate(2000, 1, 1)) << true;
    QTest::newRow("newer than the oldest item") << false << at(QDate(2024, 1, 6)) << true;
    QTest::newRow("equal to the oldest item") << false << at(QDate(2024, 1, 5)) << false;
    QTest::newRow("older than the oldest item") << false << at(QDate(2023, 6, 1)) << false;
}

void TestMediaModel::canInsert()
{
    QFETCH(bool, empty);
    QFETCH(qint64, time);
    TestedMediaModel model;
    if (!empty) {
        model->append(threeMonths());
    }
    const std::unique_ptr<ResourceItem> candidate(rowItem("u1", 1, 0, time));
    QTEST(model->canInsert(candidate.get()), "accepted");
}

void TestMediaModel::deleteItem_data()
{
    QTest::addColumn<qint64>("messageId");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("one of several: the section stays")
            << qint64(8)
            << QStringList {"2024-03-20 00:00: 9.0", "2024-03-01 00:00: 7.0 6.0",
                            "2024-02-01 00:00: 4.2 4.1 3.0", "2024-01-01 00:00: 1.0"};
    QTest::newRow("the only item: the section goes too")
            << qint64(1)
            << QStringList {"2024-03-20 00:00: 9.0 8.0", "2024-03-01 00:00: 7.0 6.0",
                            "2024-02-01 00:00: 4.2 4.1 3.0"};
    QTest::newRow("held only as sub-items: all of them")
            << qint64(4)
            << QStringList {"2024-03-20 00:00: 9.0 8.0", "2024-03-01 00:00: 7.0 6.0",
                            "2024-02-01 00:00: 3.0", "2024-01-01 00:00: 1.0"};
    QTest::newRow("not held: nothing") << qint64(5) << kThreeMonths;
}

void TestMediaModel::deleteItem()
{
    QFETCH(qint64, messageId);
    Watch watch;
    TestedMediaModel model;
    model->append(watch(threeMonths()));
    model->deleteItem(messageId);
    QTEST(layout(*model), "expected");
    QCOMPARE(watch.alive(), model->resourceCount());
}

void TestMediaModel::deletionForms_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("deleteItem stops at the first section holding the id")
            << Operation([](MediaModel &model) {
                   model.insert(on(7, QDate(2024, 1, 2), 12, 0, "g1"));
                   model.deleteItem(7);
               })
            << QStringList {"2024-03-20 00:00: 9.0 8.0", "2024-03-01 00:00: 6.0",
                            "2024-02-01 00:00: 4.2 4.1 3.0", "2024-01-01 00:00: 1.0 g1/7.0"};
    QTest::newRow("an id range across sections; emptied sections go")
            << Operation([](MediaModel &model) { model.batchDelete(MessageIdRange(3, 8)); })
            << QStringList {"2024-03-20 00:00: 9.0", "2024-02-01 00:00: 3.0",
                            "2024-01-01 00:00: 1.0"};
    QTest::newRow("an id range reaching past the oldest item: nothing")
            << Operation([](MediaModel &model) { model.batchDelete(MessageIdRange(0, 8)); })
            << kThreeMonths;
    QTest::newRow("a dialog's range across sections")
            << Operation([](MediaModel &model) { model.batchDelete("u1", MessageIdRange(1, 7)); })
            << QStringList {"2024-03-20 00:00: 9.0 8.0"};
    QTest::newRow("a list of ids")
            << Operation([](MediaModel &model) {
                   model.batchDelete(QList<qint64> {9, 8, 4});
               })
            << QStringList {"2024-03-01 00:00: 7.0 6.0", "2024-02-01 00:00: 3.0",
                            "2024-01-01 00:00: 1.0"};
    QTest::newRow("a dialog's message")
            << Operation([](MediaModel &model) { model.deleteItem("u1", 4); })
            << QStringList {"2024-03-20 00:00: 9.0 8.0", "2024-03-01 00:00: 7.0 6.0",
                            "2024-02-01 00:00: 3.0", "2024-01-01 00:00: 1.0"};
    QTest::newRow("history before a message, across sections")
            << Operation([](MediaModel &model) { model.clearResource(7); })
            << QStringList {"2024-03-20 00:00: 9.0 8.0", "2024-03-01 00:00: 7.0"};
    QTest::newRow("history up to 0: everything")
            << Operation([](MediaModel &model) { model.clearResource(0); }) << QStringList();
    QTest::newRow("a dialog's history up to a message")
            << Operation([](MediaModel &model) { model.clearResource("u1", 6); })
            << QStringList {"2024-03-20 00:00: 9.0 8.0", "2024-03-01 00:00: 7.0"};
}

void TestMediaModel::deletionForms()
{
    QFETCH(Operation, operation);
    TestedMediaModel model;
    model->append(threeMonths());
    operation(*model);
    QTEST(layout(*model), "expected");
}

void TestMediaModel::foreachItem_data()
{
    QTest::addColumn<QPoint>("start");
    QTest::addColumn<QPoint>("end");
    QTest::addColumn<QPoint>("skip");
    QTest::addColumn<QStringList>("visited");

    QTest::newRow("from (2, 1) to (3, 0): the rest of one section, the start of the next")
            << QPoint(2, 1) << QPoint(3, 0) << QPoint(-1, -1)
            << QStringList {"u1/4.1", "u1/3.0", "u1/1.0"};
    QTest::newRow("whole sections between the ends")
            << QPoint(0, 1) << QPoint(2, 0) << QPoint(-1, -1)
            << QStringList {"u1/8.0", "u1/7.0", "u1/6.0", "u1/4.2"};
    QTest::newRow("except the skipped point") << QPoint(0, 1) << QPoint(2, 0) << QPoint(1, 0)
                                              << QStringList {"u1/8.0", "u1/6.0", "u1/4.2"};
    QTest::newRow("rows outside a section give null")
            << QPoint(0, 1) << QPoint(0, 3) << QPoint(-1, -1)
            << QStringList {"u1/8.0", "null", "null"};
    QTest::newRow("an end past the last section gives null for its rows")
            << QPoint(3, 0) << QPoint(4, 1) << QPoint(-1, -1)
            << QStringList {"u1/1.0", "null", "null"};
}

void TestMediaModel::foreachItem()
{
    QFETCH(QPoint, start);
    QFETCH(QPoint, end);
    QFETCH(QPoint, skip);
    TestedMediaModel model;
    model->append(threeMonths());
    QStringList visited;
    model->foreachItem(start, end, skip,
                       [&visited](ResourceItem *item) { visited.append(labelOf(item)); });
    QTEST(visited, "visited");
}

void TestMediaModel::resetItemsRebuildsTheSections()
{
    Watch watch;
    TestedMediaModel model;
    model->append(watch(threeMonths()));
    QPointer<MediaItemModel> oldSection = sectionAt(*model, 0);
    ResourceItem *kept = sectionAt(*model, 1)->getResourceItem(0);
    QSignalSpy reset(model.get(), &QAbstractItemModel::modelReset);

    model->resetItems({on(10, kToday), kept, on(2, QDate(2023, 5, 5))});
    QCOMPARE(reset.count(), 1);
    QVERIFY(!oldSection);
    QCOMPARE(watch.alive(), 1);
    QCOMPARE(layout(*model),
             (QStringList {"2024-03-20 00:00: 10.0", "2024-03-01 00:00: 7.0",
                           "2023-05-01 00:00: 2.0"}));
}

void TestMediaModel::resetModelHidesSectionsUntilReleased()
{
    Watch watch;
    TestedMediaModel model;
    model->append(watch(threeMonths()));
    QPointer<MediaItemModel> section = sectionAt(*model, 1);
    QSignalSpy sectionCounted(section.data(), &MediaItemModel::countChanged);
    QSignalSpy counted(model.get(), &MediaModel::countChanged);

    model->resetModel();
    QCOMPARE(counted.count(), 1);
    QCOMPARE(sectionCounted.count(), 1);
    QCOMPARE(model->count(), 0);
    QCOMPARE(model->resourceCount(), 0);
    QVERIFY(section);
    QCOMPARE(section->count(), 0);
    QCOMPARE(watch.alive(), 8);

    model->append(watch(QList<ResourceItem *> {on(5, kToday)}));
    model->insert(watch(on(6, kToday)));
    QVERIFY(!model->update(watch(on(7, kToday))));
    model->deleteItem(9);
    QCOMPARE(model->count(), 0);
    QCOMPARE(watch.alive(), 8);

    model->releaseData();
    QVERIFY(!section);
    QCOMPARE(watch.alive(), 0);
    model->append({on(5, kToday)});
    QCOMPARE(layout(*model), QStringList {"2024-03-20 00:00: 5.0"});
}

void TestMediaModel::clearAllDeletesSectionsAndItems()
{
    Watch watch;
    TestedMediaModel model;
    model->append(watch(threeMonths()));
    QPointer<MediaItemModel> section = sectionAt(*model, 0);
    QSignalSpy reset(model.get(), &QAbstractItemModel::modelReset);

    QVERIFY(QMetaObject::invokeMethod(model.get(), "clearAll"));
    QCOMPARE(reset.count(), 1);
    QVERIFY(!section);
    QCOMPARE(watch.alive(), 0);
    model->append({on(5, kToday)});
    QCOMPARE(model->count(), 1);
}

void TestMediaModel::destructionDeletesSectionsAndItems()
{
    Watch watch;
    TestedMediaModel model;
    model->append(watch(threeMonths()));
    model->resetModel();
    model.reset();
    QCOMPARE(watch.alive(), 0);
}

void TestMediaModel::updateModel_data()
{
    QTest::addColumn<QDate>("today");
    QTest::addColumn<QList<qint64>>("times");
    QTest::addColumn<QDateTime>("later");
    QTest::addColumn<Operation>("meanwhile");
    QTest::addColumn<QStringList>("before");
    QTest::addColumn<QStringList>("after");

    const Operation nothing = [](MediaModel &) {
    };
    const QDateTime nextMorning(kToday.addDays(1), QTime(0, 0, 5));

    QTest::newRow("the ended day joins its month below it")
            << kToday << QList<qint64> {at(kToday, 9), at(kToday, 8), at(QDate(2024, 3, 10))}
            << nextMorning << nothing
            << QStringList {"2024-03-20 00:00: 1.0 2.0", "2024-03-01 00:00: 3.0"}
            << QStringList {"2024-03-01 00:00: 1.0 2.0 3.0"};
    QTest::newRow("never into another month: the day becomes its month's section")
            << kToday << QList<qint64> {at(kToday, 9), at(QDate(2024, 2, 10))} << nextMorning
            << nothing << QStringList {"2024-03-20 00:00: 1.0", "2024-02-01 00:00: 2.0"}
            << QStringList {"2024-03-01 00:00: 1.0", "2024-02-01 00:00: 2.0"};
    QTest::newRow("the last day of a month joins that month, not the new one")
            << QDate(2024, 3, 31)
            << QList<qint64> {at(QDate(2024, 3, 31), 9), at(QDate(2024, 3, 30))}
            << QDateTime(QDate(2024, 4, 1), QTime(0, 0, 5)) << nothing
            << QStringList {"2024-03-31 00:00: 1.0", "2024-03-01 00:00: 2.0"}
            << QStringList {"2024-03-01 00:00: 1.0 2.0"};
    QTest::newRow("a single section stays as it is")
            << kToday << QList<qint64> {at(kToday, 9)} << nextMorning << nothing
            << QStringList {"2024-03-20 00:00: 1.0"} << QStringList {"2024-03-20 00:00: 1.0"};
    QTest::newRow("the 1st of a month is already its month's section")
            << QDate(2024, 3, 1) << QList<qint64> {at(QDate(2024, 3, 1), 9), at(QDate(2024, 2, 9))}
            << QDateTime(QDate(2024, 3, 2), QTime(0, 0, 5)) << nothing
            << QStringList {"2024-03-01 00:00: 1.0", "2024-02-01 00:00: 2.0"}
            << QStringList {"2024-03-01 00:00: 1.0", "2024-02-01 00:00: 2.0"};
    QTest::newRow("a late item of the ended day, already in its month, keeps the order")
            << kToday << QList<qint64> {at(kToday, 9), at(kToday, 7), at(QDate(2024, 3, 10))}
            << nextMorning << Operation([](MediaModel &model) {
                   model.insert(rowItem("u1", 4, 0, at(kToday, 8)));
               })
            << QStringList {"2024-03-20 00:00: 1.0 2.0", "2024-03-01 00:00: 4.0 3.0"}
            << QStringList {"2024-03-01 00:00: 1.0 4.0 2.0 3.0"};
    QTest::newRow("a new day's section above the ended one")
            << kToday << QList<qint64> {at(kToday, 9), at(QDate(2024, 3, 10))} << nextMorning
            << Operation([](MediaModel &model) {
                   model.insert(rowItem("u1", 5, 0, at(kToday.addDays(1), 0, 1)));
               })
            << QStringList {"2024-03-21 00:00: 5.0", "2024-03-20 00:00: 1.0",
                            "2024-03-01 00:00: 2.0"}
            << QStringList {"2024-03-21 00:00: 5.0", "2024-03-01 00:00: 1.0 2.0"};
}

// Items are numbered 1, 2, ... newest first, at the given times.
void TestMediaModel::updateModel()
{
    QFETCH(QDate, today);
    QFETCH(QList<qint64>, times);
    QFETCH(QDateTime, later);
    QFETCH(Operation, meanwhile);
    setNow(at(today, 10));
    TestedMediaModel model;
    QList<ResourceItem *> page;
    for (int index = 0; index < times.size(); ++index) {
        page.append(rowItem("u1", index + 1, 0, times.at(index)));
    }
    model->append(page);

    setNow(later.toMSecsSinceEpoch());
    meanwhile(*model);
    QTEST(layout(*model), "before");
    model->updateModel();
    QTEST(layout(*model), "after");
}

void TestMediaModel::aDayChangeFoldsTodayAtLocalMidnight_data()
{
    QTest::addColumn<QDate>("today");
    QTest::addColumn<QStringList>("after");

    QTest::newRow("within a month") << kToday << QStringList {"2024-03-01 00:00: 1.0 2.0"};
    QTest::newRow("into a new month")
            << QDate(2024, 3, 31) << QStringList {"2024-03-01 00:00: 1.0 2.0"};
}

// The model notices the new day by itself: no caller has to ask for updateModel().
void TestMediaModel::aDayChangeFoldsTodayAtLocalMidnight()
{
    QFETCH(QDate, today);
    QFETCH(QStringList, after);
    setNow(at(today, 23, 59, 59, 900));
    TestedMediaModel model;
    model->append({rowItem("u1", 1, 0, at(today, 9)), rowItem("u1", 2, 0, at(today.addDays(-1)))});
    QCOMPARE(model->count(), 2);

    setNow(at(today.addDays(1), 0, 0, 0, 100));
    QTRY_COMPARE(layout(*model), after);
    model->insert(rowItem("u1", 3, 0, at(today.addDays(1), 0, 0, 0, 50)));
    QCOMPARE(sectionAt(*model, 0)->date(), at(today.addDays(1), 0));
}

QTEST_GUILESS_MAIN(TestMediaModel)
#include "tst_mediamodel.moc"
