#include "contenttype.h"
#include "gallerysample.h"

#include <QImage>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QSize WindowSize(1100, 720);
// The section rail, the chat list and the gallery's header, search bar and tabs; the list area lies
// right of and below them.
constexpr int ListLeft = 400;
constexpr int ListTop = 170;
constexpr int Tile = 100;

int distinctColours(const QImage &image, const QRect &area)
{
    QSet<QRgb> colours;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            colours.insert(image.pixel(x, y));
        }
    }
    return int(colours.size());
}

// Tile-sized squares of the list area holding more colours than text and flat shapes give:
// the colour gradients of the sample pictures.
int picturedSquares(const QImage &image)
{
    constexpr int PictureColours = 400;
    int squares = 0;
    for (int y = ListTop; y + Tile <= image.height(); y += Tile) {
        for (int x = ListLeft; x + Tile <= image.width(); x += Tile) {
            if (distinctColours(image, QRect(x, y, Tile, Tile)) >= PictureColours) {
                ++squares;
            }
        }
    }
    return squares;
}

} // namespace

class TestGallery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void photoChatShowsThumbnails();
    void chatWithoutPhotosShowsEmptyState();
    void badRunFailsWithMessage_data();
    void badRunFailsWithMessage();

private:
    QString accountDir() const { return m_dir.filePath(QStringLiteral("account")); }
    // Runs the gallery until it quits; returns its exit code, or -1 when it crashed or hung.
    int runGallery(const QStringList &arguments, QByteArray *errors = nullptr);
    QImage screenshotOf(const QString &chatId);

    QTemporaryDir m_dir;
    GallerySample m_sample;
};

void TestGallery::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(m_sample.create(accountDir()));
    QVERIFY2(m_sample.photoChatMedia >= 8,
             qPrintable(QStringLiteral("%1 photos").arg(m_sample.photoChatMedia)));
}

int TestGallery::runGallery(const QStringList &arguments, QByteArray *errors)
{
    QProcess gallery;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    // Only read by sanitizer builds: Qt's own textures are not the gallery's leaks.
    environment.insert(QStringLiteral("LSAN_OPTIONS"),
                       QStringLiteral("suppressions=%1:fast_unwind_on_malloc=0")
                               .arg(QStringLiteral(GALLERY_LEAK_SUPPRESSIONS)));
    gallery.setProcessEnvironment(environment);
    gallery.start(
            QStringLiteral(GALLERY_EXECUTABLE),
            QStringList {QStringLiteral("--account"), accountDir(), QStringLiteral("--size"),
                         QStringLiteral("%1x%2").arg(WindowSize.width()).arg(WindowSize.height())}
                    + arguments);
    // A bound for a hung process, not a measure: the gallery gives up by itself well before.
    const bool finished = gallery.waitForFinished(120000);
    const QByteArray output = gallery.readAllStandardError();
    if (errors) {
        *errors = output;
    }
    if (!finished || gallery.exitStatus() != QProcess::NormalExit) {
        qWarning().noquote() << "the gallery did not end normally:" << output;
        gallery.kill();
        gallery.waitForFinished();
        return -1;
    }
    if (gallery.exitCode() != 0) {
        qWarning().noquote() << output;
    }
    return gallery.exitCode();
}

QImage TestGallery::screenshotOf(const QString &chatId)
{
    const QString path = m_dir.filePath(chatId + QStringLiteral(".png"));
    const int exitCode =
            runGallery({QStringLiteral("--chat"), chatId, QStringLiteral("--tab"),
                        QString::number(CONTENT_PHOTO), QStringLiteral("--screenshot"), path});
    if (exitCode != 0) {
        return {};
    }
    return QImage(path);
}

void TestGallery::photoChatShowsThumbnails()
{
    const QImage shot = screenshotOf(m_sample.photoChat);
    QVERIFY(!shot.isNull());
    QCOMPARE(shot.size(), WindowSize);
    QVERIFY2(
            picturedSquares(shot) >= 12,
            qPrintable(QStringLiteral("only %1 squares show pictures").arg(picturedSquares(shot))));
}

void TestGallery::chatWithoutPhotosShowsEmptyState()
{
    const QImage shot = screenshotOf(m_sample.chatWithoutPhotos);
    QVERIFY(!shot.isNull());
    QCOMPARE(shot.size(), WindowSize);
    QCOMPARE(picturedSquares(shot), 0);
    // No grid where the first tiles would be, and the empty state's badge and text in the
    // middle of the list area.
    QCOMPARE(distinctColours(shot, QRect(ListLeft, ListTop, Tile, Tile)), 1);
    const QPoint middle((ListLeft + WindowSize.width()) / 2, (ListTop + WindowSize.height()) / 2);
    QVERIFY(distinctColours(shot, QRect(middle - QPoint(Tile, Tile), QSize(2 * Tile, 2 * Tile)))
            > 8);
}

void TestGallery::badRunFailsWithMessage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("logged");

    const QString unwritable = m_dir.filePath(QStringLiteral("missing/folder/shot.png"));
    QTest::newRow("unknown chat") << QStringList {QStringLiteral("--chat"),
                                                  QStringLiteral("nobody")}
                                  << 2 << QByteArray("nobody");
    QTest::newRow("unknown list type") << QStringList {QStringLiteral("--tab"), QStringLiteral("9")}
                                       << 2 << QByteArray("unknown list type");
    QTest::newRow("bad window size")
            << QStringList {QStringLiteral("--size"), QStringLiteral("wide")} << 2
            << QByteArray("bad window size");
    QTest::newRow("unwritable screenshot")
            << QStringList {QStringLiteral("--chat"), m_sample.photoChat,
                            QStringLiteral("--screenshot"), unwritable}
            << 1 << QByteArray("cannot write the screenshot");
}

void TestGallery::badRunFailsWithMessage()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, logged);

    const QString shot = m_dir.filePath(QStringLiteral("bad.png"));
    QByteArray errors;
    // Given first, so that a row's own screenshot path wins.
    QCOMPARE(runGallery(QStringList {QStringLiteral("--screenshot"), shot} + arguments, &errors),
             exitCode);
    QVERIFY2(errors.contains(logged), errors.constData());
    QVERIFY(!QFile::exists(shot));
}

// The sample account's documents are drawn with fonts, which take a GUI application.
QTEST_MAIN(TestGallery)
#include "tst_gallery.moc"
