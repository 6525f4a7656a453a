#include "accountbase.h"
#include "contenttype.h"
#include "filedata.h"
#include "filemanager.h"
#include "filestorage.h"
#include "mediactlrun.h"
#include "sampleaccount.h"
#include "soundserverfixture.h"
#include "userstorageprovider.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {
constexpr int kPlayTimeoutMs = 60000;
} // namespace

// `mediactl play` as a person at a terminal meets it: a separate process that plays a file of the
// sample account into a real sound server, shows its progress on one line and tells by its exit
// code whether the track played to its end.
class TestPlayCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void playsToTheEnd_data();
    void playsToTheEnd();
    void refusesWhatItCannotPlay_data();
    void refusesWhatItCannotPlay();

private:
    // The id of a file of type whose download is complete or not; empty when the sample has none.
    QString sampleFile(int type, bool bComplete) const;

    SoundServerFixture m_sound;
    SoundRecorder m_recorder;
    QTemporaryDir m_dir;
    QString m_folder;
};

QString TestPlayCommand::sampleFile(int type, bool bComplete) const
{
    AccountBase account(SampleAccount::UserId, m_folder);
    const QList<storage::FileRecord> records =
            account.storage()->fileStorage()->infosAfter(QString(), 100000);
    for (const storage::FileRecord &record : records) {
        const QSharedPointer<FileData> file =
                account.fileManager()->filePtrWithId(record.fileId, true);
        if (file && file->type() == type && file->isComplete() == bComplete) {
            return record.fileId;
        }
    }
    return QString();
}

void TestPlayCommand::initTestCase()
{
    QVERIFY2(m_sound.start(), qPrintable(m_sound.errorString()));
    QVERIFY2(m_recorder.start(), qPrintable(m_recorder.errorString()));
    QVERIFY(m_dir.isValid());
    m_folder = m_dir.filePath(QStringLiteral("account"));
    const MediactlRun init = runMediactl(
            {QStringLiteral("init"), m_folder, QStringLiteral("--media"), QStringLiteral("120")});
    QVERIFY2(init.exitCode == 0, qPrintable(init.err));
}

void TestPlayCommand::playsToTheEnd_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("bComplete");
    QTest::addColumn<QStringList>("options");
    QTest::newRow("a voice message on disk") << int(CONTENT_VOICE) << true << QStringList();
    QTest::newRow("a voice message streamed while it downloads")
            << int(CONTENT_VOICE) << false << QStringList();
    QTest::newRow("a song, which no reference row names")
            << int(CONTENT_MUSIC) << false << QStringList();
    QTest::newRow("a voice message from a second in")
            << int(CONTENT_VOICE) << true << QStringList {QStringLiteral("--from"), "1"};
}

void TestPlayCommand::playsToTheEnd()
{
    QFETCH(int, type);
    QFETCH(bool, bComplete);
    QFETCH(QStringList, options);
    const QString fileId = sampleFile(type, bComplete);
    QVERIFY2(!fileId.isEmpty(), "the sample has no such file");
    QVERIFY(QTest::qWaitFor([this] { return m_recorder.isSilentFor(200); }));
    const qint64 since = m_recorder.sampleCount();
    const MediactlRun run = runMediactl(
            QStringList {QStringLiteral("play"), m_folder, fileId} + options, kPlayTimeoutMs);
    QVERIFY2(run.exitCode == 0, qPrintable(run.outcome()));
    QVERIFY(m_recorder.heardSince(since));
    // One line, rewritten in place: the position over the length, and how much is downloaded.
    const QStringList updates = run.out.trimmed().split(QLatin1Char('\r'), Qt::SkipEmptyParts);
    QVERIFY2(updates.size() > 1, qPrintable(run.out));
    QVERIFY(!run.out.trimmed().contains(QLatin1Char('\n')));
    const QRegularExpression progress(QStringLiteral(R"(^\d+:\d\d / \d+:\d\d   downloaded \d+%)"));
    for (const QString &update : updates) {
        QVERIFY2(progress.match(update.trimmed()).hasMatch(), qPrintable(update));
    }
    QVERIFY2(updates.last().contains(QStringLiteral("downloaded 100%")), qPrintable(run.out));
}

void TestPlayCommand::refusesWhatItCannotPlay_data()
{
    QTest::addColumn<QString>("fileId");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<bool>("bWithSound");
    QTest::addColumn<QString>("message");
    QTest::newRow("an unknown file") << QStringLiteral("nothing") << QStringList() << true
                                     << QStringLiteral("no file nothing");
    QTest::newRow("a photo") << sampleFile(CONTENT_PHOTO, true) << QStringList() << true
                             << QStringLiteral("is not a voice message, music or a video");
    QTest::newRow("a start that is no number")
            << sampleFile(CONTENT_VOICE, true) << QStringList {QStringLiteral("--from"), "soon"}
            << true << QStringLiteral("--from takes a number");
    QTest::newRow("a machine without sound") << sampleFile(CONTENT_VOICE, true) << QStringList()
                                             << false << QStringLiteral("no audio output");
}

void TestPlayCommand::refusesWhatItCannotPlay()
{
    QFETCH(QString, fileId);
    QFETCH(QStringList, options);
    QFETCH(bool, bWithSound);
    QFETCH(QString, message);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!bWithSound) {
        environment.insert(QStringLiteral("PULSE_SERVER"),
                           QStringLiteral("unix:") + m_dir.filePath(QStringLiteral("no-server")));
    }
    const MediactlRun run =
            runMediactl(QStringList {QStringLiteral("play"), m_folder, fileId} + options,
                        kPlayTimeoutMs, environment);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.contains(message), qPrintable(run.err));
}

QTEST_GUILESS_MAIN(TestPlayCommand)
#include "tst_playcommand.moc"
