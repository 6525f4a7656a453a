#include "downloadfilemgr.h"
#include "filetestenvironment.h"
#include "nginxfixture.h"
#include "tempfilemgr.h"

#include <QFileInfo>
#include <QTest>

namespace {
constexpr int kTimeoutMs = 30000;
}

class tst_TempFileMgr : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void loadedFileIdsCoversEveryDialog();
    void cancelDownloadingStopsOnlyTheDialogsDownloads();
    void finishedDownloadsAreForgotten();

private:
    QTemporaryDir m_sources; // served by nginx, shared by the environments of all cases
    std::unique_ptr<NginxFixture> m_nginx;
    std::unique_ptr<FileTestEnvironment> m_env;
};

void tst_TempFileMgr::initTestCase()
{
    QVERIFY(m_sources.isValid());
    if (NginxFixture::isInstalled()) {
        m_nginx = std::make_unique<NginxFixture>(m_sources.path());
        QVERIFY2(m_nginx->start(), qPrintable(m_nginx->errorString()));
    }
}

void tst_TempFileMgr::init()
{
    m_env = std::make_unique<FileTestEnvironment>(m_sources.path());
    QVERIFY(m_env->isValid());
}

void tst_TempFileMgr::cleanup()
{
    m_env.reset();
}

void tst_TempFileMgr::loadedFileIdsCoversEveryDialog()
{
    TempFileMgr *temp = m_env->files()->tempFileMgr();
    QVERIFY(temp->loadedFileIds().isEmpty());

    temp->addLoadedFile(QStringLiteral("a"), QStringLiteral("dialog1"));
    temp->addLoadedFile(QStringLiteral("b"), QStringLiteral("dialog2"));
    temp->addLoadedFile(QStringLiteral("a"), QStringLiteral("dialog2"));
    temp->addLoadedFile(QString(), QStringLiteral("dialog2"));

    QCOMPARE(temp->loadedFileIds(), QSet<QString>({QStringLiteral("a"), QStringLiteral("b")}));
}

void tst_TempFileMgr::cancelDownloadingStopsOnlyTheDialogsDownloads()
{
    if (!m_nginx) {
        QSKIP(NginxFixture::notInstalledMessage());
    }
    QList<QSharedPointer<FileData>> files;
    for (const QString &id : {QStringLiteral("mine"), QStringLiteral("theirs")}) {
        const QByteArray bytes = m_env->writeSource(id, 2 * 1024 * 1024);
        files.append(m_env->registerFile(id, bytes.size(), m_nginx->slowUrl(id)));
    }
    DownloadFileMgr *downloads = m_env->files()->downloadFileMgr();
    TempFileMgr *temp = m_env->files()->tempFileMgr();
    DownloadRecorder recorder(m_env->files());
    for (const QSharedPointer<FileData> &file : std::as_const(files)) {
        downloads->download(file, false, DOWNLOAD_VIEW);
    }
    temp->trackDownload(QStringLiteral("mine"), QStringLiteral("dialog1"));
    temp->trackDownload(QStringLiteral("theirs"), QStringLiteral("dialog2"));
    QTRY_VERIFY_WITH_TIMEOUT(!recorder.progress(QStringLiteral("mine")).isEmpty(), kTimeoutMs);

    temp->cancelDownloading(QStringLiteral("dialog1"));

    QTRY_COMPARE_WITH_TIMEOUT(files.at(0)->fileState(), int(BaseFile::StateNone), kTimeoutMs);
    QVERIFY(!QFileInfo::exists(files.at(0)->partialPath()));
    QVERIFY(!downloads->isDownloading(QStringLiteral("mine")));
    QVERIFY(downloads->isDownloading(QStringLiteral("theirs")));
    QCOMPARE(files.at(1)->fileState(), int(BaseFile::StateDownloading));
}

void tst_TempFileMgr::finishedDownloadsAreForgotten()
{
    const QByteArray bytes = m_env->writeSource(QStringLiteral("done"), 1000);
    const QSharedPointer<FileData> file = m_env->registerFile(
            QStringLiteral("done"), bytes.size(), m_env->sourceUrl(QStringLiteral("done")));
    DownloadRecorder recorder(m_env->files());
    TempFileMgr *temp = m_env->files()->tempFileMgr();
    temp->trackDownload(QStringLiteral("done"), QStringLiteral("dialog1"));
    m_env->files()->downloadFileMgr()->download(file, false, DOWNLOAD_VIEW);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(QStringLiteral("done")), QList<bool>({true}),
                              kTimeoutMs);

    // Clearing the dialog later must not touch the finished file.
    temp->cancelDownloading(QStringLiteral("dialog1"));
    QCOMPARE(file->fileState(), int(BaseFile::StateDone));
    QVERIFY(QFileInfo::exists(file->localPath()));
}

QTEST_GUILESS_MAIN(tst_TempFileMgr)
#include "tst_tempfilemgr.moc"
