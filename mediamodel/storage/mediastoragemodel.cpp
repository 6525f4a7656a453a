#include "mediastoragemodel.h"

#include "accountbase.h"
#include "appdirmanager.h"
#include "cachedfiles_p.h"
#include "cachefilestorage.h"
#include "cachelayout.h"
#include "constants.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "filedatamgr.h"
#include "filereferencestorage.h"
#include "mediacachecontext_p.h"
#include "mediacontentitem.h"
#include "mediamodellog_p.h"
#include "mediaplayer.h"
#include "mediasizeitem.h"
#include "mediasizemodel.h"
#include "mediastorageviewmodel.h"
#include "modelbaseutil.h"
#include "notifyingsetter_p.h"
#include "ownerthread_p.h"
#include "resourcedata.h"
#include "sidebyside_p.h"
#include "storagerecords_p.h"
#include "userstorageprovider.h"
#include "util.h"

#include <QDirIterator>
#include <QFile>
#include <QJSEngine>
#include <QMutexLocker>
#include <QStorageInfo>
#include <QThread>
#include <QThreadPool>
#include <QtConcurrent>
#include <algorithm>

#ifdef Q_OS_UNIX
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#endif

namespace {

const int MiscellaneousCategories[] = {CacheLayout::BufferCategory, CacheLayout::TempCategory,
                                       CacheLayout::PreviewCategory};
const int MiscellaneousKinds[] = {CacheLayout::ImageKind, CacheLayout::VideoKind,
                                  CacheLayout::FileKind, CacheLayout::MusicKind};

// The kinds whose files are recorded one by one, in the order their folders are measured.
const int RecordedKinds[] = {CacheLayout::ImageKind, CacheLayout::VideoKind, CacheLayout::FileKind,
                             CacheLayout::MusicKind};

const int ShownContentTypes[] = {CONTENT_PHOTO, CONTENT_VOICE, CONTENT_MUSIC, CONTENT_VIDEO,
                                 CONTENT_FILE};

bool isPartialDownload(QByteArrayView fileName)
{
    return fileName.endsWith(CACHE_SUFFIX);
}

QString mainFolder(const QString &cacheRoot, int kind)
{
    return ModelBaseUtil::makeMediaPath(cacheRoot, CacheLayout::MainCategory, kind);
}

// A cached file as a walk finds it: the folder (ending with a separator), the name as the file
// system spells it, and the size. Names stay bytes until a file is recorded: most are only
// counted.
using FileVisitor = std::function<void(const QString &folder, const char *name, qint64 size)>;

QString withSeparator(const QString &folder)
{
    return folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/');
}

// folder + name in one allocation where the name is ASCII, as cache names are.
QString pathOf(const QString &folder, const char *name)
{
    const QByteArrayView bytes(name);
    if (std::any_of(bytes.cbegin(), bytes.cend(), [](char c) { return c & 0x80; })) {
        return folder + QFile::decodeName(name);
    }
    QString path;
    path.reserve(folder.size() + bytes.size());
    path.append(folder).append(QLatin1String(bytes.data(), bytes.size()));
    return path;
}

#ifdef Q_OS_UNIX
// Calls visit for every complete file in folder (below it too when bRecursive), symbolic links
// left out. False when stopped before the end. Reads each directory once and stats each entry
// relative to it, as du does: a cache holds tens of thousands of files, and path-based file
// infos cost twice as much.
bool walkFiles(const QString &folder, bool bRecursive, const std::function<bool()> &stopped,
               const FileVisitor &visit)
{
    const QString prefix = withSeparator(folder);
    DIR *dir = ::opendir(QFile::encodeName(prefix).constData());
    if (!dir) {
        return true; // a folder that does not exist measures 0
    }
    bool bComplete = true;
    while (const dirent *entry = ::readdir(dir)) {
        if (stopped()) {
            bComplete = false;
            break;
        }
        if (qstrcmp(entry->d_name, ".") == 0 || qstrcmp(entry->d_name, "..") == 0) {
            continue;
        }
        struct stat info;
        if (::fstatat(::dirfd(dir), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
            continue;
        }
        if (S_ISDIR(info.st_mode) && bRecursive) {
            bComplete = walkFiles(pathOf(prefix, entry->d_name), true, stopped, visit);
        } else if (S_ISREG(info.st_mode) && !isPartialDownload(entry->d_name)) {
            visit(prefix, entry->d_name, info.st_size);
        }
        if (!bComplete) {
            break;
        }
    }
    ::closedir(dir);
    return bComplete;
}
#else
bool walkFiles(const QString &folder, bool bRecursive, const std::function<bool()> &stopped,
               const FileVisitor &visit)
{
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::NoSymLinks,
                    bRecursive ? QDirIterator::Subdirectories : QDirIterator::NoIteratorFlags);
    while (it.hasNext()) {
        if (stopped()) {
            return false;
        }
        it.next();
        const QFileInfo info = it.fileInfo();
        const QByteArray name = QFile::encodeName(info.fileName());
        if (!isPartialDownload(name)) {
            visit(withSeparator(info.path()), name.constData(), info.size());
        }
    }
    return true;
}
#endif

bool measureFolder(const QString &folder, bool bRecursive, const std::function<bool()> &stopped,
                   qint64 &bytes)
{
    return walkFiles(folder, bRecursive, stopped,
                     [&bytes](const QString &, const char *, qint64 size) { bytes += size; });
}

// The file library names a cached file by its folder, its id and its suffix; the scan knows it
// by its path, whose name is the id and the suffix.
CachedFile cachedFileAt(const QString &fileId, const QString &path)
{
    const qsizetype nameStart = path.lastIndexOf(QLatin1Char('/')) + 1;
    Q_ASSERT(QStringView(path).sliced(nameStart).startsWith(fileId));
    const qsizetype suffixStart = nameStart + fileId.size() + 1;
    return {fileId, path.left(nameStart),
            suffixStart <= path.size() ? path.sliced(suffixStart) : QString()};
}

// The resource a reference row names, with the sizes of its files as they are on disk.
MediaContentRecord contentRecordOf(const storage::FileReferenceInfo &row, const QString &sourcePath,
                                   const QHash<int, QString> &baseDirs, FileDataMgr *fileDataMgr)
{
    ResourceData data;
    data.deserialize(row.data);
    MediaContentRecord content;
    content.dialogId = row.dialogId;
    content.key = MessageKey(row.messageId, row.subMsgId);
    content.type = row.type;
    content.dateTime = row.dateTime;
    content.name = data.fileName;
    content.fileId = row.fileId;
    content.thumbId = data.thumbId;
    content.livePhotoId = data.livePhotoId;
    content.sourcePath = sourcePath;
    const QString thumbDir = baseDirs.value(CONTENT_PHOTO);
    const QString liveDir = baseDirs.value(CONTENT_VIDEO);
    if (!data.thumbId.isEmpty()) {
        content.thumbPath = thumbDir + CacheLayout::fileName(data.thumbId, data.thumbSuffix);
    }
    if (!data.livePhotoId.isEmpty()) {
        content.livePhotoPath =
                liveDir + CacheLayout::fileName(data.livePhotoId, data.livePhotoSuffix);
    }
    fileDataMgr->addFileSize(baseDirs.value(row.type), data.fileId, data.suffix, content.size);
    fileDataMgr->addFileSize(thumbDir, data.thumbId, data.thumbSuffix, content.thumbSize);
    fileDataMgr->addFileSize(liveDir, data.livePhotoId, data.livePhotoSuffix,
                             content.livePhotoSize);
    return content;
}

// Cached images named as the thumbnail of a message belong to that message's dialog, even when
// the message's own file is not cached. A quoted row's files belong to the quoted message's
// dialog, so quoted rows attribute nothing to the quoting one.
void attributeThumbnails(const QList<storage::FileReferenceInfo> &rows,
                         const QHash<QString, CacheFileRecord> &files,
                         QHash<QString, DialogScanRecord> &dialogs)
{
    for (const storage::FileReferenceInfo &row : rows) {
        const auto thumb = files.constFind(row.thumbId);
        if (!row.isQuoted() && !row.thumbId.isEmpty() && thumb != files.constEnd()) {
            dialogs[row.dialogId].files.insert(row.thumbId, thumb->dataType);
        }
    }
}

// Records the complete files directly in the main folder of kind by file id. False when stopped.
bool recordFiles(const QString &cacheRoot, int kind, const std::function<bool()> &stopped,
                 QHash<QString, CacheFileRecord> &files, qint64 &bytes)
{
    const int dataType = MediaStorageModel::dataTypeOfCacheKind(kind);
    return walkFiles(mainFolder(cacheRoot, kind), false, stopped,
                     [&](const QString &folder, const char *name, qint64 size) {
                         const QString path = pathOf(folder, name);
                         // File ids hold no '.', so the id ends at the first one.
                         const qsizetype dot = path.indexOf(QLatin1Char('.'), folder.size());
                         files.insert(path.sliced(folder.size(),
                                                  (dot < 0 ? path.size() : dot) - folder.size()),
                                      {path, size, dataType});
                         bytes += size;
                     });
}

// Which dialogs' messages name the recorded files: fileRows name them as their file, thumbRows
// (looked up for images) as their thumbnail.
QHash<QString, DialogScanRecord> attributeFiles(const QHash<int, QString> &baseDirs,
                                                FileDataMgr *fileDataMgr,
                                                const QHash<QString, CacheFileRecord> &files,
                                                const QList<storage::FileReferenceInfo> &fileRows,
                                                const QList<storage::FileReferenceInfo> &thumbRows,
                                                const std::function<bool()> &stopped)
{
    QHash<QString, DialogScanRecord> dialogs;
    const auto cachedFile = [&files](const QString &fileId) {
        return fileId.isEmpty() ? files.constEnd() : files.constFind(fileId);
    };
    for (const storage::FileReferenceInfo &row : fileRows) {
        const auto source = cachedFile(row.fileId);
        if (row.isQuoted() || source == files.constEnd() || !baseDirs.contains(row.type)) {
            continue;
        }
        const MediaContentRecord content =
                contentRecordOf(row, source->path, baseDirs, fileDataMgr);
        DialogScanRecord &dialog = dialogs[row.dialogId];
        for (const QString &fileId : {content.fileId, content.thumbId, content.livePhotoId}) {
            const auto file = cachedFile(fileId);
            if (file != files.constEnd()) {
                dialog.files.insert(fileId, file->dataType);
            }
        }
        dialog.contents.append(content);
        if (stopped()) {
            return {};
        }
    }
    attributeThumbnails(thumbRows, files, dialogs);
    return dialogs;
}

// One step of a scan: the folder of a cache kind recorded file by file, or a folder measured as
// a whole. Steps share nothing, so they run side by side: the walks wait on the disk, the lookups
// of the recorded files' references on the database.
struct ScanStep
{
    int dataType = MediaStorageModel::DATA_IMAGE;
    int recordedKind = -1; // the cache kind whose files are recorded, or -1
    QString folder;        // measured as a whole, when no kind is recorded
    bool bRecursive = false;

    bool bComplete = false;
    bool bLookupFailed = false; // the rows naming its files could not be read
    qint64 bytes = 0;
    QHash<QString, CacheFileRecord> files;
    QList<storage::FileReferenceInfo> fileRows;  // references naming a recorded file
    QList<storage::FileReferenceInfo> thumbRows; // for images, references naming a thumbnail
};

// The recorded kinds come first: the most files, and the lookups of their references.
QList<ScanStep> scanSteps(const QString &cacheRoot, const QStringList &stickerFolders,
                          const QStringList &miscFolders)
{
    QList<ScanStep> steps;
    for (int kind : RecordedKinds) {
        ScanStep step;
        step.dataType = MediaStorageModel::dataTypeOfCacheKind(kind);
        step.recordedKind = kind;
        steps.append(step);
    }
    const QList<QPair<int, QStringList>> wholeFolders {
            {MediaStorageModel::DATA_PHOTO, {mainFolder(cacheRoot, CacheLayout::PhotoKind)}},
            {MediaStorageModel::DATA_STICKER, stickerFolders},
            {MediaStorageModel::DATA_MISCELLANEOUS, miscFolders}};
    // A folder per step, so that the last steps end together.
    for (const auto &[dataType, folders] : wholeFolders) {
        for (const QString &folder : folders) {
            ScanStep step;
            step.dataType = dataType;
            step.folder = folder;
            // Avatars lie directly in their folder; the others keep subfolders.
            step.bRecursive = dataType != MediaStorageModel::DATA_PHOTO;
            steps.append(step);
        }
    }
    return steps;
}

void runScanStep(ScanStep &step, const QString &cacheRoot,
                 storage::FileReferenceStorage *references, const std::function<bool()> &stopped)
{
    if (step.recordedKind < 0) {
        step.bComplete = measureFolder(step.folder, step.bRecursive, stopped, step.bytes);
        return;
    }
    if (!recordFiles(cacheRoot, step.recordedKind, stopped, step.files, step.bytes) || stopped()) {
        return;
    }
    const QList<QString> fileIds = step.files.keys();
    bool bySource = false;
    bool byThumb = true;
    step.fileRows = references->infosWithFileIds(fileIds, &bySource);
    if (step.recordedKind == CacheLayout::ImageKind) {
        step.thumbRows = references->infosWithThumbIds(fileIds, &byThumb);
    }
    step.bLookupFailed = !bySource || !byThumb;
    step.bComplete = !stopped() && !step.bLookupFailed;
    if (step.bLookupFailed) {
        step.fileRows.clear();
        step.thumbRows.clear();
    }
}

} // namespace

// What a scan is given; the worker reads nothing else but the stop flags.
struct MediaStorageModel::Scan
{
    int generation = 0;
    QString cacheRoot;
    QStringList stickerFolders;
    QStringList miscFolders;
    QHash<int, QString> baseDirs; // content type -> its cache folder, ending with a separator
    storage::FileReferenceStorage *references = nullptr;
    FileDataMgr *fileDataMgr = nullptr;
    std::shared_ptr<std::atomic<bool>> superseded;
    // The results this scan replaces, freed with the scan on its worker once the new ones are
    // posted: a large cache leaves a hundred thousand records, too many to free on the UI thread
    // or while the scan walks.
    QHash<QString, CacheFileRecord> previousFiles;
    QHash<QString, QStringList> previousFileDialogs;
};

// A file a deletion removes, with the kind of data and bytes it leaves.
struct MediaStorageModel::RemovedFile
{
    QString fileId;
    QString path;
    int dataType = DATA_IMAGE;
    qint64 size = 0;
};

// What a deletion is given: files in batches, then whole folders, then the cache-file rows.
struct MediaStorageModel::Deletion
{
    int generation = 0;
    QList<RemovedFile> files;               // grouped by kind of data when bStageByType
    bool bStageByType = false;              // a kind is emptied once its last file is gone
    QList<QPair<int, QStringList>> folders; // kind of data and the folders that hold it
    bool bRemoveAllRows = false;            // when every file went
    storage::CacheFileStorage *cacheFiles = nullptr;
    FileDataMgr *fileDataMgr = nullptr;
};

struct MediaStorageModel::DialogRecord
{
    MediaSizeModel *sizeModel = nullptr; // child of the storage model
    DialogScanRecord scan;
};

MediaStorageModel::MediaStorageModel(const MediaCacheContext &cache, QObject *parent)
    : QObject(parent)
    , m_cache(cache)
    , m_totalSizeModel(new MediaSizeBaseModel(this))
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
    connect(m_totalSizeModel, &MediaSizeBaseModel::totalSizeChanged, this,
            [this](qlonglong total) { setTotalSize(total); });
}

MediaStorageModel::~MediaStorageModel()
{
    prepareToClear();
    qDeleteAll(m_dialogs);
}

int MediaStorageModel::dataTypeOfCacheKind(int cacheKind)
{
    static const QHash<int, int> table {{CacheLayout::ImageKind, DATA_IMAGE},
                                        {CacheLayout::VoiceKind, DATA_MISCELLANEOUS},
                                        {CacheLayout::VideoKind, DATA_VIDEO},
                                        {CacheLayout::FileKind, DATA_FILE},
                                        {CacheLayout::MusicKind, DATA_MUSIC}};
    return table.value(cacheKind, DATA_IMAGE);
}

int MediaStorageModel::dataTypeOfContentType(int contentType)
{
    static const QHash<int, int> table {{CONTENT_PHOTO, DATA_IMAGE},
                                        {CONTENT_VOICE, DATA_MISCELLANEOUS},
                                        {CONTENT_MUSIC, DATA_MUSIC},
                                        {CONTENT_VIDEO, DATA_VIDEO},
                                        {CONTENT_FILE, DATA_FILE}};
    return table.value(contentType, DATA_IMAGE);
}

void MediaStorageModel::setTotalSize(qlonglong totalSize)
{
    setAndNotify(this, m_totalSize, totalSize, &MediaStorageModel::totalSizeChanged);
}

void MediaStorageModel::setAtQuery(bool bQuery)
{
    setAndNotify(this, m_atQuery, bQuery, &MediaStorageModel::atQueryChanged);
}

void MediaStorageModel::setClearProgress(int progress)
{
    setAndNotify(this, m_clearProgress, progress, &MediaStorageModel::clearProgressChanged);
}

// ---- measuring ----

void MediaStorageModel::startLoading(bool bReload)
{
    const QString cacheRoot = m_cache.account()->userCacheDataPath();
    const QStorageInfo volume(cacheRoot);
    if (volume.isValid()) {
        m_volumeSize = volume.bytesTotal();
    }
    QMutexLocker locker(&m_mutex);
    const bool bScanning = m_atQuery;
    setAtQuery(true);
    m_totalSizeModel->setAtQuery(true);
    if (bScanning && !bReload) {
        m_reloadPending = true;
        return;
    }
    m_reloadPending = false;
    Scan scan;
    scan.previousFiles = std::exchange(m_files, {});
    scan.previousFileDialogs = std::exchange(m_fileDialogs, {});
    resetResults();
    m_cancel = false;
    markDialogsQuerying();

    scan.generation = m_generation;
    scan.cacheRoot = cacheRoot;
    scan.stickerFolders = {AppDirManager::instance()->stickerDir(),
                           AppDirManager::instance()->customEmojiDir()};
    scan.miscFolders = miscellaneousFolders();
    for (int type : ShownContentTypes) {
        scan.baseDirs.insert(type, m_cache.mediaBaseDir(type));
    }
    scan.references = m_cache.fileReferences();
    scan.fileDataMgr = m_cache.fileDataMgr();
    scan.superseded = m_scanSuperseded = std::make_shared<std::atomic<bool>>(false);
    m_scans.removeIf([](const QFuture<void> &done) { return done.isFinished(); });
    m_scans.append(QtConcurrent::run(QThreadPool::globalInstance(),
                                     [this, scan] { runScan(this, scan); }));
}

// Dialogs of type 2 hold no media of their own and are never shown as being measured.
void MediaStorageModel::markDialogsQuerying()
{
    m_cache.account()->forEachDialog([this](QSharedPointer<DialogBase> dialog) {
        if (dialog->type() != DIALOG_SYSTEM) {
            dialogRecord(dialog->dialogId()).sizeModel->setAtQuery(true);
        }
    });
}

QStringList MediaStorageModel::miscellaneousFolders() const
{
    const QString cacheRoot = m_cache.account()->userCacheDataPath();
    QStringList folders {mainFolder(cacheRoot, CacheLayout::VoiceKind)};
    for (int category : MiscellaneousCategories) {
        for (int kind : MiscellaneousKinds) {
            folders.append(ModelBaseUtil::makeMediaPath(cacheRoot, category, kind));
        }
    }
    return folders;
}

void MediaStorageModel::runScan(MediaStorageModel *model, const Scan &scan)
{
    const std::function<bool()> stopped = [model, &scan] {
        return model->m_cancel.load() || scan.superseded->load();
    };
    const int generation = scan.generation;
    const auto postSize = [model, generation](int dataType, qint64 bytes) {
        if (bytes != 0) {
            runOnOwnerThread(model, [model, generation, dataType, bytes] {
                model->applyMeasuredSize(generation, dataType, bytes);
            });
        }
    };
    const auto finish = [model, generation](QHash<QString, CacheFileRecord> files,
                                            QHash<QString, DialogScanRecord> dialogs,
                                            bool bFailed = false) {
        runOnOwnerThread(model,
                         [model, generation, files = std::move(files), dialogs = std::move(dialogs),
                          bFailed] { model->finishScan(generation, files, dialogs, bFailed); });
    };

    // Each step's files join the others as soon as it ends, while the other steps still walk.
    QMutex resultsMutex;
    QHash<QString, CacheFileRecord> files;
    QList<storage::FileReferenceInfo> fileRows;
    QList<storage::FileReferenceInfo> thumbRows;
    QList<ScanStep> steps = scanSteps(scan.cacheRoot, scan.stickerFolders, scan.miscFolders);
    runSideBySide(steps.size(), [&](qsizetype i) {
        ScanStep &step = steps[i];
        runScanStep(step, scan.cacheRoot, scan.references, stopped);
        if (!step.bComplete && !step.bLookupFailed) {
            return;
        }
        postSize(step.dataType, step.bytes);
        QMutexLocker locker(&resultsMutex);
        if (files.isEmpty()) {
            files = std::exchange(step.files, {});
        } else {
            files.insert(std::exchange(step.files, {}));
        }
        fileRows += std::exchange(step.fileRows, {});
        thumbRows += std::exchange(step.thumbRows, {});
    });
    const bool bLookupFailed = std::any_of(steps.cbegin(), steps.cend(),
                                           [](const ScanStep &step) { return step.bLookupFailed; });
    const bool bComplete = std::all_of(steps.cbegin(), steps.cend(), [](const ScanStep &step) {
        return step.bComplete || step.bLookupFailed;
    });
    if (!bComplete || stopped()) {
        return finish({}, {});
    }
    runOnOwnerThread(model, [model, generation] { model->finishTotals(generation); });
    // The files and their sizes stand; which chats they belong to is unknown.
    if (bLookupFailed) {
        qCWarning(lcMedia) << "storage: the chats of the cached files cannot be read; no chat's "
                              "files are deleted until a scan can";
        return finish(std::move(files), {}, true);
    }
    QHash<QString, DialogScanRecord> dialogs =
            attributeFiles(scan.baseDirs, scan.fileDataMgr, files, fileRows, thumbRows, stopped);
    if (stopped()) {
        return finish({}, {});
    }
    finish(std::move(files), std::move(dialogs));
}

void MediaStorageModel::applyMeasuredSize(int generation, int dataType, qint64 bytes)
{
    if (generation == m_generation) {
        m_totalSizeModel->addSize(dataType, bytes);
    }
}

void MediaStorageModel::finishTotals(int generation)
{
    if (generation == m_generation) {
        m_totalSizeModel->setAtQuery(false);
    }
}

void MediaStorageModel::finishScan(int generation, QHash<QString, CacheFileRecord> files,
                                   QHash<QString, DialogScanRecord> dialogs, bool bFailed)
{
    if (generation != m_generation) {
        return;
    }
    QMutexLocker locker(&m_mutex);
    m_scanFailed = bFailed;
    m_files = std::move(files);
    m_fileDialogs.clear();
    for (auto it = dialogs.begin(); it != dialogs.end(); ++it) {
        DialogRecord &record = dialogRecord(it.key());
        record.scan = std::move(it.value());
        for (auto file = record.scan.files.cbegin(); file != record.scan.files.cend(); ++file) {
            record.sizeModel->addSize(file.value(), m_files.value(file.key()).size);
            m_fileDialogs[file.key()].append(it.key());
        }
    }
    for (DialogRecord *record : std::as_const(m_dialogs)) {
        record->sizeModel->setAtQuery(false);
    }
    m_totalSizeModel->setAtQuery(false);
    updateDialogIds();
    updateSelectDlgSize();
    refillViews();
    setAtQuery(false);
    for (auto it = dialogs.cbegin(); it != dialogs.cend(); ++it) {
        Q_EMIT dialogSizeLoaded(it.key(),
                                qulonglong(m_dialogs.value(it.key())->sizeModel->totalSize()));
    }
    if (m_reloadPending) {
        startLoading(false);
    }
}

MediaStorageModel::DialogRecord &MediaStorageModel::dialogRecord(const QString &dialogId)
{
    DialogRecord *&record = m_dialogs[dialogId];
    if (!record) {
        record = new DialogRecord;
        record->sizeModel = new MediaSizeModel(dialogId, this);
    }
    return *record;
}

MediaSizeModel *MediaStorageModel::dialogSizeModel(const QString &dialogId)
{
    QMutexLocker locker(&m_mutex);
    return dialogRecord(dialogId).sizeModel;
}

// Forgets every result and supersedes the running scan and deletion, whose results are then
// dropped when they arrive. Size models and view lists stay, emptied, as QML may hold them.
void MediaStorageModel::resetResults()
{
    ++m_generation;
    if (m_scanSuperseded) {
        m_scanSuperseded->store(true);
        m_scanSuperseded.reset();
    }
    m_files.clear();
    m_fileDialogs.clear();
    for (DialogRecord *record : std::as_const(m_dialogs)) {
        record->scan = DialogScanRecord();
        record->sizeModel->reset();
    }
    // The lists keep their dialog, so that the end of the next scan refills them.
    for (MediaStorageViewModel *view : {m_mediaView, m_fileView, m_musicView}) {
        if (view) {
            view->setRecords(view->dialogId(), {});
        }
    }
    m_totalSizeModel->reset();
    updateDialogIds();
    updateSelectDlgSize();
}

void MediaStorageModel::clearAll()
{
    if (QThread::currentThread() != thread()) {
        m_cancel = true;
        QMetaObject::invokeMethod(
                this, [this] { clearAll(); }, Qt::QueuedConnection);
        return;
    }
    QMutexLocker locker(&m_mutex);
    m_cancel = true;
    m_reloadPending = false;
    resetResults();
    m_totalSizeModel->setAtQuery(false);
    for (DialogRecord *record : std::as_const(m_dialogs)) {
        record->sizeModel->setAtQuery(false);
    }
    setAtQuery(false);
}

void MediaStorageModel::prepareToClear()
{
    m_cancel = true;
    QMutexLocker locker(&m_mutex);
    ++m_generation;
    m_reloadPending = false;
    if (m_scanSuperseded) {
        m_scanSuperseded->store(true);
    }
    const QList<QFuture<void>> scans = std::exchange(m_scans, {});
    const QFuture<void> deletion = m_deletion;
    locker.unlock();
    for (QFuture<void> scan : scans) {
        scan.waitForFinished();
    }
    QFuture<void>(deletion).waitForFinished();
    // What the workers posted is dropped, so no end of scan will come.
    m_totalSizeModel->setAtQuery(false);
    setAtQuery(false);
}

// ---- dialogs and views ----

void MediaStorageModel::updateDialogIds()
{
    QList<QPair<qint64, QString>> sized;
    for (auto it = m_dialogs.cbegin(); it != m_dialogs.cend(); ++it) {
        const qint64 size = it.value()->sizeModel->totalSize();
        if (size > 0) {
            sized.append({size, it.key()});
        }
    }
    std::sort(sized.begin(), sized.end(), [](const auto &a, const auto &b) {
        return a.first != b.first ? a.first > b.first : a.second < b.second;
    });
    QStringList ids;
    for (const auto &each : std::as_const(sized)) {
        ids.append(each.second);
    }
    if (ids != m_dialogIds) {
        m_dialogIds = ids;
        Q_EMIT dialogIdsChanged();
    }
}

MediaStorageViewModel *MediaStorageModel::viewModel(MediaStorageViewModel *&model,
                                                    const QString &dialogId,
                                                    const QList<int> &contentTypes)
{
    QMutexLocker locker(&m_mutex);
    if (!model) {
        model = new MediaStorageViewModel(this);
    }
    QList<MediaContentRecord> records;
    if (const DialogRecord *record = m_dialogs.value(dialogId)) {
        for (const MediaContentRecord &content : record->scan.contents) {
            if (contentTypes.contains(content.type)) {
                records.append(content);
            }
        }
    }
    model->setRecords(dialogId, records);
    return model;
}

MediaStorageViewModel *MediaStorageModel::mediaViewModel(const QString &dialogId)
{
    return viewModel(m_mediaView, dialogId, {CONTENT_PHOTO, CONTENT_VIDEO});
}

MediaStorageViewModel *MediaStorageModel::fileViewModel(const QString &dialogId)
{
    return viewModel(m_fileView, dialogId, {CONTENT_FILE});
}

MediaStorageViewModel *MediaStorageModel::musicViewModel(const QString &dialogId)
{
    return viewModel(m_musicView, dialogId, {CONTENT_MUSIC});
}

void MediaStorageModel::refillViews()
{
    if (m_mediaView && !m_mediaView->dialogId().isEmpty()) {
        mediaViewModel(m_mediaView->dialogId());
    }
    if (m_fileView && !m_fileView->dialogId().isEmpty()) {
        fileViewModel(m_fileView->dialogId());
    }
    if (m_musicView && !m_musicView->dialogId().isEmpty()) {
        musicViewModel(m_musicView->dialogId());
    }
}

// ---- selection ----

void MediaStorageModel::changeSelected(MediaContentItem *mediaInfo)
{
    if (!mediaInfo) {
        return;
    }
    QMutexLocker locker(&m_mutex);
    const MediaContentRecord &record = mediaInfo->record();
    const auto found = std::find_if(m_selected.cbegin(), m_selected.cend(),
                                    [&record](const MediaContentRecord &selected) {
                                        return selected.sameResource(record);
                                    });
    if (found == m_selected.cend()) {
        m_selected.push_back(record);
    } else {
        m_selected.erase(found);
    }
    Q_EMIT selectCountChanged();
    updateSelectSize();
}

int MediaStorageModel::selectCount() const
{
    return int(m_selected.size());
}

void MediaStorageModel::clearSelected()
{
    QMutexLocker locker(&m_mutex);
    if (m_selected.empty()) {
        return;
    }
    m_selected.clear();
    Q_EMIT selectCountChanged();
    updateSelectSize();
}

bool MediaStorageModel::isSelected(MediaContentItem *mediaInfo) const
{
    if (!mediaInfo) {
        return false;
    }
    QMutexLocker locker(&m_mutex);
    return std::any_of(m_selected.cbegin(), m_selected.cend(),
                       [mediaInfo](const MediaContentRecord &selected) {
                           return selected.sameResource(mediaInfo->record());
                       });
}

void MediaStorageModel::updateSelectSize()
{
    qint64 size = 0;
    for (const MediaContentRecord &selected : std::as_const(m_selected)) {
        size += selected.size;
    }
    if (size != m_selectSize) {
        m_selectSize = size;
        Q_EMIT selectSizeChanged();
    }
}

void MediaStorageModel::changeDlgSelected(const QString &dialogId)
{
    QMutexLocker locker(&m_mutex);
    if (!m_selectedDialogs.removeOne(dialogId)) {
        m_selectedDialogs.append(dialogId);
    }
    Q_EMIT selectDlgCountChanged();
    updateSelectDlgSize();
}

bool MediaStorageModel::dialogSelected(const QString &dialogId) const
{
    QMutexLocker locker(&m_mutex);
    return m_selectedDialogs.contains(dialogId);
}

void MediaStorageModel::updateSelectDlgSize()
{
    qint64 size = 0;
    for (const QString &dialogId : std::as_const(m_selectedDialogs)) {
        if (const DialogRecord *record = m_dialogs.value(dialogId)) {
            size += record->sizeModel->totalSize();
        }
    }
    if (size != m_selectDlgSize) {
        m_selectDlgSize = size;
        Q_EMIT selectDlgSizeChanged();
    }
}

// ---- deleting ----

bool MediaStorageModel::mayDelete(bool bDuringScan) const
{
    if (m_cancel) {
        qCDebug(lcMedia) << "storage: deletion refused, the model was cleared";
        return false;
    }
    if (!m_deletion.isFinished()) {
        qCDebug(lcMedia) << "storage: deletion refused, another one runs";
        return false;
    }
    if (!bDuringScan && m_atQuery) {
        qCDebug(lcMedia) << "storage: deletion refused while the cache is measured";
        return false;
    }
    return true;
}

QList<MediaStorageModel::RemovedFile> MediaStorageModel::recordedFiles(
        const std::function<bool(const QString &, const CacheFileRecord &)> &pick) const
{
    QList<RemovedFile> files;
    for (auto it = m_files.cbegin(); it != m_files.cend(); ++it) {
        if (pick(it.key(), it.value())) {
            files.append({it.key(), it->path, it->dataType, it->size});
        }
    }
    // Grouped by kind, so that each kind is emptied as soon as its last file is gone.
    std::stable_sort(files.begin(), files.end(), [](const RemovedFile &a, const RemovedFile &b) {
        return a.dataType < b.dataType;
    });
    return files;
}

QList<MediaStorageModel::RemovedFile>
MediaStorageModel::filesOfDialogs(const QStringList &dialogIds, const QList<int> &dataTypes) const
{
    QSet<QString> fileIds;
    for (const QString &dialogId : dialogIds) {
        if (const DialogRecord *record = m_dialogs.value(dialogId)) {
            for (auto it = record->scan.files.cbegin(); it != record->scan.files.cend(); ++it) {
                if (dataTypes.isEmpty() || dataTypes.contains(it.value())) {
                    fileIds.insert(it.key());
                }
            }
        }
    }
    return recordedFiles([&fileIds](const QString &fileId, const CacheFileRecord &) {
        return fileIds.contains(fileId);
    });
}

QList<MediaStorageModel::RemovedFile>
MediaStorageModel::filesOfContent(const MediaContentRecord &content) const
{
    QList<RemovedFile> files {{content.fileId, content.sourcePath,
                               dataTypeOfContentType(content.type), content.size}};
    if (!content.thumbId.isEmpty()) {
        files.append({content.thumbId, content.thumbPath, DATA_IMAGE, content.thumbSize});
    }
    if (!content.livePhotoId.isEmpty()) {
        files.append(
                {content.livePhotoId, content.livePhotoPath, DATA_VIDEO, content.livePhotoSize});
    }
    return files;
}

void MediaStorageModel::stopPlayerFor(const QStringList &dialogIds)
{
    const qint64 accountId = m_cache.account()->userId();
    for (const QString &dialogId : dialogIds) {
        MediaPlayer::instance()->stop(accountId, dialogId);
    }
}

void MediaStorageModel::deleteAllFiles()
{
    QMutexLocker locker(&m_mutex);
    if (!mayDelete(false)) {
        return;
    }
    MediaPlayer::instance()->stop(m_cache.account()->userId());
    auto deletion = std::make_unique<Deletion>();
    deletion->files = recordedFiles([](const QString &, const CacheFileRecord &) { return true; });
    deletion->bStageByType = true;
    const QString cacheRoot = m_cache.account()->userCacheDataPath();
    deletion->folders = {{DATA_PHOTO, {mainFolder(cacheRoot, CacheLayout::PhotoKind)}},
                         {DATA_STICKER,
                          {AppDirManager::instance()->stickerDir(),
                           AppDirManager::instance()->customEmojiDir()}},
                         {DATA_MISCELLANEOUS, miscellaneousFolders()}};
    deletion->bRemoveAllRows = true;
    startDeletion(std::move(deletion));
}

void MediaStorageModel::deleteAllFileByType(const QList<int> &dataTypes)
{
    QMutexLocker locker(&m_mutex);
    if (!mayDelete(false)) {
        return;
    }
    const qint64 accountId = m_cache.account()->userId();
    if (dataTypes.contains(DATA_MUSIC)) {
        MediaPlayer::instance()->stop(accountId, int(CONTENT_MUSIC));
    }
    if (dataTypes.contains(DATA_MISCELLANEOUS)) {
        MediaPlayer::instance()->stop(accountId, int(CONTENT_VOICE));
    }
    auto deletion = std::make_unique<Deletion>();
    deletion->files = recordedFiles([&dataTypes](const QString &, const CacheFileRecord &file) {
        return dataTypes.contains(file.dataType);
    });
    deletion->bStageByType = true;
    if (dataTypes.contains(DATA_PHOTO)) {
        deletion->folders.append(
                {DATA_PHOTO,
                 {mainFolder(m_cache.account()->userCacheDataPath(), CacheLayout::PhotoKind)}});
    }
    if (dataTypes.contains(DATA_STICKER)) {
        deletion->folders.append({DATA_STICKER,
                                  {AppDirManager::instance()->stickerDir(),
                                   AppDirManager::instance()->customEmojiDir()}});
    }
    if (dataTypes.contains(DATA_MISCELLANEOUS)) {
        deletion->folders.append({DATA_MISCELLANEOUS, miscellaneousFolders()});
    }
    startDeletion(std::move(deletion));
}

bool MediaStorageModel::knowsChatsOfFiles() const
{
    if (m_scanFailed) {
        qCWarning(lcMedia) << "storage: deletion by chat refused, the chats of the cached files "
                              "could not be read";
    }
    return !m_scanFailed;
}

void MediaStorageModel::deleteAllFileByDialog(const QStringList &dialogIds)
{
    QMutexLocker locker(&m_mutex);
    if (!mayDelete(false) || !knowsChatsOfFiles()) {
        return;
    }
    stopPlayerFor(dialogIds);
    auto deletion = std::make_unique<Deletion>();
    deletion->files = filesOfDialogs(dialogIds, {});
    startDeletion(std::move(deletion));
}

void MediaStorageModel::deleteDialogFileByType(const QString &dialogId, const QList<int> &dataTypes)
{
    QMutexLocker locker(&m_mutex);
    if (!mayDelete(false) || !knowsChatsOfFiles()) {
        return;
    }
    stopPlayerFor({dialogId});
    auto deletion = std::make_unique<Deletion>();
    deletion->files = filesOfDialogs({dialogId}, dataTypes);
    startDeletion(std::move(deletion));
}

void MediaStorageModel::deleteSelected()
{
    QMutexLocker locker(&m_mutex);
    if (!mayDelete(true) || m_selected.empty()) {
        return;
    }
    QStringList dialogIds;
    QSet<QString> seen;
    auto deletion = std::make_unique<Deletion>();
    for (const MediaContentRecord &content : std::as_const(m_selected)) {
        if (!dialogIds.contains(content.dialogId)) {
            dialogIds.append(content.dialogId);
        }
        for (const RemovedFile &file : filesOfContent(content)) {
            if (!seen.contains(file.fileId)) {
                seen.insert(file.fileId);
                deletion->files.append(file);
            }
        }
    }
    stopPlayerFor(dialogIds);
    clearSelected();
    startDeletion(std::move(deletion));
}

void MediaStorageModel::startDeletion(std::unique_ptr<Deletion> deletion)
{
    setClearProgress(0);
    deletion->generation = m_generation;
    deletion->cacheFiles = m_cache.cacheFiles();
    m_plannedBytes = 0;
    for (const RemovedFile &file : std::as_const(deletion->files)) {
        m_plannedBytes += file.size;
    }
    for (const auto &stage : std::as_const(deletion->folders)) {
        m_plannedBytes += m_totalSizeModel->sizeOf(stage.first);
    }
    m_removedBytes = 0;
    deletion->fileDataMgr = m_cache.fileDataMgr();
    const std::shared_ptr<const Deletion> work(std::move(deletion));
    m_deletion = QtConcurrent::run(QThreadPool::globalInstance(),
                                   [this, work] { runDeletion(this, *work); });
}

// Files go in batches of a hundredth of them, each batch posted as one step of the progress. A
// file that stays keeps its row and its bytes, and the kind it belongs to is not emptied.
void MediaStorageModel::runDeletion(MediaStorageModel *model, const Deletion &deletion)
{
    const int generation = deletion.generation;
    const qsizetype batchSize = deletion.files.size() / 100;
    QList<RemovedFile> batch;
    bool bKindGone = true;
    bool bAllGone = true;
    const auto deleteBatch = [&] {
        if (batch.isEmpty()) {
            return;
        }
        const QList<RemovedFile> removed =
                deleteRecordedFiles(deletion.fileDataMgr, deletion.cacheFiles, batch);
        bKindGone = bKindGone && removed.size() == batch.size();
        bAllGone = bAllGone && bKindGone;
        batch.clear();
        runOnOwnerThread(
                model, [model, generation, removed] { model->applyDeleted(generation, removed); });
    };
    for (qsizetype i = 0; i < deletion.files.size() && !model->m_cancel; ++i) {
        const RemovedFile &file = deletion.files.at(i);
        batch.append(file);
        const bool bLastOfKind = deletion.bStageByType
                && (i + 1 == deletion.files.size()
                    || deletion.files.at(i + 1).dataType != file.dataType);
        if (batch.size() > batchSize || bLastOfKind) {
            deleteBatch();
        }
        if (bLastOfKind) {
            const int dataType = file.dataType;
            if (bKindGone) {
                runOnOwnerThread(model, [model, generation, dataType] {
                    model->finishStage(generation, dataType);
                });
            }
            bKindGone = true;
        }
    }
    deleteBatch();
    for (const auto &stage : deletion.folders) {
        if (model->m_cancel) {
            break;
        }
        for (const QString &folder : stage.second) {
            Util::removeLocalFolder(folder);
        }
        const int dataType = stage.first;
        runOnOwnerThread(
                model, [model, generation, dataType] { model->finishStage(generation, dataType); });
    }
    if (deletion.bRemoveAllRows && bAllGone && !model->m_cancel) {
        deletion.cacheFiles->removeAll();
    }
    runOnOwnerThread(model, [model] { model->finishDeletion(); });
}

// A batch of a deletion: counts towards its progress, then leaves the sizes and records.
void MediaStorageModel::applyDeleted(int generation, const QList<RemovedFile> &removed)
{
    qint64 bytes = 0;
    for (const RemovedFile &file : removed) {
        bytes += file.size;
    }
    addRemovedBytes(bytes);
    applyRemoved(generation, removed);
}

void MediaStorageModel::applyRemoved(int generation, const QList<RemovedFile> &removed)
{
    if (generation != m_generation) {
        return;
    }
    QMutexLocker locker(&m_mutex);
    for (const RemovedFile &file : removed) {
        m_totalSizeModel->addSize(file.dataType, -file.size);
        m_files.remove(file.fileId);
        for (const QString &dialogId : m_fileDialogs.take(file.fileId)) {
            DialogRecord &record = dialogRecord(dialogId);
            record.sizeModel->addSize(record.scan.files.take(file.fileId), -file.size);
            const QList<MediaContentRecord> contents = record.scan.contents;
            for (const MediaContentRecord &content : contents) {
                if (content.fileId == file.fileId) {
                    forgetContent(record, content);
                }
            }
        }
    }
    updateDialogIds();
    updateSelectDlgSize();
}

// Takes a resource out of its dialog's records, the view lists and the selection.
void MediaStorageModel::forgetContent(DialogRecord &record, const MediaContentRecord &content)
{
    record.scan.contents.removeIf(
            [&content](const MediaContentRecord &each) { return each.sameResource(content); });
    for (MediaStorageViewModel *view : {m_mediaView, m_fileView, m_musicView}) {
        if (view && view->dialogId() == content.dialogId) {
            view->removeRecord(content);
        }
    }
    const auto unselected = std::remove_if(
            m_selected.begin(), m_selected.end(),
            [&content](const MediaContentRecord &each) { return each.sameResource(content); });
    if (unselected != m_selected.end()) {
        m_selected.erase(unselected, m_selected.end());
        Q_EMIT selectCountChanged();
        updateSelectSize();
    }
}

void MediaStorageModel::finishStage(int generation, int dataType)
{
    if (generation != m_generation) {
        return;
    }
    addRemovedBytes(m_totalSizeModel->sizeOf(dataType));
    m_totalSizeModel->setSize(dataType, 0);
}

void MediaStorageModel::finishDeletion()
{
    setClearProgress(100);
}

void MediaStorageModel::addRemovedBytes(qint64 bytes)
{
    m_removedBytes += bytes;
    if (m_plannedBytes > 0) {
        setClearProgress(int(qMax<qint64>(
                m_clearProgress, qMin<qint64>(99, m_removedBytes * 100 / m_plannedBytes))));
    }
}

void MediaStorageModel::deleteMediaItem(MediaContentItem *mediaInfo)
{
    if (!mediaInfo || m_cancel) {
        return;
    }
    QMutexLocker locker(&m_mutex);
    const MediaContentRecord content = mediaInfo->record();
    DialogRecord *record = m_dialogs.value(content.dialogId);
    const bool bKnown = record
            && std::any_of(record->scan.contents.cbegin(), record->scan.contents.cend(),
                           [&content](const MediaContentRecord &each) {
                               return each.sameResource(content);
                           });
    if (!bKnown) {
        return;
    }
    const QList<RemovedFile> removed = deleteRecordedFiles(
            m_cache.fileDataMgr(), m_cache.cacheFiles(), filesOfContent(content));
    // The item stays listed while its own file is there.
    const bool bSourceGone =
            std::any_of(removed.cbegin(), removed.cend(), [&content](const RemovedFile &file) {
                return file.fileId == content.fileId;
            });
    if (bSourceGone) {
        forgetContent(*record, content);
    }
    applyRemoved(m_generation, removed);
}

QList<MediaStorageModel::RemovedFile>
MediaStorageModel::deleteRecordedFiles(FileDataMgr *fileDataMgr,
                                       storage::CacheFileStorage *cacheFiles,
                                       const QList<RemovedFile> &files)
{
    QList<CachedFile> cached;
    for (const RemovedFile &file : files) {
        cached.append(cachedFileAt(file.fileId, file.path));
    }
    const QList<QString> gone = deleteCachedFiles(fileDataMgr, cacheFiles, cached);
    const QSet<QString> goneIds(gone.cbegin(), gone.cend());
    QList<RemovedFile> removed;
    for (const RemovedFile &file : files) {
        if (goneIds.contains(file.fileId)) {
            removed.append(file);
        }
    }
    return removed;
}

void MediaStorageModel::messageRemoved(const QString &dialogId, qint64 messageId)
{
    QMetaObject::invokeMethod(this,
                              [this, dialogId, messageId] { removeMessage(dialogId, messageId); });
}

void MediaStorageModel::removeMessage(const QString &dialogId, qint64 messageId)
{
    QMutexLocker locker(&m_mutex);
    DialogRecord *record = m_dialogs.value(dialogId);
    if (!record) {
        return;
    }
    const QList<MediaContentRecord> contents = record->scan.contents;
    for (const MediaContentRecord &content : contents) {
        if (content.key.messageId != messageId) {
            continue;
        }
        forgetContent(*record, content);
        for (const QString &fileId : {content.fileId, content.thumbId, content.livePhotoId}) {
            const bool bStillNamed =
                    std::any_of(record->scan.contents.cbegin(), record->scan.contents.cend(),
                                [&fileId](const MediaContentRecord &other) {
                                    return other.fileId == fileId || other.thumbId == fileId
                                            || other.livePhotoId == fileId;
                                });
            if (fileId.isEmpty() || bStillNamed || !record->scan.files.contains(fileId)) {
                continue;
            }
            record->sizeModel->addSize(record->scan.files.take(fileId),
                                       -m_files.value(fileId).size);
            m_fileDialogs[fileId].removeOne(dialogId);
        }
    }
    updateDialogIds();
    updateSelectDlgSize();
}
