#include "accountmanager.h"
#include "audioevents.h"
#include "audiotestsupport.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "encodedmedia.h"
#include "galleryaccount.h"
#include "gallerycontroller.h"
#include "gallerysample.h"
#include "gallerywindow.h"
#include "hubteardown.h"
#include "mediacalender.h"
#include "mediachatmodel.h"
#include "mediachatselectmodel.h"
#include "mediakeepsetting.h"
#include "mediamgr.h"
#include "mediaplayer.h"
#include "mediapreview.h"
#include "mediaselector.h"
#include "mediastoragemodel.h"
#include "mediastorageviewmodel.h"
#include "mediasync.h"
#include "resourceitem.h"
#include "sampleaccount.h"
#include "soundserverfixture.h"
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
    void viewerStepsBetweenItems();
    void calendarMarksDaysAndOpensOne();
    void dragTicksTilesAndForwardSendsThem();
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
    QQuickItem *findButton(const QString &text) const;
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
    // A notice of an earlier step would cover part of the screen.
    QQuickItem *toast = findItem(QStringLiteral("toast"));
    QTRY_VERIFY_WITH_TIMEOUT(toast && !toast->isVisible(), 5000);
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
    QTRY_VERIFY([&] {
        for (QQuickItem *cell : visualDescendants(m_window->contentItem())) {
            if (cell->property("media").value<ResourceItem *>() == dayItem
                && cell->property("inMonth").toBool() && cell->isVisible()) {
                marked = cell;
            }
        }
        return marked != nullptr;
    }());
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
    QTest::mouseClick(m_window, Qt::LeftButton, {}, centreOf(play));
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
    QList<QQuickItem *> tiles;
    QTRY_VERIFY((tiles = visibleTiles()).size() > m_sample.videoPosition);
    QQuickItem *tile = tiles.at(m_sample.videoPosition);
    QCOMPARE(itemOf(tile)->type(), int(CONTENT_VIDEO));
    QTest::mouseClick(m_window, Qt::LeftButton, {}, centreOf(tile));
    QTRY_VERIFY(preview()->resourceItem());
    QCOMPARE(preview()->resourceItem()->mediaKey(), itemOf(tile)->mediaKey());

    VideoPlayback *video = m_controller->video();
    QQuickItem *output = findItem(QStringLiteral("videoOutput"));
    QVERIFY(output);
    auto *sink = output->property("videoSink").value<QVideoSink *>();
    QVERIFY(sink);
    QSignalSpy frames(sink, &QVideoSink::videoFrameChanged);
    QQuickItem *play = findItem(QStringLiteral("videoPlay"));
    QTRY_VERIFY(play && play->isVisible());
    QTest::mouseClick(m_window, Qt::LeftButton, {}, centreOf(play));
    QTRY_VERIFY(video->isPlaying());
    QTRY_VERIFY_WITH_TIMEOUT(video->position() > 700, 15000);
    QVERIFY(frames.count() > 5);
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
