#include "accountbase.h"
#include "accountsummary.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "encodedmedia.h"
#include "filedata.h"
#include "filemanager.h"
#include "filereferencestorage.h"
#include "filestorage.h"
#include "im.pb.h"
#include "messagestorage.h"
#include "musicitem.h"
#include "resourcestorage.h"
#include "sampleaccount.h"
#include "serverhistory.h"
#include "userstorageprovider.h"

#include <QDateTime>
#include <QDirIterator>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStringDecoder>
#include <QTemporaryDir>
#include <QTextStream>
#include <QUrl>
#include <QtTest>

namespace {

// Encoders round a file's length up to whole frames of their own (an MP3 frame holds 26 ms), so a
// player may report up to two frames more than the sender measured.
constexpr qint64 DurationSlackMs = 60;

// What ffprobe reads in a media file.
struct Probe
{
    QString format;
    QStringList codecs; // one per stream, in order
    int width = 0;      // of the video stream
    int height = 0;
    qint64 durationMs = 0;
    QString title;
    QString artist;
};

Probe probe(const QString &path)
{
    QProcess ffprobe;
    ffprobe.start(QStringLiteral("ffprobe"),
                  {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-print_format"),
                   QStringLiteral("json"), QStringLiteral("-show_format"),
                   QStringLiteral("-show_streams"), path});
    Probe result;
    if (!ffprobe.waitForFinished(30000) || ffprobe.exitCode() != 0) {
        qWarning() << "ffprobe failed on" << path << ffprobe.readAllStandardError();
        return result;
    }
    const QJsonObject root = QJsonDocument::fromJson(ffprobe.readAllStandardOutput()).object();
    const QJsonObject format = root.value(QStringLiteral("format")).toObject();
    result.format = format.value(QStringLiteral("format_name")).toString();
    result.durationMs =
            qRound64(format.value(QStringLiteral("duration")).toString().toDouble() * 1000);
    const QJsonObject tags = format.value(QStringLiteral("tags")).toObject();
    result.title = tags.value(QStringLiteral("title")).toString();
    result.artist = tags.value(QStringLiteral("artist")).toString();
    for (const QJsonValue &value : root.value(QStringLiteral("streams")).toArray()) {
        const QJsonObject stream = value.toObject();
        result.codecs.append(stream.value(QStringLiteral("codec_name")).toString());
        if (stream.value(QStringLiteral("codec_type")).toString() == QLatin1String("video")) {
            result.width = stream.value(QStringLiteral("width")).toInt();
            result.height = stream.value(QStringLiteral("height")).toInt();
        }
    }
    return result;
}

QString sourceOf(const im::FileInfo &file)
{
    return QUrl(QString::fromStdString(file.url())).toLocalFile();
}

// The top-level boxes of an MP4 file, in file order.
QStringList topLevelBoxes(const QString &path)
{
    QFile file(path);
    QStringList boxes;
    if (!file.open(QIODevice::ReadOnly)) {
        return boxes;
    }
    while (!file.atEnd()) {
        const QByteArray header = file.read(8);
        if (header.size() < 8) {
            break;
        }
        const quint32 size = qFromBigEndian<quint32>(header.constData());
        boxes.append(QString::fromLatin1(header.mid(4, 4)));
        if (size < 8 || !file.seek(file.pos() - 8 + size)) {
            break;
        }
    }
    return boxes;
}

qint64 numberAfter(const QByteArray &bytes, const QByteArray &key, qsizetype from = 0)
{
    const qsizetype at = bytes.indexOf(key, from);
    if (at < 0) {
        return -1;
    }
    qsizetype end = at + key.size();
    while (end < bytes.size() && std::isspace(static_cast<unsigned char>(bytes.at(end)))) {
        ++end;
    }
    qsizetype digits = end;
    while (digits < bytes.size() && std::isdigit(static_cast<unsigned char>(bytes.at(digits)))) {
        ++digits;
    }
    return digits > end ? bytes.mid(end, digits - end).toLongLong() : -1;
}

// Checks what a PDF reader relies on first: the header, the end marker, and a cross-reference
// table where startxref says, whose every entry points at the object it names. Returns the number
// of pages, or -1 when the structure is broken.
int pdfPages(const QByteArray &pdf)
{
    if (!pdf.startsWith("%PDF-1.") || !pdf.trimmed().endsWith("%%EOF")) {
        return -1;
    }
    const qint64 table = numberAfter(pdf, "startxref", pdf.lastIndexOf("startxref"));
    if (table <= 0 || pdf.mid(table, 7) != "xref\n0 ") {
        return -1;
    }
    const qint64 count = numberAfter(pdf, "xref\n0", table);
    qsizetype entry = pdf.indexOf('\n', table + 7) + 1;
    for (qint64 object = 0; object < count; ++object, entry += 20) {
        const QByteArray line = pdf.mid(entry, 20);
        if (line.size() != 20 || line.at(17) != 'n') {
            continue;
        }
        if (!pdf.mid(line.left(10).toLongLong())
                     .startsWith(QByteArray::number(object) + " 0 obj")) {
            return -1;
        }
    }
    return int(pdf.count("/Type /Page\n"));
}

// Whether every row has as many fields as the header, quoted commas not counting.
bool isRectangularCsv(const QByteArray &csv)
{
    const QList<QByteArray> rows = csv.trimmed().split('\n');
    const auto fields = [](const QByteArray &row) {
        int count = 1;
        bool quoted = false;
        for (const char c : row) {
            quoted = c == '"' ? !quoted : quoted;
            count += c == ',' && !quoted;
        }
        return count;
    };
    return rows.size() > 2 && std::all_of(rows.cbegin(), rows.cend(), [&](const QByteArray &row) {
               return fields(row) == fields(rows.first());
           });
}

// Every file under folder with its bytes, by path inside it.
QMap<QString, QByteArray> filesUnder(const QString &folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        file.open(QIODevice::ReadOnly);
        files.insert(QDir(folder).relativeFilePath(file.fileName()), file.readAll());
    }
    return files;
}

} // namespace

class TestSampleAccount : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void reportMatchesTheStore();
    void everyFileIsCachedOrWaitsAtItsSource();
    void olderHistoryIsOnlyOnTheServer();
    void mediaLayerWroteFileReferences();
    void mediaReachToday();
    void sameSeedSameAccount();
    void videosAreH264WithAacSound();
    void videosKeepTheirIndexWhereAsked();
    void musicCarriesItsTags();
    void voiceIsOpusInOgg();
    void documentsOpen();
    void sameSeedSameBytes();
    void keptMediaAreReusedWhileWhole();
    void failsWithoutWorkingFfmpeg_data();
    void failsWithoutWorkingFfmpeg();
    void refusesAnExistingAccount();
    void summaryPrintsEveryChat();

private:
    SampleAccount::Options options(const QString &mediaCache = QStringLiteral("cache-a")) const;
    QList<im::Message> stored(int type) const;
    QTemporaryDir m_dir;
    SampleAccount::Report m_report;
    std::unique_ptr<AccountBase> m_account;
};

// Each test account keeps its encoded media in a cache of its own under the test's folder, so
// that a first account really encodes them.
SampleAccount::Options TestSampleAccount::options(const QString &mediaCache) const
{
    SampleAccount::Options options;
    options.seed = 11;
    options.mediaCount = 300;
    options.now = QDateTime(QDate(2026, 5, 20), QTime(15, 30)).toMSecsSinceEpoch();
    options.mediaCache = m_dir.filePath(mediaCache);
    return options;
}

// The top-level messages of the type in the local store, every chat.
QList<im::Message> TestSampleAccount::stored(int type) const
{
    storage::MessageSearchInfo info;
    info.types = {type};
    info.count = 100000;
    bool more = false;
    QList<im::Message> messages;
    for (const storage::MessageRecord &record :
         m_account->storage()->messageStorage()->search(info, &more)) {
        im::Message message;
        message.ParseFromArray(record.data.constData(), int(record.data.size()));
        messages.append(message);
    }
    return messages;
}

void TestSampleAccount::initTestCase()
{
    QVERIFY(SampleAccount::create(m_dir.filePath("a"), options(), &m_report));
    QVERIFY(!m_report.mediaFromCache);
    m_account = std::make_unique<AccountBase>(SampleAccount::UserId, m_dir.filePath("a"));
    QVERIFY(m_account->isValid());
}

void TestSampleAccount::reportMatchesTheStore()
{
    QCOMPARE(m_report.dialogs, 12);
    QCOMPARE(m_account->dialogs().size(), 12);
    QVERIFY(m_report.quotes > 0);
    QVERIFY(m_report.combinedMessages > 0);
    QMap<int, int> stored;
    for (const auto &dialog : m_account->dialogs()) {
        const QMap<int, int> counts =
                m_account->storage()->resourceStorage()->countByType(dialog->dialogId());
        for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
            stored[it.key()] += it.value();
        }
    }
    QCOMPARE(stored, m_report.localMediaByType);
    for (const int type :
         {CONTENT_TEXT, CONTENT_PHOTO, CONTENT_VOICE, CONTENT_MUSIC, CONTENT_VIDEO, CONTENT_FILE}) {
        QVERIFY2(stored.value(type) > 0, qPrintable(AccountSummary::typeName(type)));
    }
    const storage::FileStorage::Totals totals = m_account->storage()->fileStorage()->totals();
    QCOMPARE(totals.completeCount, m_report.filesDownloaded);
    QCOMPARE(totals.missingCount, m_report.filesNotDownloaded);
    QCOMPARE(totals.completeBytes, m_report.bytesOnDisk);
    QCOMPARE(totals.missingBytes, m_report.bytesNotDownloaded);
    QVERIFY(m_report.filesDownloaded > 0);
    QVERIFY(m_report.filesNotDownloaded > 0);
}

void TestSampleAccount::everyFileIsCachedOrWaitsAtItsSource()
{
    storage::FileStorage *files = m_account->storage()->fileStorage();
    QString cursor;
    int seen = 0;
    forever {
        const QList<storage::FileRecord> page = files->infosAfter(cursor, 200);
        if (page.isEmpty()) {
            break;
        }
        for (const storage::FileRecord &record : page) {
            const QString source = QUrl(record.url).toLocalFile();
            QVERIFY2(QFileInfo(source).size() == record.size, qPrintable(record.fileId));
            const QSharedPointer<FileData> file =
                    m_account->fileManager()->filePtrWithId(record.fileId, true);
            QVERIFY(file);
            const QFileInfo local(file->localPath());
            if (file->isComplete()) {
                QVERIFY2(local.exists() && local.size() == record.size,
                         qPrintable(file->localPath()));
            } else {
                QVERIFY2(!local.exists(), qPrintable(file->localPath()));
            }
            ++seen;
        }
        cursor = page.last().fileId;
    }
    QCOMPARE(seen, m_report.filesDownloaded + m_report.filesNotDownloaded);
}

// The generator hands every stored message to the media layer: one row per stored photo, video,
// voice and file (children of albums included), and one flagged row per quoted photo.
void TestSampleAccount::mediaLayerWroteFileReferences()
{
    int ownRows = 0;
    int quotedRows = 0;
    for (const auto &dialog : m_account->dialogs()) {
        const auto rows = m_account->storage()->fileReferenceStorage()->infosWithDialog(
                dialog->dialogId(), 0, {});
        for (const storage::FileReferenceInfo &row : rows) {
            QVERIFY(!row.fileId.isEmpty());
            (row.type & 0x800 ? quotedRows : ownRows) += 1;
        }
    }
    const QMap<int, int> &media = m_report.localMediaByType;
    QCOMPARE(ownRows,
             media.value(CONTENT_PHOTO) + media.value(CONTENT_VIDEO) + media.value(CONTENT_VOICE)
                     + media.value(CONTENT_FILE));
    QVERIFY(quotedRows > 0);
    QVERIFY(quotedRows <= m_report.quotes);
}

void TestSampleAccount::olderHistoryIsOnlyOnTheServer()
{
    QVERIFY(m_report.serverOnlyMessages > 0);
    ServerHistory server(m_dir.filePath("a/server.db"));
    storage::MessageStorage *local = m_account->storage()->messageStorage();
    const QString dialogId = "g3003";
    QVERIFY(server.messages()->count(dialogId) > local->count(dialogId));
    // The oldest message of the chat is on the server, not in the local store.
    storage::MessageSearchInfo oldest;
    oldest.dialogIds = {dialogId};
    oldest.newer = true;
    oldest.count = 1;
    bool more = false;
    const QList<storage::MessageRecord> first = server.messages()->search(oldest, &more);
    QCOMPARE(first.size(), 1);
    QVERIFY(local->message(dialogId, MessageKey(first[0].messageId, first[0].subMsgId))
                    .dialogId.isEmpty());
}

void TestSampleAccount::mediaReachToday()
{
    const QDateTime now = QDateTime::fromMSecsSinceEpoch(options().now);
    storage::ResourceSearchInfo info;
    info.types = {CONTENT_PHOTO, CONTENT_VIDEO};
    info.startTime = QDateTime(now.date(), QTime(0, 0)).toMSecsSinceEpoch();
    info.count = 1000;
    QVERIFY(!m_account->storage()->resourceStorage()->infosBefore(info).isEmpty());
    info.startTime = options().now + 1;
    QVERIFY2(m_account->storage()->resourceStorage()->infosBefore(info).isEmpty(),
             "nothing lies in the future");
}

void TestSampleAccount::sameSeedSameAccount()
{
    SampleAccount::Report again;
    QVERIFY(SampleAccount::create(m_dir.filePath("b"), options(QStringLiteral("cache-b")), &again));
    QVERIFY(!again.mediaFromCache);
    QCOMPARE(again.localMediaByType, m_report.localMediaByType);
    QCOMPARE(again.filesDownloaded, m_report.filesDownloaded);
    QCOMPARE(again.bytesOnDisk, m_report.bytesOnDisk);
    AccountBase other(SampleAccount::UserId, m_dir.filePath("b"));
    storage::ResourceSearchInfo info;
    info.count = 500;
    const auto rowsA = m_account->storage()->resourceStorage()->infosBefore(info);
    const auto rowsB = other.storage()->resourceStorage()->infosBefore(info);
    QCOMPARE(rowsA.size(), rowsB.size());
    for (int i = 0; i < rowsA.size(); ++i) {
        QCOMPARE(rowsA[i].dialogId, rowsB[i].dialogId);
        QCOMPARE(rowsA[i].messageId, rowsB[i].messageId);
        QCOMPARE(rowsA[i].dateTime, rowsB[i].dateTime);
        QCOMPARE(rowsA[i].text, rowsB[i].text);
    }
}

// Videos and live photos play in real players: H.264 with AAC sound, of the size and length
// the message tells.
void TestSampleAccount::videosAreH264WithAacSound()
{
    QList<im::FileInfo> clips;
    QHash<QString, qint64> lengthOf; // source path -> what the messages say
    for (const im::Message &message : stored(CONTENT_VIDEO)) {
        clips.append(message.file());
        lengthOf.insert(sourceOf(message.file()), message.duration());
    }
    int livePhotos = 0;
    for (const im::Message &message : stored(CONTENT_PHOTO)) {
        if (message.has_live_photo()) {
            clips.append(message.live_photo());
            ++livePhotos;
        }
    }
    QVERIFY(!lengthOf.isEmpty());
    QVERIFY(livePhotos > 0);
    QHash<QString, Probe> probed;
    for (const im::FileInfo &clip : std::as_const(clips)) {
        const QString path = sourceOf(clip);
        if (!probed.contains(path)) {
            probed.insert(path, probe(path));
        }
        const Probe &media = probed[path];
        QVERIFY2(media.format.contains(QLatin1String("mp4")), qPrintable(path));
        QCOMPARE(media.codecs, QStringList({QStringLiteral("h264"), QStringLiteral("aac")}));
        QCOMPARE(media.width, clip.width());
        QCOMPARE(media.height, clip.height());
        if (lengthOf.contains(path)) {
            QVERIFY2(qAbs(media.durationMs - lengthOf[path]) <= DurationSlackMs, qPrintable(path));
        } else {
            QVERIFY2(media.durationMs >= 1000 && media.durationMs <= 3000, qPrintable(path));
        }
    }
    // Landscape, portrait and HD sizes are all there.
    QSet<QString> sizes;
    for (const Probe &media : std::as_const(probed)) {
        sizes.insert(QStringLiteral("%1x%2").arg(media.width).arg(media.height));
    }
    for (const char *size : {"640x360", "1280x720", "360x640"}) {
        QVERIFY2(sizes.contains(QLatin1String(size)), size);
    }
}

// Phones write the index after the frames; files made for streaming have it first.
void TestSampleAccount::videosKeepTheirIndexWhereAsked()
{
    QSet<bool> placements;
    for (const EncodedMedia::Video &video : EncodedMedia::videos() + EncodedMedia::liveClips()) {
        const QStringList boxes =
                topLevelBoxes(m_dir.filePath(QStringLiteral("a/source/") + video.fileName));
        QVERIFY2(boxes.contains(QLatin1String("moov")) && boxes.contains(QLatin1String("mdat")),
                 qPrintable(boxes.join(QLatin1Char(' '))));
        QCOMPARE(boxes.indexOf(QLatin1String("moov")) < boxes.indexOf(QLatin1String("mdat")),
                 video.indexFirst);
        placements.insert(video.indexFirst);
    }
    QCOMPARE(placements.size(), 2);
}

// The message carries the title, artist and length written into the MP3's tags, and the music
// item hands them on.
void TestSampleAccount::musicCarriesItsTags()
{
    const QList<im::Message> music = stored(CONTENT_MUSIC);
    QVERIFY(!music.isEmpty());
    QSet<QString> titles;
    for (const im::Message &message : music) {
        const QString path = sourceOf(message.file());
        const Probe media = probe(path);
        QCOMPARE(media.codecs, QStringList(QStringLiteral("mp3")));
        QVERIFY(!message.title().empty());
        QVERIFY(!message.artist().empty());
        QCOMPARE(media.title, QString::fromStdString(message.title()));
        QCOMPARE(media.artist, QString::fromStdString(message.artist()));
        QVERIFY2(qAbs(media.durationMs - message.duration()) <= DurationSlackMs, qPrintable(path));
        const MusicItem item(message, nullptr, {});
        QCOMPARE(item.title(), media.title);
        QCOMPARE(item.artist(), media.artist);
        QCOMPARE(item.duration(), message.duration());
        titles.insert(media.title);
    }
    QCOMPARE(titles.size(), EncodedMedia::tracks().size());
}

void TestSampleAccount::voiceIsOpusInOgg()
{
    const QList<im::Message> voices = stored(CONTENT_VOICE);
    QVERIFY(!voices.isEmpty());
    for (const im::Message &message : voices) {
        const QString path = sourceOf(message.file());
        const Probe media = probe(path);
        QCOMPARE(media.format, QStringLiteral("ogg"));
        QCOMPARE(media.codecs, QStringList(QStringLiteral("opus")));
        QVERIFY2(qAbs(media.durationMs - message.duration()) <= DurationSlackMs, qPrintable(path));
    }
}

// Each kind of document is checked as its reader would take it: the PDF's structure, the ZIP's
// checksums by unzip, the CSV's columns, the text's encoding.
void TestSampleAccount::documentsOpen()
{
    QSet<QString> paths;
    for (const im::Message &message : stored(CONTENT_FILE)) {
        paths.insert(sourceOf(message.file()));
    }
    QSet<QString> suffixes;
    int longestPdf = 0;
    for (const QString &path : std::as_const(paths)) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        const QString suffix = QFileInfo(path).suffix();
        suffixes.insert(suffix);
        if (suffix == QLatin1String("pdf")) {
            const int pages = pdfPages(bytes);
            QVERIFY2(pages >= 1, qPrintable(path));
            longestPdf = qMax(longestPdf, pages);
        } else if (suffix == QLatin1String("zip")) {
            QProcess unzip;
            unzip.start(QStringLiteral("unzip"), {QStringLiteral("-t"), path});
            QVERIFY(unzip.waitForFinished(30000));
            const QByteArray report = unzip.readAllStandardOutput();
            QVERIFY2(unzip.exitCode() == 0, report.constData());
            QVERIFY2(report.count("OK") >= 3, report.constData());
        } else if (suffix == QLatin1String("csv")) {
            QVERIFY2(isRectangularCsv(bytes), bytes.constData());
        } else {
            QCOMPARE(suffix, QStringLiteral("txt"));
            QStringDecoder utf8(QStringDecoder::Utf8);
            const QString text = utf8(bytes);
            QVERIFY(!utf8.hasError());
            QVERIFY(text.count(QLatin1Char('\n')) >= 5);
        }
    }
    QCOMPARE(suffixes, QSet<QString>({"pdf", "zip", "csv", "txt"}));
    QVERIFY2(longestPdf >= 2, "a document runs onto a second page");
}

// The second account, its media encoded afresh, holds the very same bytes.
void TestSampleAccount::sameSeedSameBytes()
{
    const QMap<QString, QByteArray> first = filesUnder(m_dir.filePath("a/source"));
    const QMap<QString, QByteArray> second = filesUnder(m_dir.filePath("b/source"));
    QCOMPARE(second.keys(), first.keys());
    for (auto it = first.cbegin(); it != first.cend(); ++it) {
        QVERIFY2(second.value(it.key()) == it.value(), qPrintable(it.key()));
    }
}

// The media kept from the first account are copied while whole; a damaged file has them encoded
// again.
void TestSampleAccount::keptMediaAreReusedWhileWhole()
{
    const QString clip = EncodedMedia::videos().constFirst().fileName;
    const QByteArray original = filesUnder(m_dir.filePath("a/source")).value(clip);
    SampleAccount::Report report;
    QVERIFY(SampleAccount::create(m_dir.filePath("c"), options(), &report));
    QVERIFY(report.mediaFromCache);
    QCOMPARE(filesUnder(m_dir.filePath("c/source")).value(clip), original);

    QDirIterator kept(m_dir.filePath("cache-a"), {clip}, QDir::Files, QDirIterator::Subdirectories);
    QVERIFY(kept.hasNext());
    QFile damaged(kept.next());
    QVERIFY(damaged.open(QIODevice::ReadWrite));
    QVERIFY(damaged.seek(damaged.size() / 2));
    QVERIFY(damaged.write("damage"));
    damaged.close();
    QVERIFY(SampleAccount::create(m_dir.filePath("d"), options(), &report));
    QVERIFY(!report.mediaFromCache);
    QCOMPARE(filesUnder(m_dir.filePath("d/source")).value(clip), original);
}

void TestSampleAccount::failsWithoutWorkingFfmpeg_data()
{
    QTest::addColumn<QByteArray>("ffmpeg"); // the script PATH finds as ffmpeg; empty for none
    QTest::addColumn<QString>("warning");
    QTest::addColumn<int>("warnings");
    QTest::newRow("missing") << QByteArray() << QStringLiteral("cannot run ffmpeg") << 1;
    // It answers for its version, then cannot encode: every file fails.
    const int files = int(EncodedMedia::videos().size() + EncodedMedia::liveClips().size()
                          + EncodedMedia::tracks().size() + EncodedMedia::voices().size());
    QTest::newRow("failing") << QByteArray(
            "#!/bin/sh\n"
            "case \"$*\" in *-version*) echo ffmpeg 0; exit 0;; esac\n"
            "echo 'Unknown encoder' >&2\n"
            "exit 1\n") << QStringLiteral("ffmpeg failed on .* with Unknown encoder")
                             << files;
}

// No working ffmpeg, no account: never media that only look like media.
void TestSampleAccount::failsWithoutWorkingFfmpeg()
{
    QFETCH(QByteArray, ffmpeg);
    QFETCH(QString, warning);
    QFETCH(int, warnings);
    QTemporaryDir bin;
    if (!ffmpeg.isEmpty()) {
        QFile script(bin.filePath(QStringLiteral("ffmpeg")));
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write(ffmpeg);
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    for (int i = 0; i < warnings; ++i) {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(warning));
    }
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(bin.path()));
    const QString folder = m_dir.filePath(QStringLiteral("e_") + QTest::currentDataTag());
    const bool created = SampleAccount::create(folder, options(QStringLiteral("cache-e")), nullptr);
    qputenv("PATH", path);
    QVERIFY(!created);
    QVERIFY(!QFileInfo::exists(folder + QStringLiteral("/account.db")));
}

void TestSampleAccount::refusesAnExistingAccount()
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("an account exists already"));
    QVERIFY(!SampleAccount::create(m_dir.filePath("a"), options(), nullptr));
}

void TestSampleAccount::summaryPrintsEveryChat()
{
    QString text;
    QTextStream out(&text);
    QString error;
    QVERIFY(AccountSummary::print(m_dir.filePath("a"), out, &error));
    for (const auto &dialog : m_account->dialogs()) {
        QVERIFY2(text.contains(dialog->name().left(17)), qPrintable(dialog->name()));
    }
    QVERIFY(text.contains("files not downloaded"));
    QString missing;
    QTextStream none(&missing);
    QVERIFY(!AccountSummary::print(m_dir.filePath("nothing"), none, &error));
    QVERIFY2(error.contains(QLatin1String("no account in")), qPrintable(error));
}

// The documents are drawn with fonts, which take a GUI application.
QTEST_MAIN(TestSampleAccount)
#include "tst_sampleaccount.moc"
