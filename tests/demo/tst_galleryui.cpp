#include "galleryaccount.h"
#include "gallerycontroller.h"
#include "gallerysample.h"
#include "gallerywindow.h"
#include "hubteardown.h"
#include "mediacalender.h"
#include "mediamgr.h"
#include "mediapreview.h"
#include "mediaselector.h"
#include "resourceitem.h"
#include "sampleaccount.h"

#include <QQmlApplicationEngine>
#include <QQmlExtensionPlugin>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

Q_IMPORT_QML_PLUGIN(MediaGalleryPlugin)

namespace {

QPoint centreOf(const QQuickItem *item)
{
    return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
}

// Every item under root in the visual tree: views parent their delegates there, not in the object
// tree that findChildren walks.
QList<QQuickItem *> visualDescendants(QQuickItem *root)
{
    QList<QQuickItem *> items;
    for (QQuickItem *child : root->childItems()) {
        items.append(child);
        items.append(visualDescendants(child));
    }
    return items;
}

ResourceItem *itemOf(const QQuickItem *delegate)
{
    return qvariant_cast<ResourceItem *>(delegate->property("itemModel"));
}

} // namespace

// The gallery window as a user drives it: clicks and keys on the real QML over a sample account.
class TestGalleryUi : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void viewerStepsBetweenItems();
    void calendarMarksDaysAndOpensOne();
    void dragTicksTilesAndForwardSendsThem();

private:
    // The photo tiles on screen, newest first.
    QList<QQuickItem *> visibleTiles() const;
    QQuickItem *findItem(const QString &objectName) const;
    QQuickItem *findButton(const QString &text) const;
    MediaPreview *preview() const { return m_hub->mediaPreview(); }

    QTemporaryDir m_dir;
    GallerySample m_sample;
    std::unique_ptr<GalleryAccount> m_account;
    MediaMgr *m_hub = nullptr; // child of the account
    std::unique_ptr<GalleryController> m_controller;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QQuickWindow *m_window = nullptr; // the engine's
};

void TestGalleryUi::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(m_sample.create(m_dir.path()));
    chooseGalleryRenderer();
    m_account = std::make_unique<GalleryAccount>(SampleAccount::UserId, m_dir.path());
    QVERIFY(m_account->isValid());
    setUpMediaLayer();
    m_hub = new MediaMgr(m_account.get());
    m_hub->initConnection();
    m_controller = std::make_unique<GalleryController>(m_account.get(), m_hub);
    m_controller->setCurrentChatId(m_sample.photoChat);
    m_engine = std::make_unique<QQmlApplicationEngine>();
    m_window = loadGalleryWindow(*m_engine, *m_controller, 2, QSize(1100, 720));
    QVERIFY(m_window);
    QVERIFY(QTest::qWaitForWindowExposed(m_window));
    QTRY_VERIFY_WITH_TIMEOUT(m_window->property("pageReady").toBool(), 20000);
    QTRY_VERIFY(visibleTiles().size() >= 3);
}

void TestGalleryUi::cleanupTestCase()
{
    m_engine.reset();
    m_controller.reset();
    closeHub(m_hub);
    m_account.reset();
}

QList<QQuickItem *> TestGalleryUi::visibleTiles() const
{
    QList<QQuickItem *> tiles;
    const QRectF view(QPointF(0, 0), m_window->size());
    for (QQuickItem *item : visualDescendants(m_window->contentItem())) {
        if (item->objectName() == QLatin1String("photoTile") && item->isVisible()
            && view.contains(item->mapRectToScene(item->boundingRect()))) {
            tiles.append(item);
        }
    }
    std::sort(tiles.begin(), tiles.end(),
              [](const QQuickItem *a, const QQuickItem *b) { return *itemOf(a) > *itemOf(b); });
    return tiles;
}

QQuickItem *TestGalleryUi::findItem(const QString &objectName) const
{
    for (QQuickItem *item : visualDescendants(m_window->contentItem())) {
        if (item->objectName() == objectName) {
            return item;
        }
    }
    return nullptr;
}

QQuickItem *TestGalleryUi::findButton(const QString &text) const
{
    for (QQuickItem *item : visualDescendants(m_window->contentItem())) {
        if (item->property("text").toString() == text && item->property("glyph").isValid()
            && item->isVisible()) {
            return item;
        }
    }
    return nullptr;
}

void TestGalleryUi::viewerStepsBetweenItems()
{
    const QList<QQuickItem *> tiles = visibleTiles();
    ResourceItem *newest = itemOf(tiles.at(0));
    ResourceItem *second = itemOf(tiles.at(1));
    QQuickItem *viewer = findItem(QStringLiteral("previewOverlay"));
    QVERIFY(viewer);
    QVERIFY(!viewer->isVisible());

    QTest::mouseClick(m_window, Qt::LeftButton, {}, centreOf(tiles.at(1)));
    QVERIFY(viewer->isVisible());
    QTRY_VERIFY(preview()->resourceItem());
    QCOMPARE(preview()->resourceItem()->mediaKey(), second->mediaKey());
    QVERIFY(preview()->hasNext());

    // Right goes to the newer item, left back to the older one.
    QTest::keyClick(m_window, Qt::Key_Right);
    QCOMPARE(preview()->resourceItem()->mediaKey(), newest->mediaKey());
    QVERIFY(!preview()->hasNext());
    QTest::keyClick(m_window, Qt::Key_Right);
    QCOMPARE(preview()->resourceItem()->mediaKey(), newest->mediaKey());
    QTest::mouseClick(m_window, Qt::LeftButton, {},
                      centreOf(findItem(QStringLiteral("previewPrevious"))));
    QCOMPARE(preview()->resourceItem()->mediaKey(), second->mediaKey());

    QTest::keyClick(m_window, Qt::Key_Escape);
    QVERIFY(!viewer->isVisible());
    QVERIFY(preview()->dialogId().isEmpty());
}

void TestGalleryUi::calendarMarksDaysAndOpensOne()
{
    auto *calendar = qobject_cast<MediaCalender *>(m_controller->calendar());
    QVERIFY(calendar);
    QTRY_VERIFY(!calendar->isQuerying());
    // It opens on the month of the newest photo, whose day is marked.
    const QList<QQuickItem *> tiles = visibleTiles();
    const qint64 day = MediaCalender::dayKey(itemOf(tiles.at(0))->dateTime());
    QCOMPARE(calendar->lastDate(), day);
    ResourceItem *dayItem = calendar->mediaByDate(day);
    QVERIFY(dayItem);

    QTest::mouseClick(m_window, Qt::LeftButton, {},
                      centreOf(findItem(QStringLiteral("calendarButton"))));
    QQuickItem *marked = nullptr;
    QTRY_VERIFY([&] {
        for (QQuickItem *cell : visualDescendants(m_window->contentItem())) {
            if (cell->property("media").value<ResourceItem *>() == dayItem
                && cell->property("inMonth").toBool() && cell->isVisible()) {
                marked = cell;
            }
        }
        return marked != nullptr;
    }());
    QTest::mouseClick(m_window, Qt::LeftButton, {}, centreOf(marked));
    QQuickItem *viewer = findItem(QStringLiteral("previewOverlay"));
    QTRY_VERIFY(viewer->isVisible());
    QTRY_VERIFY(preview()->resourceItem());
    QCOMPARE(preview()->resourceItem()->mediaKey(), dayItem->mediaKey());
    QTest::keyClick(m_window, Qt::Key_Escape);
}

void TestGalleryUi::dragTicksTilesAndForwardSendsThem()
{
    auto *selector = qobject_cast<MediaSelector *>(m_controller->selector());
    QVERIFY(selector);
    QTest::mouseClick(m_window, Qt::LeftButton, {},
                      centreOf(findItem(QStringLiteral("selectButton"))));
    QQuickItem *bar = findItem(QStringLiteral("selectionBar"));
    QVERIFY(bar && bar->isVisible());

    // Pressed on the newest tile and dragged over the next two.
    const QList<QQuickItem *> tiles = visibleTiles();
    QTest::mousePress(m_window, Qt::LeftButton, {}, centreOf(tiles.at(0)));
    QTest::mouseMove(m_window, centreOf(tiles.at(1)));
    QTest::mouseMove(m_window, centreOf(tiles.at(2)));
    QTest::mouseRelease(m_window, Qt::LeftButton, {}, centreOf(tiles.at(2)));
    QCOMPARE(selector->selectCount(), 3);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(selector->isSelected(itemOf(tiles.at(i))->dialogId(),
                                     itemOf(tiles.at(i))->mediaKey()));
        QVERIFY(tiles.at(i)->property("ticked").toBool());
    }
    QVERIFY(!tiles.at(3)->property("ticked").toBool());
    QCOMPARE(findItem(QStringLiteral("selectionCount"))->property("text").toString(),
             QStringLiteral("3 selected"));

    // A click unticks one; forwarding sends the other two and empties the selection.
    QTest::mouseClick(m_window, Qt::LeftButton, {}, centreOf(tiles.at(1)));
    QCOMPARE(selector->selectCount(), 2);
    QSignalSpy forwarded(m_account.get(), &GalleryAccount::messagesForwarded);
    QTest::mouseClick(m_window, Qt::LeftButton, {},
                      centreOf(findButton(QStringLiteral("Forward"))));
    QCOMPARE(forwarded.count(), 1);
    QCOMPARE(forwarded.at(0).at(0).toInt(), 2);
    QCOMPARE(selector->selectCount(), 0);

    QTest::mouseClick(m_window, Qt::LeftButton, {},
                      centreOf(findItem(QStringLiteral("selectButton"))));
    QVERIFY(!bar->isVisible());
}

QTEST_MAIN(TestGalleryUi)
#include "tst_galleryui.moc"
