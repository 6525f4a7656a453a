#include "accountmanager.h"
#include "audioevents.h"
#include "audiotestsupport.h"
#include "contenttype.h"
#include "desktoprequests.h"
#include "dialogbase.h"
#include "encodedmedia.h"
#include "filedata.h"
#include "galleryaccount.h"
#include "gallerycontroller.h"
#include "gallerysample.h"
#include "gallerysearch.h"
#include "gallerywindow.h"
#include "hubteardown.h"
#include "listitems.h"
#include "mediacalender.h"
#include "mediachatmodel.h"
#include "mediachatselectmodel.h"
#include "mediafiles.h"
#include "mediakeepsetting.h"
#include "mediamgr.h"
#include "mediaplayer.h"
#include "mediapreview.h"
#include "mediasearch.h"
#include "mediaselector.h"
#include "mediastoragemodel.h"
#include "mediastorageviewmodel.h"
#include "mediasync.h"
#include "messagebase.h"
#include "messagestorage.h"
#include "resourceitem.h"
#include "resourcemodel.h"
#include "resourcestorage.h"
#include "sampleaccount.h"
#include "serverhistory.h"
#include "soundserverfixture.h"
#include "userstorageprovider.h"
#include "videoplayback.h"

#include <QDir>
#include <QImage>
#include <QQmlApplicationEngine>
#include <QQmlExtensionPlugin>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QVideoSink>
#include <QtQuickTest/quicktest.h>
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

// Colours of the section area right of the navigation rail: a screen showing pictures, charts or
// text holds many (anti-aliased glyphs alone give dozens); an empty or unpainted one a handful.
int sectionColours(const QImage &image)
{
    constexpr int RailWidth = 76;
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 2) {
        for (int x = RailWidth; x < image.width(); x += 2) {
            colours.insert(image.pixel(x, y));
        }
    }
    return int(colours.size());
}

} // namespace

// The gallery window as a user drives it: clicks and keys on the real QML over a sample account.
class TestGalleryUi : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void viewerStepsBetweenItems();
    void calendarMarksDaysAndOpensOne();
    void dragTicksTilesAndForwardSendsThem();
    void searchFindsHitsByKeywordSenderAndDays();
    void searchHitsPageOnAsTheyScroll();
    void hitOpensTheViewerSteppingThroughTheHits();
    void contextMenuForwardsAnItemToAnotherChat();
    void viewerDeletesItsItemForEveryone();
    void contextMenuSavesAFileIntoAFolder();
    void contextMenuCopiesAFileToTheCloudDrive();
    void linksAndFilesOpenThroughTheDesktop();
    void filesTabListsDocuments();
    void musicRowPlaysInThePlayerBar();
    void videoPlaysInTheViewer();
    void storageScreenMeasuresEveryChat();
    void keepMediaSettingsShowDefaultsAndExceptions();
    void downloadScreenFetchesChosenChats();

private:
    // Grabs the window, checks that it shows content and, when MEDIAMODEL_TOUR_DIR names a
    // folder, saves it there as name.png (the README's tour is made so).
    void screenshot(const QString &name);
    void showSection(int index);
    void showTab(int type);
    // The photo tiles on screen, newest first.
    QList<QQuickItem *> visibleTiles() const;
    QQuickItem *findItem(const QString &objectName) const;
    // The first visible item that matches.
    QQuickItem *findVisible(const std::function<bool(QQuickItem *)> &matches) const;
    QQuickItem *findVisible(const QString &objectName) const;
    QQuickItem *findButton(const QString &text) const;
    void click(QQuickItem *item, Qt::MouseButton button = Qt::LeftButton);
    // Types into the item that has the focus, a key at a time.
    void typeText(const QString &text);
    // Opens the chat on the list of type and waits for its first page.
    void showChat(const QString &dialogId, int type);
    // Picks the day in the popup of the date button.
    void pickDay(const QString &buttonName, const QDate &day);
    // Turns the mouse wheel down over item.
    void scrollDown(QQuickItem *item);
    // Clicks the chat in the open chat picker.
    void pickChat(const QString &dialogId);
    // Right-clicks the item and chooses the menu entry.
    void chooseFromMenu(QQuickItem *item, const QString &entry);
    // A row of the files tab shown whose file is not on disk yet; null when none is.
    QQuickItem *fileRowNotDownloaded() const;
    GallerySearch *search() const { return m_controller->search(); }
    MediaPreview *preview() const { return m_hub->mediaPreview(); }

    QTemporaryDir m_dir;
    GallerySample m_sample;
    std::unique_ptr<GalleryAccount> m_account;
    MediaMgr *m_hub = nullptr; // child of the account
    std::unique_ptr<GalleryController> m_controller;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QQuickWindow *m_window = nullptr;             // the engine's
    AudioTest::ScriptedEngine *m_audio = nullptr; // the player's
    SoundServerFixture m_sound;
};

void TestGalleryUi::initTestCase()
{
    // Videos play their sound for real.
    QVERIFY2(m_sound.start(), qPrintable(m_sound.errorString()));
    QVERIFY(m_dir.isValid());
    QVERIFY(m_sample.create(m_dir.path()));
    chooseGalleryRenderer();
    m_account = std::make_unique<GalleryAccount>(SampleAccount::UserId, m_dir.path());
    QVERIFY(m_account->isValid());
    AccountManager::getInstance()->addAccount(m_account.get());
    setUpMediaLayer();
    // The music player's steps are scripted: the player gets an engine that plays nothing.
    m_audio = AudioTest::installScriptedEngine();
    m_hub = new MediaMgr(m_account.get());
    m_hub->initConnection();
    m_hub->loadLocalData(false);
    m_controller = std::make_unique<GalleryController>(m_account.get(), m_hub);
    m_controller->setCurrentChatId(m_sample.photoChat);
    m_engine = std::make_unique<QQmlApplicationEngine>();
    m_window = loadGalleryWindow(*m_engine, *m_controller, 2, QSize(1100, 720));
    QVERIFY(m_window);
    QVERIFY(QTest::qWaitForWindowExposed(m_window));
    QTRY_VERIFY_WITH_TIMEOUT(m_window->property("pageReady").toBool(), 20000);
    QTRY_VERIFY(visibleTiles().size() >= 3);
    screenshot(QStringLiteral("media"));
}

void TestGalleryUi::cleanupTestCase()
{
    m_engine.reset();
    m_controller.reset();
    closeHub(m_hub);
    AccountManager::getInstance()->removeAccount(m_account.get());
    m_account.reset();
}

// Each case starts on a chat's lists, whatever the one before left open.
void TestGalleryUi::init()
{
    QQuickItem *viewer = findItem(QStringLiteral("previewOverlay"));
    if (viewer->isVisible()) {
        QMetaObject::invokeMethod(viewer, "close");
    }
    search()->setAllChats(false);
    search()->clear();
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

void TestGalleryUi::screenshot(const QString &name)
{
    // A notice of an earlier step would cover part of the screen, and so would the tooltip of
    // what the pointer rests on: it goes to the foot of the navigation rail.
    QQuickItem *toast = findItem(QStringLiteral("toast"));
    QTRY_VERIFY_WITH_TIMEOUT(toast && !toast->isVisible(), 5000);
    QTest::mouseMove(m_window, QPoint(10, m_window->height() - 10));
    // Two frames, so that what the last event changed is painted.
    m_window->update();
    QTest::qWait(50);
    const QImage image = m_window->grabWindow();
    QVERIFY2(!image.isNull(), qPrintable(name));
    const int colours = sectionColours(image);
    QVERIFY2(colours >= 64,
             qPrintable(QStringLiteral("%1 shows %2 colours").arg(name).arg(colours)));
    const QString folder = qEnvironmentVariable("MEDIAMODEL_TOUR_DIR");
    if (!folder.isEmpty()) {
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(image.save(QDir(folder).filePath(name + QStringLiteral(".png"))));
    }
}

void TestGalleryUi::showSection(int index)
{
    QTest::mouseClick(m_window, Qt::LeftButton, {},
                      centreOf(findItem(QStringLiteral("navButton%1").arg(index))));
    QTRY_VERIFY_WITH_TIMEOUT(m_window->property("pageReady").toBool(), 30000);
}

void TestGalleryUi::showTab(int type)
{
    QTest::mouseClick(m_window, Qt::LeftButton, {},
                      centreOf(findItem(QStringLiteral("tab%1").arg(type))));
}

QQuickItem *TestGalleryUi::findVisible(const std::function<bool(QQuickItem *)> &matches) const
{
    for (QQuickItem *item : visualDescendants(m_window->contentItem())) {
        if (item->isVisible() && matches(item)) {
            return item;
        }
    }
    return nullptr;
}

QQuickItem *TestGalleryUi::findVisible(const QString &objectName) const
{
    return findVisible(
            [&objectName](QQuickItem *item) { return item->objectName() == objectName; });
}

// A list lays its rows out when the window polishes it; until then a click may land on the list
// rather than on the row drawn there.
void TestGalleryUi::click(QQuickItem *item, Qt::MouseButton button)
{
    QVERIFY(item);
    QVERIFY(QQuickTest::qWaitForPolish(m_window));
    QTest::mouseClick(m_window, button, {}, centreOf(item));
}

void TestGalleryUi::typeText(const QString &text)
{
    for (const QChar c : text) {
        QTest::keyClick(m_window, c.toLatin1());
    }
}

void TestGalleryUi::showChat(const QString &dialogId, int type)
{
    m_controller->setCurrentChatId(dialogId);
    showTab(type);
    QTRY_VERIFY_WITH_TIMEOUT(m_window->property("pageReady").toBool(), 20000);
}

void TestGalleryUi::pickDay(const QString &buttonName, const QDate &day)
{
    click(findItem(buttonName));
    QQuickItem *month = nullptr;
    QTRY_VERIFY((month = findVisible(QStringLiteral("monthView"))));
    const QDate shown = [month] {
        return QDate(month->property("year").toInt(), month->property("month").toInt() + 1, 1);
    }();
    const int steps = (shown.year() - day.year()) * 12 + shown.month() - day.month();
    for (int i = 0; i < qAbs(steps); ++i) {
        click(findVisible(steps > 0 ? QStringLiteral("previousMonth")
                                    : QStringLiteral("nextMonth")));
    }
    QQuickItem *cell = nullptr;
    QTRY_VERIFY((cell = findVisible([&day](QQuickItem *item) {
                     return item->objectName() == QLatin1String("dayCell")
                             && item->property("inMonth").toBool()
                             && item->property("date").toDate() == day;
                 })));
    click(cell);
    QTRY_VERIFY(!month->isVisible());
}

void TestGalleryUi::scrollDown(QQuickItem *item)
{
    const QPointF at = centreOf(item);
    QWheelEvent wheel(at, m_window->mapToGlobal(at), QPoint(), QPoint(0, -360), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    // The list weighs each turn by the time since the one before.
    static QElapsedTimer clock;
    if (!clock.isValid()) {
        clock.start();
    }
    wheel.setTimestamp(ulong(clock.elapsed()));
    QGuiApplication::sendEvent(m_window, &wheel);
}

void TestGalleryUi::pickChat(const QString &dialogId)
{
    QQuickItem *row = nullptr;
    QTRY_VERIFY((row = findVisible([&dialogId](QQuickItem *item) {
                     return item->objectName() == QLatin1String("pickerChat")
                             && item->property("dialogId").toString() == dialogId;
                 })));
    click(row);
    QTRY_VERIFY(!row->isVisible());
}

void TestGalleryUi::chooseFromMenu(QQuickItem *item, const QString &entry)
{
    click(item, Qt::RightButton);
    QQuickItem *menuEntry = nullptr;
    QTRY_VERIFY((menuEntry = findVisible(entry)));
    click(menuEntry);
    QTRY_VERIFY(!menuEntry->isVisible());
}

QQuickItem *TestGalleryUi::fileRowNotDownloaded() const
{
    MediaFiles *files = m_controller->files();
    return findVisible([files](QQuickItem *item) {
        return item->objectName() == QLatin1String("fileRow")
                && files->downloadedPath(files->fileId(itemOf(item))).isEmpty();
    });
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
    screenshot(QStringLiteral("viewer"));
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
    const QDate markedDay = QDateTime::fromMSecsSinceEpoch(day).date();
    QTRY_VERIFY((marked = findVisible([&markedDay](QQuickItem *cell) {
                     return cell->objectName() == QLatin1String("dayCell")
                             && cell->property("inMonth").toBool()
                             && cell->property("marked").toBool()
                             && cell->property("date").toDate() == markedDay;
                 })));
    screenshot(QStringLiteral("calendar"));
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
    screenshot(QStringLiteral("selection"));

    // A click unticks one; forwarding sends the other two to the chat picked and empties the
    // selection.
    QTest::mouseClick(m_window, Qt::LeftButton, {}, centreOf(tiles.at(1)));
    QCOMPARE(selector->selectCount(), 2);
    QSignalSpy forwarded(m_account.get(), &GalleryAccount::messagesForwarded);
    QTest::mouseClick(m_window, Qt::LeftButton, {},
                      centreOf(findButton(QStringLiteral("Forward"))));
    pickChat(m_sample.fileChat);
    QCOMPARE(forwarded.count(), 1);
    QCOMPARE(forwarded.at(0).at(0).toString(), m_sample.fileChat);
    QCOMPARE(forwarded.at(0).at(1).toInt(), 2);
    QCOMPARE(selector->selectCount(), 0);

    QTest::mouseClick(m_window, Qt::LeftButton, {},
                      centreOf(findItem(QStringLiteral("selectButton"))));
    QVERIFY(!bar->isVisible());
}

// The search of the header: a keyword typed, then a sender and a span of days chosen, in the chat
// (whose older history only the server holds) and across chats.
void TestGalleryUi::searchFindsHitsByKeywordSenderAndDays()
{
    showChat(m_sample.photoChat, CONTENT_PHOTO);
    QSignalSpy started(search(), &GallerySearch::searchStarted);
    click(findItem(QStringLiteral("searchField")));
    typeText(QStringLiteral("img"));
    QVERIFY(started.wait());
    QCOMPARE(started.count(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(!search()->isQuerying(), 15000);
    QTRY_VERIFY(findItem(QStringLiteral("hits2"))->isVisible());
    QVERIFY(!findItem(QStringLiteral("list2"))->isVisible());
    QList<ResourceItem *> hits = itemsOf(search()->resourceModel());
    // Every photo of the chat is named IMG_..., those only the server keeps included.
    storage::ResourceSearchInfo local;
    local.types = {CONTENT_PHOTO};
    local.count = 100000;
    const int localPhotos = int(
            m_account->storage()->resourceStorage()->infosBefore(m_sample.photoChat, local).size());
    QVERIFY2(hits.size() > localPhotos,
             qPrintable(QStringLiteral("%1 hits, %2 photos at hand")
                                .arg(hits.size())
                                .arg(localPhotos)));
    QTRY_VERIFY(!visibleTiles().isEmpty());

    // Sent by the user.
    click(findItem(QStringLiteral("filtersButton")));
    QTRY_VERIFY(findItem(QStringLiteral("searchFilters"))->isVisible());
    click(findItem(QStringLiteral("senderFilter")));
    QQuickItem *you = nullptr;
    QTRY_VERIFY((you = findVisible([](QQuickItem *item) {
                     return item->property("text").toString() == QLatin1String("You")
                             && item->property("highlighted").isValid();
                 })));
    click(you);
    QCOMPARE(search()->senderId(), m_account->userId());
    QCOMPARE(started.count(), 2);
    QTRY_VERIFY_WITH_TIMEOUT(!search()->isQuerying(), 15000);
    hits = itemsOf(search()->resourceModel());
    QVERIFY(!hits.isEmpty());
    for (ResourceItem *hit : std::as_const(hits)) {
        QCOMPARE(hit->msgData()->senderId(), m_account->userId());
    }

    // From the day of an older hit to the day of the newest one.
    const QDate first = QDateTime::fromMSecsSinceEpoch(hits.at(hits.size() / 2)->dateTime()).date();
    const QDate last = QDateTime::fromMSecsSinceEpoch(hits.constFirst()->dateTime()).date();
    pickDay(QStringLiteral("startDate"), first);
    pickDay(QStringLiteral("endDate"), last);
    const qint64 from = first.startOfDay().toMSecsSinceEpoch();
    const qint64 to = last.addDays(1).startOfDay().toMSecsSinceEpoch() - 1;
    QCOMPARE(search()->startTime(), from);
    QCOMPARE(search()->endTime(), to);
    QTRY_VERIFY_WITH_TIMEOUT(!search()->isQuerying(), 15000);
    hits = itemsOf(search()->resourceModel());
    QVERIFY(!hits.isEmpty());
    for (ResourceItem *hit : std::as_const(hits)) {
        QCOMPARE(hit->msgData()->senderId(), m_account->userId());
        QVERIFY(hit->dateTime() >= from && hit->dateTime() <= to);
    }
    QTRY_VERIFY(!visibleTiles().isEmpty());
    screenshot(QStringLiteral("search"));

    // The same filters over every chat.
    click(findVisible([](QQuickItem *item) {
        return item->property("text").toString() == QLatin1String("All chats");
    }));
    QVERIFY(search()->allChats());
    QTRY_VERIFY_WITH_TIMEOUT(!search()->isQuerying(), 15000);
    hits = itemsOf(search()->resourceModel());
    QSet<QString> chats;
    for (ResourceItem *hit : std::as_const(hits)) {
        QCOMPARE(hit->msgData()->senderId(), m_account->userId());
        QVERIFY(hit->dateTime() >= from && hit->dateTime() <= to);
        chats.insert(hit->dialogId());
    }
    QVERIFY(chats.size() > 1);

    // Esc in the field drops every filter: the chat's own list is back. The scope stays.
    click(findItem(QStringLiteral("searchField")));
    QTest::keyClick(m_window, Qt::Key_Escape);
    QVERIFY(!search()->isActive());
    QCOMPARE(search()->keyword(), QString());
    QCOMPARE(search()->senderId(), qint64(0));
    QCOMPARE(search()->startTime(), qint64(0));
    QTRY_VERIFY(findItem(QStringLiteral("list2"))->isVisible());
    QVERIFY(search()->allChats());
    click(findVisible([](QQuickItem *item) {
        return item->property("text").toString() == QLatin1String("This chat");
    }));
    QVERIFY(!search()->allChats());
}

void TestGalleryUi::searchHitsPageOnAsTheyScroll()
{
    showChat(m_sample.photoChat, CONTENT_PHOTO);
    search()->setAllChats(true);
    click(findItem(QStringLiteral("searchField")));
    typeText(QStringLiteral("img"));
    QTRY_VERIFY(search()->isActive());
    QTRY_VERIFY_WITH_TIMEOUT(!search()->isQuerying(), 15000);
    ResourceModel *flat = search()->shownSearch()->currentModel();
    storage::ResourceSearchInfo everywhere;
    everywhere.types = {CONTENT_PHOTO};
    everywhere.keyword = QStringLiteral("img");
    everywhere.count = 100000;
    const int total = int(m_account->storage()->resourceStorage()->infosBefore(everywhere).size());
    const int firstPage = flat->resourceCount();
    QVERIFY2(firstPage < total, qPrintable(QStringLiteral("%1 of %2").arg(firstPage).arg(total)));

    QQuickItem *hits = findItem(QStringLiteral("hits2"));
    QTRY_VERIFY_WITH_TIMEOUT((scrollDown(hits), flat->resourceCount() > firstPage), 20000);
    QTRY_VERIFY_WITH_TIMEOUT((scrollDown(hits), flat->resourceCount() == total), 20000);
    QCOMPARE(search()->resourceModel()->resourceCount(), total);
}

void TestGalleryUi::hitOpensTheViewerSteppingThroughTheHits()
{
    showChat(m_sample.photoChat, CONTENT_PHOTO);
    click(findItem(QStringLiteral("searchField")));
    typeText(QStringLiteral("img"));
    QTRY_VERIFY(search()->isActive());
    QTRY_VERIFY_WITH_TIMEOUT(!search()->isQuerying(), 15000);
    const QList<ResourceItem *> hits = itemsOf(search()->resourceModel());
    QList<QQuickItem *> tiles;
    QTRY_VERIFY((tiles = visibleTiles()).size() >= 3);
    const MessageKey opened = itemOf(tiles.at(1))->mediaKey();
    const auto at = std::find_if(hits.cbegin(), hits.cend(), [&opened](const ResourceItem *hit) {
        return hit->mediaKey() == opened;
    });
    QVERIFY(at != hits.cend());
    const int first = int(at - hits.cbegin());
    QVERIFY(first + 4 < hits.size());

    click(tiles.at(1));
    QQuickItem *viewer = findItem(QStringLiteral("previewOverlay"));
    QVERIFY(viewer->isVisible());
    QTRY_VERIFY(preview()->resourceItem());
    QVERIFY(preview()->isShowingSearch());
    QCOMPARE(preview()->resourceItem()->mediaKey(), opened);
    // Older hits one after the other, across the dated sections, then back.
    for (int i = first + 1; i <= first + 4; ++i) {
        QTest::keyClick(m_window, Qt::Key_Left);
        QTRY_COMPARE(preview()->resourceItem()->mediaKey(), hits.at(i)->mediaKey());
    }
    QTest::keyClick(m_window, Qt::Key_Right);
    QTRY_COMPARE(preview()->resourceItem()->mediaKey(), hits.at(first + 3)->mediaKey());
    QTest::keyClick(m_window, Qt::Key_Escape);
    QVERIFY(!viewer->isVisible());
}

// A right click on a tile offers the item's actions; a forward asks for the chat, where the copy
// then shows at the top.
void TestGalleryUi::contextMenuForwardsAnItemToAnotherChat()
{
    showChat(m_sample.photoChat, CONTENT_PHOTO);
    QList<QQuickItem *> tiles;
    QTRY_VERIFY((tiles = visibleTiles()).size() >= 3);
    ResourceItem *item = itemOf(tiles.at(2));
    const QString text = item->msgData()->text();
    const QString fileId = item->sourceFilePtr()->fileId();
    const QString target = m_sample.chatWithoutPhotos;

    click(tiles.at(2), Qt::RightButton);
    QQuickItem *forward = nullptr;
    QTRY_VERIFY((forward = findVisible(QStringLiteral("menuForward"))));
    for (const char *entry :
         {"menuOpen", "menuReveal", "menuSaveAs", "menuCloudDrive", "menuDelete"}) {
        QQuickItem *other = findVisible(QLatin1String(entry));
        QVERIFY2(other && other->isEnabled(), entry);
    }
    screenshot(QStringLiteral("context-menu"));
    click(forward);
    QTRY_VERIFY(findVisible(QStringLiteral("pickerChat")));
    screenshot(QStringLiteral("chat-picker"));
    QSignalSpy forwarded(m_account.get(), &GalleryAccount::messagesForwarded);
    pickChat(target);
    QCOMPARE(forwarded.count(), 1);
    QCOMPARE(forwarded.at(0).at(0).toString(), target);

    showChat(target, CONTENT_PHOTO);
    QTRY_VERIFY((tiles = visibleTiles()).size() >= 1);
    ResourceItem *copy = itemOf(tiles.at(0));
    QCOMPARE(copy->dialogId(), target);
    QCOMPARE(copy->msgData()->text(), text);
    QCOMPARE(copy->sourceFilePtr()->fileId(), fileId);
    QCOMPARE(copy->msgData()->senderId(), m_account->userId());
}

// The viewer's menu deletes the item shown; what the user sent can go for everyone, and the
// viewer goes on with the next older item.
void TestGalleryUi::viewerDeletesItsItemForEveryone()
{
    showChat(m_sample.photoChat, CONTENT_PHOTO);
    QList<QQuickItem *> tiles;
    QTRY_VERIFY((tiles = visibleTiles()).size() >= 3);
    const qint64 self = m_account->userId();
    const auto mine = std::find_if(tiles.cbegin(), tiles.cend(), [self](const QQuickItem *tile) {
        const ResourceItem *item = itemOf(tile);
        return item->msgData()->senderId() == self && !item->msgData()->isChildMsg();
    });
    QVERIFY(mine != tiles.cend());
    const MessageKey key = itemOf(*mine)->mediaKey();
    click(*mine);
    QTRY_VERIFY(preview()->resourceItem());
    QCOMPARE(preview()->resourceItem()->mediaKey(), key);

    click(findItem(QStringLiteral("previewMenu")));
    QQuickItem *entry = nullptr;
    QTRY_VERIFY((entry = findVisible(QStringLiteral("menuDelete"))));
    click(entry);
    QQuickItem *sender = nullptr;
    QTRY_VERIFY((sender = findVisible(QStringLiteral("deleteSender"))));
    QVERIFY(sender->property("text").toString().startsWith(QLatin1String("Sent by You")));
    QQuickItem *forEveryone = findVisible(QStringLiteral("deleteForEveryone"));
    QVERIFY(forEveryone);
    click(forEveryone);
    QVERIFY(forEveryone->property("checked").toBool());
    QSignalSpy deleted(m_account.get(), &GalleryAccount::messagesDeleted);
    click(findVisible(QStringLiteral("deleteConfirm")));
    QCOMPARE(deleted.count(), 1);
    QCOMPARE(deleted.at(0).at(2).toBool(), true);
    QTRY_VERIFY(preview()->resourceItem() && preview()->resourceItem()->mediaKey() != key);
    QVERIFY(findItem(QStringLiteral("previewOverlay"))->isVisible());
    QVERIFY(m_account->storage()
                    ->messageStorage()
                    ->message(m_sample.photoChat, key)
                    .dialogId.isEmpty());
    ServerHistory server(QDir(m_dir.path()).filePath(QStringLiteral("server.db")));
    QVERIFY(server.messages()->message(m_sample.photoChat, key).dialogId.isEmpty());
    QTest::keyClick(m_window, Qt::Key_Escape);
}

// The folder dialog is the system's; its answer is given to it here as a user's choice would.
void TestGalleryUi::contextMenuSavesAFileIntoAFolder()
{
    showChat(m_sample.fileChat, CONTENT_FILE);
    QQuickItem *row = nullptr;
    QTRY_VERIFY((row = findVisible(QStringLiteral("fileRow"))));
    ResourceItem *item = itemOf(row);
    const QString name = m_controller->files()->fileName(item);
    const QByteArray bytes = contentsOf(QUrl(item->sourceFilePtr()->url()).toLocalFile());
    chooseFromMenu(row, QStringLiteral("menuSaveAs"));
    QObject *dialog = m_window->findChild<QObject *>(QStringLiteral("saveFolderDialog"));
    QVERIFY(dialog);
    QTemporaryDir folder;
    QTRY_VERIFY(dialog->property("visible").toBool());
    // Its answer, without the dialog's own buttons: accept() would take the folder it browses.
    QVERIFY(dialog->setProperty("selectedFolder", QUrl::fromLocalFile(folder.path())));
    QVERIFY(QMetaObject::invokeMethod(dialog, "accepted"));
    QVERIFY(QMetaObject::invokeMethod(dialog, "close"));
    const QString saved = QDir(folder.path()).filePath(name);
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(saved), 15000);
    QTRY_COMPARE(contentsOf(saved), bytes);
    QTRY_COMPARE(findItem(QStringLiteral("toast"))->property("text").toString(),
                 QStringLiteral("Saved as %1").arg(saved));
}

void TestGalleryUi::contextMenuCopiesAFileToTheCloudDrive()
{
    showChat(m_sample.fileChat, CONTENT_FILE);
    MediaFiles *files = m_controller->files();
    QQuickItem *row = nullptr;
    QTRY_VERIFY((row = fileRowNotDownloaded()));
    ResourceItem *item = itemOf(row);
    const QString name = files->fileName(item);
    const QByteArray bytes = contentsOf(QUrl(item->sourceFilePtr()->url()).toLocalFile());
    const QDir cloudDrive(m_account->cloudDriveFolder());
    const int before = int(cloudDrive.entryList(QDir::Files).size());
    chooseFromMenu(row, QStringLiteral("menuCloudDrive"));
    QTRY_VERIFY_WITH_TIMEOUT(cloudDrive.entryList(QDir::Files).size() == before + 1, 15000);
    const QString copy = cloudDrive.filePath(name);
    QTRY_COMPARE(contentsOf(copy), bytes);
    QTRY_COMPARE(findItem(QStringLiteral("toast"))->property("text").toString(),
                 QStringLiteral("Copied to the cloud drive: %1").arg(copy));
}

// Nothing starts on the test machine: the requests to the desktop are taken here.
void TestGalleryUi::linksAndFilesOpenThroughTheDesktop()
{
    DesktopRequests desktop({QStringLiteral("https"), QStringLiteral("file")});
    showChat(m_sample.photoChat, CONTENT_TEXT);
    QQuickItem *link = nullptr;
    QTRY_VERIFY((link = findVisible(QStringLiteral("linkRow"))));
    const QUrl address(link->property("link").toString());
    QCOMPARE(address.scheme(), QStringLiteral("https"));
    click(link);
    QTRY_COMPARE(desktop.urls().size(), 1);
    QCOMPARE(desktop.urls().constFirst(), address);

    // A file not downloaded yet opens once it is.
    showChat(m_sample.fileChat, CONTENT_FILE);
    MediaFiles *files = m_controller->files();
    QQuickItem *row = nullptr;
    QTRY_VERIFY((row = fileRowNotDownloaded()));
    const QString fileId = files->fileId(itemOf(row));
    click(row);
    QTRY_COMPARE_WITH_TIMEOUT(desktop.urls().size(), 2, 15000);
    const QString path = files->downloadedPath(fileId);
    QVERIFY(!path.isEmpty());
    QCOMPARE(desktop.urls().at(1), QUrl::fromLocalFile(path));
    QCOMPARE(row->property("progress").toReal(), -1.0);

    chooseFromMenu(row, QStringLiteral("menuReveal"));
    QTRY_COMPARE(desktop.urls().size(), 3);
    QCOMPARE(desktop.urls().at(2), QUrl::fromLocalFile(QFileInfo(path).absolutePath()));
}

void TestGalleryUi::filesTabListsDocuments()
{
    m_controller->setCurrentChatId(m_sample.fileChat);
    showTab(6);
    QTRY_VERIFY_WITH_TIMEOUT(m_window->property("pageReady").toBool(), 20000);
    screenshot(QStringLiteral("files"));
}

void TestGalleryUi::musicRowPlaysInThePlayerBar()
{
    m_controller->setCurrentChatId(m_sample.musicChat);
    showTab(4);
    QTRY_VERIFY_WITH_TIMEOUT(m_window->property("pageReady").toBool(), 20000);
    QQuickItem *play = nullptr;
    QTRY_VERIFY((play = findItem(QStringLiteral("playButton"))) && play->isVisible());
    // The row shows the song's tags: one of the sample's titles, and its artist.
    QQuickItem *title = findItem(QStringLiteral("musicTitle"));
    QQuickItem *details = findItem(QStringLiteral("musicDetails"));
    QVERIFY(title && details);
    const QString shownTitle = title->property("text").toString();
    const QList<EncodedMedia::Track> &tracks = EncodedMedia::tracks();
    const auto track =
            std::find_if(tracks.cbegin(), tracks.cend(),
                         [&](const EncodedMedia::Track &t) { return t.title == shownTitle; });
    QVERIFY2(track != tracks.cend(), qPrintable(shownTitle));
    QVERIFY(details->property("text").toString().startsWith(track->artist));
    click(play);
    QTRY_COMPARE(m_audio->plays().size(), 1);
    m_audio->send(AudioEvents::Duration, {{QStringLiteral("Duration"), 184000}});
    m_audio->send(AudioEvents::Playing);
    m_audio->send(AudioEvents::Progress, {{QStringLiteral("PlayTime"), 61000}});
    QQuickItem *bar = findItem(QStringLiteral("playerBar"));
    QTRY_VERIFY(bar && bar->isVisible());
    QTRY_COMPARE(MediaPlayer::instance()->playState(), 1);
    screenshot(QStringLiteral("player"));
    MediaPlayer::instance()->stop();
    QTRY_VERIFY(!bar->isVisible());
}

// A video plays in the viewer: its pictures reach the output and are painted in this headless
// window, the space bar pauses, the arrows and a click on the bar seek, and closing stops it.
void TestGalleryUi::videoPlaysInTheViewer()
{
    m_controller->setCurrentChatId(m_sample.videoChat);
    showTab(2);
    QTRY_VERIFY_WITH_TIMEOUT(m_window->property("pageReady").toBool(), 20000);
    // Items forwarded to the chat by the cases before may have pushed the video down a little.
    QQuickItem *tile = nullptr;
    QTRY_VERIFY((tile = findVisible([](QQuickItem *item) {
                     return item->objectName() == QLatin1String("photoTile")
                             && itemOf(item)->type() == CONTENT_VIDEO;
                 })));
    QTest::mouseClick(m_window, Qt::LeftButton, {}, centreOf(tile));
    QTRY_VERIFY(preview()->resourceItem());
    QCOMPARE(preview()->resourceItem()->mediaKey(), itemOf(tile)->mediaKey());

    VideoPlayback *video = m_controller->video();
    QQuickItem *output = findItem(QStringLiteral("videoOutput"));
    QVERIFY(output);
    auto *sink = output->property("videoSink").value<QVideoSink *>();
    QVERIFY(sink);
    // Counted on this thread: the player's own thread hands the sink its frames, and the empty
    // one it ends with may come after this case is over, when a spy would be gone.
    int frames = 0;
    QObject frameCounter;
    connect(
            sink, &QVideoSink::videoFrameChanged, &frameCounter, [&frames] { ++frames; },
            Qt::QueuedConnection);
    QQuickItem *play = findItem(QStringLiteral("videoPlay"));
    QTRY_VERIFY(play && play->isVisible());
    QTest::mouseClick(m_window, Qt::LeftButton, {}, centreOf(play));
    QTRY_VERIFY(video->isPlaying());
    QTRY_VERIFY_WITH_TIMEOUT(video->position() > 700, 15000);
    QTRY_VERIFY(frames > 5);
    QQuickItem *painted = findItem(QStringLiteral("videoFrames"));
    QVERIFY(painted && painted->isVisible());
    QVERIFY(painted->property("frameCount").toInt() > 0);
    QVERIFY(findItem(QStringLiteral("videoBar"))->isVisible());
    QVERIFY(!play->isVisible());
    screenshot(QStringLiteral("video"));

    QTest::keyClick(m_window, Qt::Key_Space);
    QTRY_VERIFY(!video->isPlaying());
    // The player confirms each seek with a position of its own, which may lag a step behind.
    const qint64 duration = video->duration();
    const qint64 ahead = qMin(video->position() + 5000, duration);
    QTest::keyClick(m_window, Qt::Key_Right);
    QTRY_VERIFY(qAbs(video->position() - ahead) < 100);
    QTest::keyClick(m_window, Qt::Key_Left);
    QTRY_VERIFY(qAbs(video->position() - qMax<qint64>(0, ahead - 5000)) < 100);
    QQuickItem *track = findItem(QStringLiteral("videoTrack"));
    QTest::mouseClick(m_window, Qt::LeftButton, {}, centreOf(track));
    QTRY_VERIFY(qAbs(video->position() - duration / 2) < duration / 20);
    QVERIFY(!video->isPlaying());
    QCOMPARE(preview()->resourceItem()->mediaKey(), itemOf(tile)->mediaKey());

    QTest::keyClick(m_window, Qt::Key_Escape);
    QCOMPARE(video->item(), nullptr);
    QVERIFY(!video->isPlaying());
}

void TestGalleryUi::storageScreenMeasuresEveryChat()
{
    showSection(1);
    MediaStorageModel *storage = m_hub->mediaStorageModel();
    QVERIFY(!storage->atQuery());
    QVERIFY(storage->totalSize() > 0);
    QVERIFY(storage->dialogIds().contains(m_sample.photoChat));
    QQuickItem *chats = findItem(QStringLiteral("storageChatList"));
    QVERIFY(chats);
    QTRY_COMPARE(chats->property("count").toInt(), int(storage->dialogIds().size()));
    screenshot(QStringLiteral("storage"));
    // The largest chat's items open beside the list.
    QQuickItem *largest = findItem(QStringLiteral("storageChatRow"));
    QVERIFY(largest);
    QTest::mouseClick(m_window, Qt::LeftButton, {}, centreOf(largest));
    MediaStorageViewModel *items = storage->mediaViewModel(storage->dialogIds().constFirst());
    QTRY_VERIFY(items->rowCount() > 0);
    screenshot(QStringLiteral("storage-chat"));
}

void TestGalleryUi::keepMediaSettingsShowDefaultsAndExceptions()
{
    MediaKeepSetting *keep = m_hub->mediaKeepSetting();
    keep->setPrivateKeepTime(MediaKeepSetting::ONE_WEEK);
    // Two private chats keep their media for a time of their own.
    int exceptions = 0;
    for (const QSharedPointer<DialogBase> &dialog : m_account->dialogs()) {
        if (!dialog->isGroup() && exceptions < 2) {
            keep->add(dialog->dialogId(),
                      exceptions++ == 0 ? MediaKeepSetting::ONE_DAY : MediaKeepSetting::ONE_MONTH);
        }
    }
    QCOMPARE(exceptions, 2);
    QTest::mouseClick(m_window, Qt::LeftButton, {},
                      centreOf(findItem(QStringLiteral("keepMediaButton"))));
    QQuickItem *choice = nullptr;
    QTRY_VERIFY((choice = findItem(QStringLiteral("privateKeepChoice"))) && choice->isVisible());
    QTRY_COMPARE(choice->property("currentText").toString(), QStringLiteral("1 week"));
    screenshot(QStringLiteral("keep-media"));
    QTest::keyClick(m_window, Qt::Key_Escape);
    QTRY_VERIFY(!choice->isVisible());
}

void TestGalleryUi::downloadScreenFetchesChosenChats()
{
    showSection(2);
    MediaSync *sync = m_hub->mediaSync();
    QVERIFY(sync->syncChats()->count() > 0);
    QTest::mouseClick(m_window, Qt::LeftButton, {},
                      centreOf(findItem(QStringLiteral("selectAllChats"))));
    QTRY_COMPARE(sync->selectChats()->count(), sync->syncChats()->count());
    QVERIFY(sync->selectChats()->totalSize() > 0);
    screenshot(QStringLiteral("download"));

    QTest::mouseClick(m_window, Qt::LeftButton, {},
                      centreOf(findItem(QStringLiteral("syncStart"))));
    QTRY_COMPARE_WITH_TIMEOUT(sync->syncState(), int(MediaSync::SYNC_FINISHED), 60000);
    QCOMPARE(sync->progress(), 1.0);
    QCOMPARE(sync->remainingSize(), 0);
}

QTEST_MAIN(TestGalleryUi)
#include "tst_galleryui.moc"
