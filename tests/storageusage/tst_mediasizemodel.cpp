#include "mediacontentitem.h"
#include "mediasizebasemodel.h"
#include "mediasizeitem.h"
#include "mediasizemodel.h"
#include "mediastorageviewmodel.h"
#include "resourceitem.h"
#include "storage/storagerecords_p.h"

#include <QAbstractItemModelTester>
#include <QtTest>

namespace {

QList<int> shownTypes(const MediaSizeBaseModel &model)
{
    QList<int> types;
    for (int row = 0; row < model.rowCount(); ++row) {
        types.append(model.index(row).data(MediaSizeBaseModel::TypeRole).toInt());
    }
    return types;
}

MediaContentRecord content(qint64 messageId, qint64 dateTime)
{
    MediaContentRecord record;
    record.dialogId = QStringLiteral("a");
    record.key = MessageKey(messageId, 0);
    record.type = 2;
    record.dateTime = dateTime;
    record.fileId = QStringLiteral("f%1").arg(messageId);
    record.size = messageId * 10;
    return record;
}

} // namespace

// The size lists of the storage screen: bytes by kind, shares in hundredths, the checked subset.
class TestMediaSizeModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void selectShares_data();
    void selectShares();
    void sharesOfTotal();
    void negativeDeltaBeyondTotal();
    void rowsStayLargestFirst();
    void emptiedKindLeavesList();
    void checkedItemTogglesSubset();
    void resetCheckedChecksAll();
    void signalsOnlyOnChange();
    void queryStateReachesItems();
    void resetKeepsItems();
    void dialogModelKeepsId();
    void viewListNewestFirst();
};

void TestMediaSizeModel::selectShares_data()
{
    QTest::addColumn<QList<qint64>>("sizes");
    QTest::addColumn<QList<int>>("hundredths");
    QTest::newRow("three to one") << QList<qint64> {3, 1} << QList<int> {7500, 2500};
    QTest::newRow("tiny slice never shows zero")
            << QList<qint64> {1000000, 1} << QList<int> {9999, 1};
    QTest::newRow("single kind") << QList<qint64> {42} << QList<int> {10000};
}

void TestMediaSizeModel::selectShares()
{
    QFETCH(QList<qint64>, sizes);
    QFETCH(QList<int>, hundredths);
    MediaSizeBaseModel model;
    QAbstractItemModelTester tester(&model);
    for (int type = 0; type < sizes.size(); ++type) {
        model.addSize(type, sizes.at(type));
    }
    for (int type = 0; type < sizes.size(); ++type) {
        QCOMPARE(model.item(type)->selectPercentHundredths(), hundredths.at(type));
        QCOMPARE(model.item(type)->selectPercent(), hundredths.at(type) / 100.0f);
    }
}

void TestMediaSizeModel::sharesOfTotal()
{
    MediaSizeBaseModel model;
    QAbstractItemModelTester tester(&model);
    model.addSize(0, 1000000);
    model.addSize(1, 1);
    QCOMPARE(model.item(1)->percent(), 0.01f);
    // Unchecking changes the subset's shares only.
    model.checkedItem(model.item(0));
    QCOMPARE(model.item(1)->percent(), 0.01f);
    QCOMPARE(model.item(1)->selectPercent(), 100.0f);
    model.addSize(1, 999999);
    QCOMPARE(model.item(0)->percent(), 50.0f);
    QCOMPARE(model.index(0).data(MediaSizeBaseModel::PercentRole).toFloat(), 50.0f);
}

void TestMediaSizeModel::negativeDeltaBeyondTotal()
{
    MediaSizeBaseModel model;
    QAbstractItemModelTester tester(&model);
    model.addSize(2, 10);
    model.addSize(3, 5);
    model.addSize(2, -100);
    QCOMPARE(model.totalSize(), 5);
    QCOMPARE(model.sizeOf(2), 0);
    QCOMPARE(model.selectTotalSize(), 5);
    model.addSize(3, -6);
    QCOMPARE(model.totalSize(), 0);
    QCOMPARE(model.selectTotalSize(), 0);
    QCOMPARE(model.count(), 0);
}

void TestMediaSizeModel::rowsStayLargestFirst()
{
    MediaSizeBaseModel model;
    QAbstractItemModelTester tester(&model);
    model.addSize(0, 5);
    model.addSize(1, 9);
    model.addSize(2, 1);
    model.addSize(3, 5);
    QCOMPARE(shownTypes(model).mid(0, 1), QList<int> {1});
    QCOMPARE(shownTypes(model).last(), 2);
    model.addSize(2, 19);
    QCOMPARE(shownTypes(model).first(), 2);
    model.addSize(2, -19);
    QCOMPARE(shownTypes(model).last(), 2);
    QList<qint64> sizes;
    for (MediaSizeItem *item : model.shownItems()) {
        sizes.append(item->size());
    }
    QVERIFY(std::is_sorted(sizes.rbegin(), sizes.rend()));
}

void TestMediaSizeModel::emptiedKindLeavesList()
{
    MediaSizeBaseModel model;
    QAbstractItemModelTester tester(&model);
    model.addSize(4, 7);
    model.addSize(5, 3);
    QPointer<MediaSizeItem> item = model.item(4);
    model.setSize(4, 0);
    QCOMPARE(shownTypes(model), QList<int> {5});
    QVERIFY(item);
    model.addSize(4, 1);
    QCOMPARE(shownTypes(model), (QList<int> {5, 4}));
    QCOMPARE(model.item(4), item.data());
}

void TestMediaSizeModel::checkedItemTogglesSubset()
{
    MediaSizeBaseModel model;
    QAbstractItemModelTester tester(&model);
    model.addSize(0, 3);
    model.addSize(1, 1);
    MediaSizeItem *small = model.item(1);
    QSignalSpy checkedSpy(small, &MediaSizeItem::checkedChanged);
    QSignalSpy subsetSpy(&model, &MediaSizeBaseModel::selectTotalSizeChanged);
    model.checkedItem(small);
    QVERIFY(!small->checked());
    QCOMPARE(checkedSpy.count(), 1);
    QCOMPARE(subsetSpy.count(), 1);
    QCOMPARE(model.selectTotalSize(), 3);
    QCOMPARE(model.item(0)->selectPercent(), 100.0f);
    // An unchecked item keeps the share it had.
    QCOMPARE(small->selectPercent(), 25.0f);
    // Bytes of an unchecked kind stay out of the subset.
    model.addSize(1, 4);
    QCOMPARE(model.selectTotalSize(), 3);
    model.checkedItem(small);
    QCOMPARE(model.selectTotalSize(), 8);
    QCOMPARE(small->selectPercent(), 62.5f);
    model.checkedItem(nullptr);
    QCOMPARE(checkedSpy.count(), 2);
}

void TestMediaSizeModel::resetCheckedChecksAll()
{
    MediaSizeBaseModel model;
    model.addSize(0, 3);
    model.addSize(1, 1);
    model.checkedItem(model.item(0));
    model.checkedItem(model.item(1));
    QCOMPARE(model.selectTotalSize(), 0);
    QSignalSpy subsetSpy(&model, &MediaSizeBaseModel::selectTotalSizeChanged);
    model.resetChecked();
    QCOMPARE(model.selectTotalSize(), 4);
    QVERIFY(model.item(0)->checked() && model.item(1)->checked());
    QCOMPARE(model.item(0)->selectPercent(), 75.0f);
    const int emitted = subsetSpy.count();
    model.resetChecked();
    QCOMPARE(subsetSpy.count(), emitted);
}

void TestMediaSizeModel::signalsOnlyOnChange()
{
    MediaSizeBaseModel model;
    QSignalSpy totalSpy(&model, &MediaSizeBaseModel::totalSizeChanged);
    QSignalSpy countSpy(&model, &MediaSizeBaseModel::countChanged);
    QSignalSpy subsetSpy(&model, &MediaSizeBaseModel::selectTotalSizeChanged);
    model.addSize(0, 0);
    QCOMPARE(totalSpy.count(), 0);
    QCOMPARE(countSpy.count(), 0);
    model.addSize(0, 10);
    QCOMPARE(totalSpy.count(), 1);
    QCOMPARE(totalSpy.takeFirst(), (QVariantList {qlonglong(10), qlonglong(0)}));
    QCOMPARE(countSpy.count(), 1);
    QCOMPARE(subsetSpy.count(), 1);
    QSignalSpy sizeSpy(model.item(0), &MediaSizeItem::sizeChanged);
    QSignalSpy percentSpy(model.item(0), &MediaSizeItem::percentChanged);
    model.addSize(0, 5);
    QCOMPARE(sizeSpy.count(), 1);
    QCOMPARE(sizeSpy.constFirst().constFirst().toLongLong(), 15);
    QCOMPARE(percentSpy.count(), 0); // still the whole total
    QCOMPARE(countSpy.count(), 1);
    model.setSize(0, 15);
    QCOMPARE(sizeSpy.count(), 1);
    QCOMPARE(totalSpy.count(), 1);
}

void TestMediaSizeModel::queryStateReachesItems()
{
    MediaSizeBaseModel model;
    QSignalSpy spy(&model, &MediaSizeBaseModel::atQueryChanged);
    model.addSize(1, 5);
    QVERIFY(model.item(1)->atQuery());
    model.setAtQuery(true);
    model.setAtQuery(true);
    QCOMPARE(spy.count(), 1);
    model.setAtQuery(false);
    QCOMPARE(spy.count(), 2);
    QVERIFY(!model.item(1)->atQuery());
}

void TestMediaSizeModel::resetKeepsItems()
{
    MediaSizeBaseModel model;
    QAbstractItemModelTester tester(&model);
    model.addSize(1, 5);
    model.checkedItem(model.item(1));
    QPointer<MediaSizeItem> item = model.item(1);
    model.reset();
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(model.totalSize(), 0);
    QVERIFY(item);
    QCOMPARE(item->size(), 0);
    QVERIFY(!item->checked());
}

void TestMediaSizeModel::dialogModelKeepsId()
{
    MediaSizeModel model(QStringLiteral("chat-7"));
    QAbstractItemModelTester tester(&model);
    QCOMPARE(model.dialogId(), QStringLiteral("chat-7"));
    model.addSize(2, 9);
    QCOMPARE(model.roleNames().value(MediaSizeBaseModel::SizeRole), QByteArray("size"));
    QCOMPARE(model.index(0).data(MediaSizeBaseModel::SizeRole).toLongLong(), 9);
}

void TestMediaSizeModel::viewListNewestFirst()
{
    MediaStorageViewModel model;
    QAbstractItemModelTester tester(&model);
    model.setRecords(QStringLiteral("a"), {content(1, 100), content(3, 300), content(2, 200)});
    QCOMPARE(model.rowCount(), 3);
    QCOMPARE(model.index(0).data(MediaStorageViewModel::MessageIdRole).toLongLong(), 3);
    QCOMPARE(model.index(2).data(MediaStorageViewModel::MessageIdRole).toLongLong(), 1);
    auto *item = model.index(1).data(MediaStorageViewModel::ItemRole).value<MediaContentItem *>();
    QVERIFY(item);
    QCOMPARE(item->size(), 20);
    QVERIFY(item->mediaItem());
    QCOMPARE(item->mediaItem()->messageId(), 2);
    model.removeRecord(content(2, 200));
    QCOMPARE(model.rowCount(), 2);
    model.removeRecord(content(9, 900));
    QCOMPARE(model.rowCount(), 2);
    model.clear();
    QCOMPARE(model.rowCount(), 0);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QTEST_GUILESS_MAIN(TestMediaSizeModel)
#include "tst_mediasizemodel.moc"
