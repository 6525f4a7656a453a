#include "accountbase.h"
#include "dialogbase.h"
#include "gallerylisting.h"
#include "hubteardown.h"
#include "mediactlrun.h"
#include "mediamgr.h"
#include "sampleaccount.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr auto PhotoChat = "g3003";

QString keyOf(const GalleryListing::Item &item)
{
    return QStringLiteral("%1/%2.%3").arg(item.dialogId).arg(item.messageId).arg(item.subMsgId);
}

QList<GalleryListing::Item> allItems(const GalleryListing::Listing &listing)
{
    QList<GalleryListing::Item> items = listing.items;
    for (const GalleryListing::Section &section : listing.sections) {
        items += section.items;
    }
    return items;
}

} // namespace

// A chat's lists and search hits read out of the gallery's own models, as `mediactl ls` and
// `mediactl search` print them.
class TestGalleryListing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void pagesGrowWithoutRepeats_data();
    void pagesGrowWithoutRepeats();
    void photosComeInDatedSections();
    void unknownChatOrType();
    void searchByKeywordAndSender();
    void jsonShapeFromTheTool_data();
    void jsonShapeFromTheTool();
    void summaryNamesChatIds();
    void chatByIdOrExactName_data();
    void chatByIdOrExactName();
    void searchWithoutTypeCoversEveryList();

private:
    GalleryListing::Listing list(const QString &chat, int type, int pages);

    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
    MediaMgr *m_hub = nullptr; // child of the account
};

void TestGalleryListing::initTestCase()
{
    QVERIFY(m_dir.isValid());
    SampleAccount::Options options;
    options.mediaCount = 4000;
    QVERIFY(SampleAccount::create(m_dir.path(), options, nullptr));
    m_account = std::make_unique<AccountBase>(SampleAccount::UserId, m_dir.path());
    QVERIFY(m_account->isValid());
    m_hub = new MediaMgr(m_account.get());
}

// Pages still on their way hold messages, whose deletion is posted: both drain before the
// application goes.
void TestGalleryListing::cleanupTestCase()
{
    closeHub(m_hub);
}

GalleryListing::Listing TestGalleryListing::list(const QString &chat, int type, int pages)
{
    m_hub->releaseResourceMgr(chat);
    GalleryListing::Listing listing;
    QString error;
    if (!GalleryListing::listChat(*m_hub, chat, type, pages, &listing, &error)) {
        qWarning() << error;
    }
    return listing;
}

void TestGalleryListing::pagesGrowWithoutRepeats_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("grows");
    QTest::newRow("photos and videos: more than a first page") << 2 << true;
    QTest::newRow("files: all on the first page") << 6 << false;
    QTest::newRow("links: all on the first page") << 1 << false;
}

void TestGalleryListing::pagesGrowWithoutRepeats()
{
    QFETCH(int, type);
    QFETCH(bool, grows);
    const QList<GalleryListing::Item> one = allItems(list(PhotoChat, type, 1));
    const QList<GalleryListing::Item> three = allItems(list(PhotoChat, type, 3));
    QVERIFY(!one.isEmpty());
    QCOMPARE(three.size() > one.size(), grows);
    QSet<QString> keys;
    qint64 previous = std::numeric_limits<qint64>::max();
    for (int i = 0; i < three.size(); ++i) {
        QVERIFY2(!keys.contains(keyOf(three[i])), qPrintable(keyOf(three[i])));
        keys.insert(keyOf(three[i]));
        QVERIFY(three[i].dateTime <= previous);
        previous = three[i].dateTime;
        if (i < one.size()) {
            QCOMPARE(keyOf(three[i]), keyOf(one[i]));
        }
        QVERIFY(!three[i].fileName.isEmpty());
    }
}

void TestGalleryListing::photosComeInDatedSections()
{
    const GalleryListing::Listing listing = list(PhotoChat, 2, 2);
    QVERIFY(listing.sectioned);
    QVERIFY(listing.sections.size() > 1);
    QSet<int> types;
    for (int i = 0; i < listing.sections.size(); ++i) {
        const GalleryListing::Section &section = listing.sections[i];
        if (i > 0) {
            QVERIFY(section.date < listing.sections[i - 1].date);
        }
        for (const GalleryListing::Item &item : section.items) {
            QVERIFY(item.dateTime >= section.date);
            types.insert(item.type);
        }
    }
    QCOMPARE(types, (QSet<int> {2, 5}));
}

void TestGalleryListing::unknownChatOrType()
{
    GalleryListing::Listing listing;
    QString error;
    QVERIFY(!GalleryListing::listChat(*m_hub, "nobody", 2, 1, &listing, &error));
    QVERIFY(error.contains("nobody"));
    QVERIFY(!GalleryListing::listChat(*m_hub, PhotoChat, 5, 1, &listing, &error));
}

void TestGalleryListing::searchByKeywordAndSender()
{
    const QList<GalleryListing::Item> everything = allItems(list(PhotoChat, 6, 1000));
    QVERIFY(!everything.isEmpty());
    const QString word = everything.first().fileName.section(QLatin1Char('.'), 0, 0);
    GalleryListing::SearchOptions options;
    options.keyword = word;
    options.type = 6;
    GalleryListing::Listing hits;
    QString error;
    QVERIFY(GalleryListing::searchChat(*m_hub, PhotoChat, options, 1000, &hits, &error));
    QVERIFY(!hits.items.isEmpty());
    for (const GalleryListing::Item &item : hits.items) {
        QVERIFY2(item.fileName.contains(word, Qt::CaseInsensitive), qPrintable(item.fileName));
    }
    options.senderId = 1; // nobody in the sample
    QVERIFY(GalleryListing::searchChat(*m_hub, PhotoChat, options, 1000, &hits, &error));
    QVERIFY(hits.items.isEmpty());
}

void TestGalleryListing::jsonShapeFromTheTool_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("sectioned");
    QTest::newRow("ls photos") << QStringList {"ls", m_dir.path(), PhotoChat, "--json"} << true;
    QTest::newRow("ls files, two pages")
            << QStringList {"ls", m_dir.path(), PhotoChat, "--type", "6", "--pages", "2", "--json"}
            << false;
    QTest::newRow("global search") << QStringList {"search", m_dir.path(), PhotoChat,  "a",
                                                   "--type", "6",          "--global", "--json"}
                                   << false;
}

void TestGalleryListing::jsonShapeFromTheTool()
{
    QFETCH(QStringList, arguments);
    QFETCH(bool, sectioned);
    QProcess tool;
    tool.start(QStringLiteral(MEDIACTL_PATH), arguments);
    QVERIFY(tool.waitForFinished(60000));
    QCOMPARE(tool.exitCode(), 0);
    QJsonParseError error;
    const QJsonObject object =
            QJsonDocument::fromJson(tool.readAllStandardOutput(), &error).object();
    QCOMPARE(error.error, QJsonParseError::NoError);
    QVERIFY(object.contains("type"));
    QJsonArray items = object.value("items").toArray();
    QCOMPARE(object.contains("sections"), sectioned);
    if (sectioned) {
        const QJsonObject section = object.value("sections").toArray().first().toObject();
        QVERIFY(section.value("date").toDouble() > 0);
        items = section.value("items").toArray();
    }
    QVERIFY(!items.isEmpty());
    const QStringList keys {"dateTime", "dialogId", "fileName", "messageId", "subMsgId", "type"};
    QCOMPARE(items.first().toObject().keys(), keys);
}

// The id that ls, search and sync take stands beside each chat's name.
void TestGalleryListing::summaryNamesChatIds()
{
    const MediactlRun run = runMediactl({"summary", m_dir.path()});
    QCOMPARE(run.exitCode, 0);
    for (const QSharedPointer<DialogBase> &dialog : m_account->dialogs()) {
        const QRegularExpression row(QStringLiteral("^%1 +%2 ")
                                             .arg(QRegularExpression::escape(dialog->dialogId()),
                                                  QRegularExpression::escape(dialog->name())),
                                     QRegularExpression::MultilineOption);
        QVERIFY2(row.match(run.out).hasMatch(), qPrintable(run.out));
    }
}

void TestGalleryListing::chatByIdOrExactName_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("ls") << "ls";
    QTest::newRow("search") << "search";
}

void TestGalleryListing::chatByIdOrExactName()
{
    QFETCH(QString, command);
    const QString name = m_account->dialog(PhotoChat)->name();
    QStringList arguments {command, m_dir.path(), PhotoChat};
    if (command == "search") {
        arguments << "a";
    }
    arguments << "--type"
              << "6"
              << "--json";
    const MediactlRun byId = runMediactl(arguments);
    QCOMPARE(byId.exitCode, 0);
    arguments[2] = name;
    const MediactlRun byName = runMediactl(arguments);
    QVERIFY2(byName.exitCode == 0, qPrintable(byName.err));
    QCOMPARE(byName.out, byId.out);
    arguments[2] = name.toLower();
    const MediactlRun notExact = runMediactl(arguments);
    QCOMPARE(notExact.exitCode, 1);
    QVERIFY2(notExact.err.contains(name.toLower()), qPrintable(notExact.err));
}

// Without a type a search looks through every list of the chat, and the hits come grouped by
// list: the files that match are found.
void TestGalleryListing::searchWithoutTypeCoversEveryList()
{
    const QList<GalleryListing::Item> files = allItems(list(PhotoChat, 6, 1000));
    QVERIFY(!files.isEmpty());
    const QString word = files.first().fileName.section(QLatin1Char('.'), 0, 0);

    const MediactlRun json = runMediactl({"search", m_dir.path(), PhotoChat, word, "--json"});
    QCOMPARE(json.exitCode, 0);
    const QJsonArray lists = QJsonDocument::fromJson(json.out.toUtf8()).object()["lists"].toArray();
    QList<int> types;
    int fileHits = 0;
    for (const QJsonValue &each : lists) {
        types.append(each["type"].toInt());
        if (each["type"].toInt() == 6) {
            fileHits = int(each["items"].toArray().size());
        }
    }
    QCOMPARE(types, (QList<int> {2, 6, 1, 4, 3}));
    QVERIFY(fileHits > 0);

    const MediactlRun table = runMediactl({"search", m_dir.path(), PhotoChat, word});
    QCOMPARE(table.exitCode, 0);
    QVERIFY2(table.out.contains(QStringLiteral("files: %1 items\n").arg(fileHits)),
             qPrintable(table.out));
    QVERIFY2(table.out.contains(files.first().fileName), qPrintable(table.out));
}

// The sample account's documents are drawn with fonts, which take a GUI application.
QTEST_MAIN(TestGalleryListing)
#include "tst_gallerylisting.moc"
