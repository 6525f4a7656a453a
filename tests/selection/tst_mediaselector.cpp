#include "contenttype.h"
#include "mediamodel.h"
#include "mediaselector.h"
#include "mediatestsupport.h"
#include "messagebase.h"
#include "resourceitem.h"
#include "resourcemodel.h"
#include "selectiontestsupport.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

using namespace SelectionTest;

namespace {

constexpr int DragRows = 13;

// How a drag ticks: by toggling, or by setting a value.
enum DragMode { Toggle = -1, Untick = 0, Tick = 1 };

// The three counters, as the view sees them.
struct Counts
{
    int select = 0;
    int children = 0;
    int forwardable = 0;
    bool operator==(const Counts &other) const
    {
        return select == other.select && children == other.children
                && forwardable == other.forwardable;
    }
};

Counts countsOf(const MediaSelector &selector)
{
    return {selector.selectCount(), selector.selectChildCount(), selector.forwardableCount()};
}

char *toString(const Counts &counts)
{
    return QTest::toString(QStringLiteral("select %1, children %2, forwardable %3")
                                   .arg(counts.select)
                                   .arg(counts.children)
                                   .arg(counts.forwardable));
}

} // namespace

Q_DECLARE_METATYPE(Counts)

// The multi-selection of a gallery: ticking single items and ranges, the counters, pruning after
// deletions elsewhere, and what the selection reports.
class TestMediaSelector : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void toggleTicksAndUnticks();
    void settingEmitsOnChangeOnly();
    void childItemsCountTwice();
    void forwardableCountFollowsTheMessage();
    void itemsWithoutMessageAreIgnored();

    void drag_data();
    void drag();
    void dragReturningToThePreviousEndChangesNothing();
    void dragIgnoresBadPoints();
    void newGestureStartsAtItsOwnAnchor();
    void dragOverSectionsOrdersBySectionThenRow();

    void clearSelectedEmitsInOrder();
    void clearSelectedOnEmptySelectionIsSilent();
    void untickOfAbsentItemKeepsTheDialog();

    void pruning_data();
    void pruning();
    void prunedDialogLeavesNoTrace();

    void selectedSenderIdsInFirstSeenOrder();
    void selectMediasNewestFirst();
    void selectFileCountSkipsExcludedAndTextMessages();

private:
    // A flat list of DragRows items, row r holding message 200 - r of dialog a.
    void makeDragModel();
    QList<int> tickedRows() const;
    void tickRows(const QList<int> &rows);

    std::unique_ptr<Items> m_items;
    std::unique_ptr<MediaSelector> m_selector;
    std::unique_ptr<ResourceModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
};

void TestMediaSelector::init()
{
    m_items = std::make_unique<Items>();
    m_selector = std::make_unique<MediaSelector>(nullptr, QStringLiteral("a"));
}

void TestMediaSelector::cleanup()
{
    m_tester.reset();
    m_model.reset();
    m_selector.reset();
    m_items.reset();
    drainEvents();
}

void TestMediaSelector::makeDragModel()
{
    m_model = std::make_unique<ResourceModel>(CONTENT_PHOTO);
    m_tester = std::make_unique<QAbstractItemModelTester>(
            m_model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    QList<ResourceItem *> items;
    for (int row = 0; row < DragRows; ++row) {
        items.append(new ResourceItem(messageOf(QString::number(200 - row))));
    }
    m_model->append(items);
    QCOMPARE(m_model->count(), DragRows);
}

QList<int> TestMediaSelector::tickedRows() const
{
    QList<int> rows;
    for (int row = 0; row < m_model->count(); ++row) {
        const ResourceItem *item = m_model->getResourceItem(row);
        if (m_selector->isSelected(item->dialogId(), item->mediaKey())) {
            rows.append(row);
        }
    }
    return rows;
}

void TestMediaSelector::tickRows(const QList<int> &rows)
{
    for (int row : rows) {
        m_selector->changeSelected(m_model->getResourceItem(row), true);
    }
}

void TestMediaSelector::toggleTicksAndUnticks()
{
    ResourceItem *item = (*m_items)("10");
    QSignalSpy counted(m_selector.get(), &MediaSelector::selectCountChanged);

    m_selector->changeSelected(item);
    QCOMPARE(m_selector->selectCount(), 1);
    QVERIFY(m_selector->isSelected("a", keyOf("10")));
    QVERIFY(!m_selector->isSelected("b", keyOf("10")));

    m_selector->changeSelected(item);
    QCOMPARE(m_selector->selectCount(), 0);
    QVERIFY(!m_selector->isSelected("a", keyOf("10")));
    QCOMPARE(counted.size(), 2);
}

void TestMediaSelector::settingEmitsOnChangeOnly()
{
    ResourceItem *item = (*m_items)("10");
    QSignalSpy counted(m_selector.get(), &MediaSelector::selectCountChanged);
    QSignalSpy forwardable(m_selector.get(), &MediaSelector::forwardableCountChanged);

    m_selector->changeSelected(item, false);
    QCOMPARE(counted.size(), 0);
    m_selector->changeSelected(item, true);
    m_selector->changeSelected(item, true);
    QCOMPARE(counted.size(), 1);
    QCOMPARE(forwardable.size(), 1);
    QCOMPARE(m_selector->selectCount(), 1);
    m_selector->changeSelected(item, false);
    m_selector->changeSelected(item, false);
    QCOMPARE(counted.size(), 2);
    QCOMPARE(m_selector->selectCount(), 0);
}

void TestMediaSelector::childItemsCountTwice()
{
    ResourceItem *child = (*m_items)("50.2");
    ResourceItem *plain = (*m_items)("40");
    QSignalSpy children(m_selector.get(), &MediaSelector::selectChildCountChanged);

    m_selector->changeSelected(child);
    m_selector->changeSelected(plain);
    QCOMPARE(countsOf(*m_selector), (Counts {2, 1, 2}));
    QCOMPARE(children.size(), 1);
    QVERIFY(m_selector->isSelected("a", MessageKey(50, 2)));
    QVERIFY(!m_selector->isSelected("a", MessageKey(50, 0)));

    m_selector->changeSelected(child);
    QCOMPARE(countsOf(*m_selector), (Counts {1, 0, 1}));
    QCOMPARE(children.size(), 2);
}

void TestMediaSelector::forwardableCountFollowsTheMessage()
{
    ResourceItem *locked = (*m_items)("10", {CONTENT_PHOTO, 7, false});
    ResourceItem *open = (*m_items)("20");
    QSignalSpy forwardable(m_selector.get(), &MediaSelector::forwardableCountChanged);

    m_selector->changeSelected(locked);
    QCOMPARE(forwardable.size(), 0);
    m_selector->changeSelected(open);
    QCOMPARE(countsOf(*m_selector), (Counts {2, 0, 1}));
    QCOMPARE(forwardable.size(), 1);
}

void TestMediaSelector::itemsWithoutMessageAreIgnored()
{
    ResourceItem bare(QStringLiteral("a"), MessageKey(10, 0), 1000);
    QSignalSpy counted(m_selector.get(), &MediaSelector::selectCountChanged);
    m_selector->changeSelected(nullptr);
    m_selector->changeSelected(nullptr, true);
    m_selector->changeSelected(&bare);
    m_selector->changeSelected(&bare, true);
    QCOMPARE(counted.size(), 0);
    QVERIFY(!m_selector->isSelected("a", MessageKey(10, 0)));
}

void TestMediaSelector::drag_data()
{
    QTest::addColumn<QList<int>>("before");
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("anchor");
    QTest::addColumn<QList<int>>("ends");
    QTest::addColumn<QList<int>>("after");

    using L = QList<int>;
    QTest::newRow("tick: one step") << L {} << int(Tick) << 3 << L {6} << L {3, 4, 5, 6};
    QTest::newRow("tick: one step upwards") << L {} << int(Tick) << 6 << L {3} << L {3, 4, 5, 6};
    QTest::newRow("tick: grows away from the anchor")
            << L {} << int(Tick) << 2 << L {4, 6} << L {2, 3, 4, 5, 6};
    QTest::newRow("tick: shrinks toward the anchor")
            << L {} << int(Tick) << 2 << L {8, 5} << L {2, 3, 4, 5};
    QTest::newRow("tick: crosses back over the anchor")
            << L {} << int(Tick) << 5 << L {8, 2} << L {2, 3, 4, 5};
    QTest::newRow("tick: grows above the anchor")
            << L {} << int(Tick) << 7 << L {5, 2} << L {2, 3, 4, 5, 6, 7};
    QTest::newRow("tick: shrinks above the anchor")
            << L {} << int(Tick) << 7 << L {2, 5} << L {5, 6, 7};
    QTest::newRow("tick: crosses down over the anchor")
            << L {} << int(Tick) << 7 << L {2, 9} << L {7, 8, 9};
    QTest::newRow("tick: back onto the anchor") << L {} << int(Tick) << 4 << L {8, 4} << L {4};
    QTest::newRow("tick: from the anchor after returning to it")
            << L {} << int(Tick) << 4 << L {8, 4, 6} << L {4, 5, 6};
    QTest::newRow("tick: five down, then two above the anchor")
            << L {} << int(Tick) << 4 << L {9, 2} << L {2, 3, 4};
    QTest::newRow("tick: leaves items ticked before the gesture unticked")
            << L {6, 7, 11} << int(Tick) << 4 << L {9, 4} << L {4, 11};
    QTest::newRow("untick: one step")
            << L {2, 3, 4, 5, 6, 7, 8} << int(Untick) << 3 << L {7} << L {2, 8};
    QTest::newRow("untick: retreating ticks what it leaves")
            << L {} << int(Untick) << 3 << L {7, 5} << L {6, 7};

    QTest::newRow("toggle: one step") << L {4} << int(Toggle) << 3 << L {6} << L {3, 5, 6};
    QTest::newRow("toggle: grows away from the anchor")
            << L {} << int(Toggle) << 2 << L {4, 6} << L {2, 3, 4, 5, 6};
    QTest::newRow("toggle: shrinks toward the anchor")
            << L {} << int(Toggle) << 2 << L {8, 5} << L {2, 3, 4, 5};
    QTest::newRow("toggle: crosses back over the anchor")
            << L {} << int(Toggle) << 5 << L {8, 2} << L {2, 3, 4, 5};
    QTest::newRow("toggle: grows above the anchor")
            << L {} << int(Toggle) << 7 << L {5, 2} << L {2, 3, 4, 5, 6, 7};
    QTest::newRow("toggle: shrinks above the anchor")
            << L {} << int(Toggle) << 7 << L {2, 5} << L {5, 6, 7};
    QTest::newRow("toggle: crosses down over the anchor")
            << L {} << int(Toggle) << 7 << L {2, 9} << L {7, 8, 9};
    QTest::newRow("toggle: restores items ticked before the gesture")
            << L {6, 7, 11} << int(Toggle) << 4 << L {9, 4} << L {4, 6, 7, 11};
    QTest::newRow("toggle: restores items after crossing the anchor")
            << L {1} << int(Toggle) << 4 << L {0, 6} << L {1, 4, 5, 6};
}

void TestMediaSelector::drag()
{
    QFETCH(QList<int>, before);
    QFETCH(int, mode);
    QFETCH(int, anchor);
    QFETCH(QList<int>, ends);
    QFETCH(QList<int>, after);
    makeDragModel();
    tickRows(before);

    m_selector->beginSelect();
    for (int end : ends) {
        if (mode == Toggle) {
            m_selector->changeSelects(m_model.get(), QPoint(0, anchor), QPoint(0, end));
        } else {
            m_selector->changeSelects(m_model.get(), QPoint(0, anchor), QPoint(0, end),
                                      mode == Tick);
        }
    }
    m_selector->endSelect();

    QCOMPARE(tickedRows(), after);
    QCOMPARE(m_selector->selectCount(), after.size());
    QCOMPARE(m_selector->forwardableCount(), after.size());
}

void TestMediaSelector::dragReturningToThePreviousEndChangesNothing()
{
    makeDragModel();
    m_selector->beginSelect();
    m_selector->changeSelects(m_model.get(), QPoint(0, 2), QPoint(0, 5), true);
    QSignalSpy counted(m_selector.get(), &MediaSelector::selectCountChanged);
    m_selector->changeSelects(m_model.get(), QPoint(0, 2), QPoint(0, 5), true);
    m_selector->changeSelects(m_model.get(), QPoint(0, 2), QPoint(0, 5));
    QCOMPARE(counted.size(), 0);
    QCOMPARE(tickedRows(), (QList<int> {2, 3, 4, 5}));
}

void TestMediaSelector::dragIgnoresBadPoints()
{
    makeDragModel();
    QSignalSpy counted(m_selector.get(), &MediaSelector::selectCountChanged);
    m_selector->beginSelect();
    m_selector->changeSelects(nullptr, QPoint(0, 1), QPoint(0, 3), true);
    m_selector->changeSelects(m_model.get(), QPoint(0, -1), QPoint(0, 3), true);
    m_selector->changeSelects(m_model.get(), QPoint(0, 1), QPoint(-1, 3));
    QCOMPARE(counted.size(), 0);
    // Rows past the end name no item: the drag ticks what exists.
    m_selector->changeSelects(m_model.get(), QPoint(0, DragRows - 2), QPoint(0, DragRows + 3),
                              true);
    QCOMPARE(tickedRows(), (QList<int> {DragRows - 2, DragRows - 1}));
}

void TestMediaSelector::newGestureStartsAtItsOwnAnchor()
{
    makeDragModel();
    m_selector->beginSelect();
    m_selector->changeSelects(m_model.get(), QPoint(0, 1), QPoint(0, 2), true);
    m_selector->endSelect();
    m_selector->beginSelect();
    m_selector->changeSelects(m_model.get(), QPoint(0, 8), QPoint(0, 9), true);
    m_selector->changeSelects(m_model.get(), QPoint(0, 8), QPoint(0, 10), true);
    m_selector->endSelect();
    QCOMPARE(tickedRows(), (QList<int> {1, 2, 8, 9, 10}));
}

// Sections of the dated list: March 9 8 7, February 6 5, January 4 3 2. A point is (section,
// row), so a drag from March into January passes February whole.
void TestMediaSelector::dragOverSectionsOrdersBySectionThenRow()
{
    MediaTest::setNow(MediaTest::localMSecs(2024, 4, 10));
    MediaModel model(CONTENT_PHOTO);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    const QList<std::pair<int, int>> idsAndMonths {{9, 3}, {8, 3}, {7, 3}, {6, 2},
                                                   {5, 2}, {4, 1}, {3, 1}, {2, 1}};
    QList<ResourceItem *> items;
    for (const auto &[id, month] : idsAndMonths) {
        im::Message proto = protoOf(QString::number(id));
        proto.set_time(MediaTest::localMSecs(2024, month, id + 1));
        items.append(new ResourceItem(makeMessage(proto, nullptr)));
    }
    model.append(items);
    QCOMPARE(model.count(), 3);
    auto ticked = [this] {
        QList<int> ids;
        for (int id = 9; id >= 2; --id) {
            if (m_selector->isSelected("a", MessageKey(id, 0))) {
                ids.append(id);
            }
        }
        return ids;
    };

    m_selector->beginSelect();
    m_selector->changeSelects(&model, QPoint(0, 1), QPoint(2, 0), true);
    QCOMPARE(ticked(), (QList<int> {8, 7, 6, 5, 4}));
    m_selector->changeSelects(&model, QPoint(0, 1), QPoint(1, 0), true);
    QCOMPARE(ticked(), (QList<int> {8, 7, 6}));
    m_selector->changeSelects(&model, QPoint(0, 1), QPoint(0, 0), true);
    QCOMPARE(ticked(), (QList<int> {9, 8}));
    m_selector->endSelect();
    MediaTest::resetNow();
}

void TestMediaSelector::clearSelectedEmitsInOrder()
{
    m_selector->changeSelected((*m_items)("50.1"));
    m_selector->changeSelected((*m_items)("b/10"));
    QStringList order;
    QSignalSpy children(m_selector.get(), &MediaSelector::selectChildCountChanged);
    QSignalSpy counted(m_selector.get(), &MediaSelector::selectCountChanged);
    QSignalSpy forwardable(m_selector.get(), &MediaSelector::forwardableCountChanged);
    connect(m_selector.get(), &MediaSelector::selectChildCountChanged, this,
            [&] { order << "selectChildCount"; });
    connect(m_selector.get(), &MediaSelector::selectCountChanged, this,
            [&] { order << "selectCount"; });
    connect(m_selector.get(), &MediaSelector::forwardableCountChanged, this,
            [&] { order << "forwardableCount"; });

    m_selector->clearSelected();

    QCOMPARE(order, (QStringList {"selectChildCount", "selectCount", "forwardableCount"}));
    QCOMPARE(children.size(), 1);
    QCOMPARE(counted.size(), 1);
    QCOMPARE(forwardable.size(), 1);
    QCOMPARE(countsOf(*m_selector), Counts {});
    QVERIFY(!m_selector->isSelected("a", MessageKey(50, 1)));
    QVERIFY(!m_selector->isSelected("b", MessageKey(10, 0)));
    m_selector->disconnect(this);
}

void TestMediaSelector::clearSelectedOnEmptySelectionIsSilent()
{
    ResourceItem *item = (*m_items)("10");
    m_selector->changeSelected(item);
    m_selector->changeSelected(item);
    QSignalSpy counted(m_selector.get(), &MediaSelector::selectCountChanged);
    QSignalSpy children(m_selector.get(), &MediaSelector::selectChildCountChanged);
    QSignalSpy forwardable(m_selector.get(), &MediaSelector::forwardableCountChanged);
    m_selector->clearSelected();
    QCOMPARE(counted.size() + children.size() + forwardable.size(), 0);
}

// Unticking an item that is not ticked leaves its dialog behind with nothing in it: clearing
// then still announces the (unchanged) counters.
void TestMediaSelector::untickOfAbsentItemKeepsTheDialog()
{
    m_selector->changeSelected((*m_items)("10"), false);
    QCOMPARE(m_selector->selectCount(), 0);
    QSignalSpy counted(m_selector.get(), &MediaSelector::selectCountChanged);
    m_selector->clearSelected();
    QCOMPARE(counted.size(), 1);
}

void TestMediaSelector::pruning_data()
{
    QTest::addColumn<QStringList>("ticked");
    QTest::addColumn<QStringList>("notForwardable");
    QTest::addColumn<QString>("form");
    QTest::addColumn<QList<qint64>>("ids");
    QTest::addColumn<QStringList>("left");
    QTest::addColumn<Counts>("counts");
    QTest::addColumn<int>("countSignals");

    using S = QStringList;
    using I = QList<qint64>;
    const S plain {"10", "20", "30", "60"};
    const S combined {"10", "50.1", "50.2", "50.3", "60"};

    QTest::newRow("one: a plain message")
            << plain << S {} << "one" << I {20} << S {"10", "30", "60"} << Counts {3, 0, 3} << 1;
    QTest::newRow("one: unknown message changes nothing")
            << plain << S {} << "one" << I {25} << plain << Counts {4, 0, 4} << 0;
    QTest::newRow("one: all ticked children of a combined message")
            << combined << S {} << "one" << I {50} << S {"10", "60"} << Counts {2, 0, 2} << 1;
    QTest::newRow("one: the first child answers for the forwardability of all")
            << combined << S {"50.1"} << "one" << I {50} << S {"10", "60"} << Counts {2, 0, 4} << 1;
    QTest::newRow("one: a non-forwardable plain message")
            << plain << S {"20"} << "one" << I {20} << S {"10", "30", "60"} << Counts {3, 0, 3}
            << 1;
    QTest::newRow("ids: each of them")
            << combined << S {} << "ids" << I {10, 50, 99} << S {"60"} << Counts {1, 0, 1} << 2;
    QTest::newRow("ids: other dialog changes nothing")
            << plain << S {} << "ids in b" << I {10, 20} << plain << Counts {4, 0, 4} << 0;

    QTest::newRow("range: lower bound first removes nothing")
            << plain << S {} << "range" << I {15, 35} << plain << Counts {4, 0, 4} << 0;
    QTest::newRow("range: upper bound first removes the entries between")
            << plain << S {} << "range" << I {35, 15} << S {"10", "60"} << Counts {2, 0, 2} << 1;
    QTest::newRow("range: ticked bounds are included")
            << plain << S {} << "range" << I {30, 20} << S {"10", "60"} << Counts {2, 0, 2} << 1;
    QTest::newRow("range: reaching past the newest entry removes nothing")
            << plain << S {} << "range" << I {70, 15} << plain << Counts {4, 0, 4} << 0;
    QTest::newRow("range: counts the children it removes")
            << combined << S {"50.2"} << "range" << I {55, 45} << S {"10", "60"} << Counts {2, 0, 2}
            << 1;
    QTest::newRow("range: between two entries removes nothing but announces")
            << plain << S {} << "range" << I {25, 22} << plain << Counts {4, 0, 4} << 1;

    QTest::newRow("after: a ticked message")
            << plain << S {} << "after" << I {20} << S {"10", "20"} << Counts {2, 0, 2} << 1;
    QTest::newRow("after: an unticked message")
            << plain << S {} << "after" << I {25} << S {"10", "20"} << Counts {2, 0, 2} << 1;
    QTest::newRow("after: takes the message's own children")
            << combined << S {"60"} << "after" << I {50} << S {"10"} << Counts {1, 0, 1} << 1;
    QTest::newRow("after: the newest removes nothing")
            << plain << S {} << "after" << I {60} << plain << Counts {4, 0, 4} << 0;
    QTest::newRow("after: zero removes all")
            << plain << S {} << "after" << I {0} << S {} << Counts {0, 0, 0} << 1;
}

void TestMediaSelector::pruning()
{
    QFETCH(QStringList, ticked);
    QFETCH(QStringList, notForwardable);
    QFETCH(QString, form);
    QFETCH(QList<qint64>, ids);
    QFETCH(QStringList, left);
    QFETCH(Counts, counts);
    QFETCH(int, countSignals);
    for (const QString &label : ticked) {
        MessageSpec spec;
        spec.forwardable = !notForwardable.contains(label);
        m_selector->changeSelected((*m_items)(label, spec));
    }
    QSignalSpy counted(m_selector.get(), &MediaSelector::selectCountChanged);

    if (form == "one") {
        m_selector->removeSelected("a", ids.first());
    } else if (form == "ids") {
        m_selector->removeSelecteds("a", ids);
    } else if (form == "ids in b") {
        m_selector->removeSelecteds("b", ids);
    } else if (form == "range") {
        m_selector->removeSelecteds("a", MessageIdRange(ids.at(0), ids.at(1)));
    } else {
        m_selector->removeSelecteds("a", ids.first());
    }

    for (const QString &label : ticked) {
        QCOMPARE(m_selector->isSelected("a", keyOf(label)), left.contains(label));
    }
    QCOMPARE(countsOf(*m_selector), counts);
    QCOMPARE(counted.size(), countSignals);
}

void TestMediaSelector::prunedDialogLeavesNoTrace()
{
    m_selector->changeSelected((*m_items)("a/10", {CONTENT_PHOTO, 3}));
    m_selector->changeSelected((*m_items)("a/20", {CONTENT_PHOTO, 3}));
    m_selector->changeSelected((*m_items)("b/10", {CONTENT_PHOTO, 5}));

    m_selector->removeSelecteds("a", QList<qint64> {10, 20});

    QVERIFY(!m_selector->isSelected("a", MessageKey(10, 0)));
    QCOMPARE(m_selector->selectedSenderIds(), (QVariantList {qint64(5)}));
    const QList<QSharedPointer<MessageBase>> left = m_selector->selectMedias();
    QCOMPARE(left.size(), 1);
    QCOMPARE(left.first()->dialogId(), QStringLiteral("b"));
    QCOMPARE(m_selector->selectCount(), 1);
}

void TestMediaSelector::selectedSenderIdsInFirstSeenOrder()
{
    // Ticked out of order: the walk goes oldest message first.
    m_selector->changeSelected((*m_items)("40", {CONTENT_PHOTO, 2}));
    m_selector->changeSelected((*m_items)("10", {CONTENT_PHOTO, 3}));
    m_selector->changeSelected((*m_items)("30", {CONTENT_PHOTO, 3}));
    m_selector->changeSelected((*m_items)("20", {CONTENT_PHOTO, 1, true, true}));
    QCOMPARE(m_selector->selectedSenderIds(), (QVariantList {qint64(3), qint64(1), qint64(2)}));
}

void TestMediaSelector::selectMediasNewestFirst()
{
    const QSharedPointer<MessageBase> first = messageOf("50.1");
    const QSharedPointer<MessageBase> second = messageOf("50.2");
    const QSharedPointer<MessageBase> old = messageOf("10");
    const QSharedPointer<MessageBase> recent = messageOf("60");
    for (const QSharedPointer<MessageBase> &msg : {recent, first, old, second}) {
        m_selector->changeSelected(m_items->add(msg));
    }
    const QList<QSharedPointer<MessageBase>> expected {recent, second, first, old};
    QCOMPARE(m_selector->selectMedias(), expected);
}

void TestMediaSelector::selectFileCountSkipsExcludedAndTextMessages()
{
    m_selector->changeSelected((*m_items)("10", {CONTENT_PHOTO}));
    m_selector->changeSelected((*m_items)("20", {CONTENT_FILE}));
    m_selector->changeSelected((*m_items)("30", {CONTENT_TEXT}));
    m_selector->changeSelected((*m_items)("40", {CONTENT_VIDEO, 7, true, true}));
    m_selector->changeSelected((*m_items)("50", {CONTENT_VOICE}));
    QCOMPARE(m_selector->selectFileCount(), 3);
}

QTEST_GUILESS_MAIN(TestMediaSelector)
#include "tst_mediaselector.moc"
