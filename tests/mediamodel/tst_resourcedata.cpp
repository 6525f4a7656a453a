#include "accountbase.h"
#include "dialogmessagekey.h"
#include "fileitem.h"
#include "jsonutil.h"
#include "mediatestsupport.h"
#include "messagebase.h"
#include "resourcedata.h"

#include <QSet>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

using namespace MediaTest;

Q_DECLARE_METATYPE(ResourceData)
Q_DECLARE_METATYPE(im::Message)

namespace {

ResourceData record(const QString &fileId, const QString &thumbId, const QString &livePhotoId)
{
    ResourceData data;
    data.fileName = "holiday.jpg";
    data.fileId = fileId;
    data.suffix = "jpg";
    data.size = (qint64(1) << 40) + 7; // beyond 32 bits, so that 64-bit sizes must survive
    data.thumbId = thumbId;
    data.thumbSuffix = "png";
    data.thumbSize = 2048;
    data.livePhotoId = livePhotoId;
    data.livePhotoSuffix = "mov";
    data.livePhotoSize = 3 * 1024 * 1024;
    return data;
}

QStringList sortedKeys(const QVariantMap &map)
{
    QStringList keys = map.keys();
    keys.sort();
    return keys;
}

} // namespace

// The JSON record of a resource's files in the file-reference rows, and the key of a message of
// a dialog.
class TestResourceData : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void writtenKeys_data();
    void writtenKeys();
    void roundTrip_data();
    void roundTrip();
    void recordWithoutFileIdLeavesOutputUntouched();
    void emptyInputChangesNothing();
    void badJsonGivesAnEmptyRecord();
    void partsWithoutIdAreNotRead();
    void keysInAnyOrder();
    void fromFileContent_data();
    void fromFileContent();
    void dialogMessageKey();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
};

void TestResourceData::initTestCase()
{
    m_account = std::make_unique<AccountBase>(42, m_dir.filePath("account"));
    QVERIFY(m_account->isValid());
}

void TestResourceData::writtenKeys_data()
{
    QTest::addColumn<ResourceData>("data");
    QTest::addColumn<QStringList>("keys");
    const QStringList source {"fileId", "fileName", "size", "suffix"};
    const QStringList thumb {"thumbId", "thumbSize", "thumbSuffix"};
    const QStringList live {"livePhotoId", "livePhotoSize", "livePhotoSuffix"};
    const auto sorted = [](QStringList keys) {
        keys.sort();
        return keys;
    };

    QTest::newRow("source file only") << record("f1", "", "") << source;
    QTest::newRow("with a thumbnail") << record("f1", "t1", "") << sorted(source + thumb);
    QTest::newRow("live photo without thumbnail: live keys only")
            << record("f1", "", "v1") << sorted(source + live);
    QTest::newRow("thumbnail and live photo")
            << record("f1", "t1", "v1") << sorted(source + thumb + live);
}

void TestResourceData::writtenKeys()
{
    QFETCH(ResourceData, data);
    QByteArray json;
    data.serialize(json);
    QTEST(sortedKeys(jsonToMap(json)), "keys");
}

void TestResourceData::roundTrip_data()
{
    writtenKeys_data();
}

void TestResourceData::roundTrip()
{
    QFETCH(ResourceData, data);
    QByteArray json;
    data.serialize(json);
    ResourceData read;
    read.deserialize(json);

    QCOMPARE(read.fileId, data.fileId);
    QCOMPARE(read.fileName, data.fileName);
    QCOMPARE(read.suffix, data.suffix);
    QCOMPARE(read.size, data.size);
    QCOMPARE(read.thumbId, data.thumbId);
    QCOMPARE(read.thumbSuffix, data.thumbId.isEmpty() ? QString() : data.thumbSuffix);
    QCOMPARE(read.thumbSize, data.thumbId.isEmpty() ? 0 : data.thumbSize);
    QCOMPARE(read.livePhotoId, data.livePhotoId);
    QCOMPARE(read.livePhotoSuffix, data.livePhotoId.isEmpty() ? QString() : data.livePhotoSuffix);
    QCOMPARE(read.livePhotoSize, data.livePhotoId.isEmpty() ? 0 : data.livePhotoSize);
}

void TestResourceData::recordWithoutFileIdLeavesOutputUntouched()
{
    const ResourceData data = record("", "t1", "v1");
    QByteArray json = "previous";
    data.serialize(json);
    QCOMPARE(json, QByteArray("previous"));
}

void TestResourceData::emptyInputChangesNothing()
{
    ResourceData data = record("f1", "t1", "v1");
    data.deserialize(QByteArray());
    QCOMPARE(data.fileId, QString("f1"));
    QCOMPARE(data.thumbId, QString("t1"));
    QCOMPARE(data.livePhotoSize, qint64(3 * 1024 * 1024));
}

void TestResourceData::badJsonGivesAnEmptyRecord()
{
    ResourceData data;
    data.deserialize("{not json");
    QVERIFY(data.fileId.isEmpty());
    QVERIFY(data.fileName.isEmpty());
    QCOMPARE(data.size, qint64(0));
}

void TestResourceData::partsWithoutIdAreNotRead()
{
    ResourceData data;
    data.deserialize(R"({"fileId":"f1","size":10,"thumbSuffix":"png","thumbSize":5,)"
                     R"("livePhotoSuffix":"mov","livePhotoSize":9})");
    QCOMPARE(data.fileId, QString("f1"));
    QCOMPARE(data.size, qint64(10));
    QVERIFY(data.fileName.isEmpty());
    QVERIFY(data.thumbSuffix.isEmpty());
    QCOMPARE(data.thumbSize, qint64(0));
    QVERIFY(data.livePhotoSuffix.isEmpty());
    QCOMPARE(data.livePhotoSize, qint64(0));
}

void TestResourceData::keysInAnyOrder()
{
    ResourceData data;
    data.deserialize(R"({"thumbSize":5,"size":10,"thumbId":"t1","suffix":"mp4",)"
                     R"("fileName":"clip.mp4","thumbSuffix":"jpg","fileId":"f1"})");
    QCOMPARE(data.fileId, QString("f1"));
    QCOMPARE(data.fileName, QString("clip.mp4"));
    QCOMPARE(data.suffix, QString("mp4"));
    QCOMPARE(data.thumbId, QString("t1"));
    QCOMPARE(data.thumbSuffix, QString("jpg"));
    QCOMPARE(data.thumbSize, qint64(5));
}

void TestResourceData::fromFileContent_data()
{
    QTest::addColumn<im::Message>("proto");
    QTest::addColumn<QString>("thumbId");
    QTest::addColumn<QString>("livePhotoId");

    im::Message live = photoProto("u1", 1, 100);
    live.mutable_live_photo()->set_file_id("live1");
    live.mutable_live_photo()->set_suffix("mov");
    live.mutable_live_photo()->set_size(777);
    QTest::newRow("live photo with thumbnail") << live << "thumb1"
                                               << "live1";

    im::Message document = messageProto("u1", 2, 200, 6);
    document.mutable_file()->set_file_id("doc2");
    document.mutable_file()->set_suffix("pdf");
    document.mutable_file()->set_size(99);
    document.mutable_file()->set_name("report.pdf");
    QTest::newRow("file without thumbnail") << document << ""
                                            << "";

    im::Message video = live;
    video.set_msg_id(3);
    video.set_type(5);
    QTest::newRow("a video's live-photo record is not an image's: ignored") << video << "thumb1"
                                                                            << "";
}

void TestResourceData::fromFileContent()
{
    QFETCH(im::Message, proto);
    const QSharedPointer<MessageBase> message = makeMessage(proto, m_account->fileManager());
    const auto content = message->contentItem().dynamicCast<FileItem>();
    QVERIFY(content);

    ResourceData data;
    makeResourceData(content, data);
    QCOMPARE(data.fileName, QString::fromStdString(proto.file().name()));
    QCOMPARE(data.fileId, QString::fromStdString(proto.file().file_id()));
    QCOMPARE(data.suffix, QString::fromStdString(proto.file().suffix()));
    QCOMPARE(data.size, qint64(proto.file().size()));
    QTEST(data.thumbId, "thumbId");
    QCOMPARE(data.thumbSize, data.thumbId.isEmpty() ? 0 : qint64(proto.thumb().size()));
    QCOMPARE(data.thumbSuffix, data.thumbId.isEmpty() ? QString() : QString("png"));
    QTEST(data.livePhotoId, "livePhotoId");
    QCOMPARE(data.livePhotoSize, data.livePhotoId.isEmpty() ? 0 : qint64(777));
    QCOMPARE(data.livePhotoSuffix, data.livePhotoId.isEmpty() ? QString() : QString("mov"));
}

void TestResourceData::dialogMessageKey()
{
    const DialogMessageKey empty;
    QVERIFY(empty.dialogId.isEmpty());
    QCOMPARE(empty.key, MessageKey(0, 0));

    const DialogMessageKey a("u1", MessageKey(5, 0));
    const DialogMessageKey copy(a);
    QVERIFY(copy == a);
    QVERIFY(a != DialogMessageKey("U1", MessageKey(5, 0)));
    QVERIFY(a != DialogMessageKey("u1", MessageKey(5, 1)));
    const QSet<DialogMessageKey> kept {a, copy, DialogMessageKey("u2", MessageKey(5, 0))};
    QCOMPARE(kept.size(), 2);
}

QTEST_GUILESS_MAIN(TestResourceData)
#include "tst_resourcedata.moc"
