#include "sampleaccount.h"

#include "accountbase.h"
#include "accountmanager.h"
#include "cachefilestorage.h"
#include "cachelayout.h"
#include "constants.h"
#include "contenttype.h"
#include "encodedmedia.h"
#include "im.pb.h"
#include "mediainfo.h"
#include "mediamgr.h"
#include "messagebase.h"
#include "messagerecords.h"
#include "platformlog.h"
#include "sampledocuments.h"
#include "samplemedia.h"
#include "serverhistory.h"
#include "userstorageprovider.h"
#include "util.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QUrl>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>
#include <unordered_set>

namespace {

struct SampleDialog
{
    const char *id;
    const char *name;
    int type;
    int weight; // share of the media
};

const SampleDialog Dialogs[] = {
        {"u2001", "Alice Martin", DIALOG_PRIVATE, 14},
        {"u2002", "Bruno Keller", DIALOG_PRIVATE, 9},
        {"u2003", "Chen Wei", DIALOG_PRIVATE, 7},
        {"u2004", "Dana Novak", DIALOG_PRIVATE, 5},
        {"u2005", "Emil Larsen", DIALOG_PRIVATE, 4},
        {"u2006", "Fatima Haddad", DIALOG_PRIVATE, 3},
        {"g3001", "Family", DIALOG_GROUP, 16},
        {"g3002", "Project Phoenix", DIALOG_GROUP, 12},
        {"g3003", "Photo Club", DIALOG_GROUP, 15},
        {"g3004", "Music Lovers", DIALOG_GROUP, 8},
        {"g3005", "Book Club", DIALOG_GROUP, 7},
        {"s4001", "Service Notices", DIALOG_SYSTEM, 0},
};

const char *const Captions[] = {"sunset at the lake", "birthday cake",   "new office",
                                "mountain trail",     "street food",     "the cat again",
                                "whiteboard notes",   "concert tonight", "garden in bloom",
                                "train window",       "rainy city",      "first snow"};
const char *const Sites[] = {"news.example.org", "blog.example.com", "docs.example.net",
                             "video.example.org", "shop.example.com"};

// One generated source file that many messages may name; its bytes live in source/.
struct PoolFile
{
    QString path;
    QString suffix;
    qint64 size = 0;
    QString title; // a document's subject or a song's title
    QString artist;
    qint64 durationMs = 0;
    int width = 0;
    int height = 0;
};

// The kinds of media the sample draws, by share of the total.
enum SampleKind { Photo, Video, Document, Link, Music, Voice, Combined, KindCount };
const int KindWeights[KindCount] = {38, 9, 13, 14, 7, 11, 8};

class Generator
{
public:
    Generator(const QString &folder, const SampleAccount::Options &options)
        : m_folder(QDir(folder).absolutePath())
        , m_work(workFolderOf(m_folder, QCoreApplication::applicationPid()))
        , m_random(options.seed)
        , m_seed(options.seed)
        , m_now(options.now > 0 ? options.now : QDateTime::currentMSecsSinceEpoch())
        , m_mediaCount(qMax(0, options.mediaCount))
        , m_mediaCache(options.mediaCache)
    { }

    bool run(SampleAccount::Report *report);

private:
    // The folder the account is built in, beside its own, so that the finished account moves
    // into place with one rename: a build that dies leaves no half account where the account
    // goes. pid names the process that builds it.
    static QString workFolderOf(const QString &folder, qint64 pid);
    // Deletes the work folders of earlier builds of the account whose process is gone.
    void removeAbandonedWork() const;
    bool build();
    // Where a path of the finished account lies while it is built.
    QString workPathOf(const QString &finalPath) const;
    QString sourceFolder() const;
    QString sourcePath(const QString &name) const;
    bool makePools();
    bool makePictures();
    bool makeDocuments();
    bool addEncodedMedia();
    bool writeSource(const QString &name, const QByteArray &bytes, QList<PoolFile> &pool);
    PoolFile poolFile(const QString &name) const;
    QList<qint64> messageTimes(int count);
    SampleKind drawKind();
    im::FileInfo fileInfo(const QString &fileId, const PoolFile &file, const QString &name) const;
    void fillMedia(im::Message &message, SampleKind kind, int ordinal);
    im::Message makeMessage(const SampleDialog &dialog, qint64 msgId);
    QList<im::Message> makeChat(const SampleDialog &dialog, int media);
    void makeText(im::Message &message, const im::Message &lastPhoto);
    int makeAlbum(im::Message &message, int mediaLeft);
    void setTimes(QList<im::Message> &messages);
    bool downloadFile(const im::FileInfo &file, int type);
    void countFiles(const im::Message &message);
    void countFile(const im::FileInfo &file, int type);
    void countMedia(const im::Message &message);

    const QString m_folder; // where the account goes; its files name their sources there
    const QString m_work;
    QRandomGenerator m_random;
    const quint32 m_seed;
    const qint64 m_now;
    const int m_mediaCount;
    const QString m_mediaCache;
    int m_ordinal = 0; // media made so far; picks captions and pool files in turn
    AccountBase *m_account = nullptr;
    QList<PoolFile> m_pictures, m_thumbs, m_videos, m_posters, m_liveClips, m_documents, m_music,
            m_voices;
    QList<storage::CacheFileInfo> m_cacheRows;
    SampleAccount::Report m_report;
    std::unordered_set<std::string> m_countedFileIds; // each file is counted once
};

QString Generator::workFolderOf(const QString &folder, qint64 pid)
{
    const QFileInfo info(folder);
    return Util::joinPath(info.path(), QStringLiteral(".%1.init-%2").arg(info.fileName()).arg(pid));
}

void Generator::removeAbandonedWork() const
{
    const QFileInfo info(m_folder);
    const QString prefix = QStringLiteral(".%1.init-").arg(info.fileName());
    const QStringList names =
            QDir(info.path()).entryList({prefix + QLatin1Char('*')}, QDir::Dirs | QDir::Hidden);
    for (const QString &name : names) {
        bool ok = false;
        const qint64 pid = name.mid(prefix.size()).toLongLong(&ok);
        if (ok && pid > 0 && ::kill(pid_t(pid), 0) != 0 && errno == ESRCH) {
            Util::removeLocalFolder(Util::joinPath(info.path(), name));
        }
    }
}

QString Generator::workPathOf(const QString &finalPath) const
{
    return m_work + finalPath.mid(m_folder.size());
}

QString Generator::sourceFolder() const
{
    return Util::joinPath(m_work, QStringLiteral("source"));
}

QString Generator::sourcePath(const QString &name) const
{
    return Util::joinPath(sourceFolder(), name);
}

bool Generator::writeSource(const QString &name, const QByteArray &bytes, QList<PoolFile> &pool)
{
    const QString path = sourcePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush()) {
        qCWarning(lcPlatform) << "cannot write" << path;
        return false;
    }
    pool.append(poolFile(name));
    return true;
}

bool Generator::makePools()
{
    return QDir().mkpath(sourceFolder()) && makePictures() && makeDocuments() && addEncodedMedia();
}

bool Generator::makePictures()
{
    bool ok = true;
    for (int i = 0; i < 12; ++i) {
        const QColor from = QColor::fromHsv((i * 30) % 360, 180, 230);
        const QColor to = QColor::fromHsv((i * 30 + 140) % 360, 200, 120);
        const QString stem = QStringLiteral("picture%1").arg(i);
        ok = ok
                && writeSource(stem + QStringLiteral(".jpg"),
                               SampleMedia::picture(640, 480, from, to, m_seed + i), m_pictures);
        ok = ok
                && writeSource(stem + QStringLiteral("_thumb.jpg"),
                               SampleMedia::picture(160, 120, from, to, m_seed + i), m_thumbs);
    }
    return ok;
}

bool Generator::makeDocuments()
{
    const QList<SampleDocuments::Document> documents = SampleDocuments::make(m_seed);
    for (int i = 0; i < documents.size(); ++i) {
        const SampleDocuments::Document &document = documents[i];
        if (!writeSource(QStringLiteral("document%1.").arg(i) + document.suffix, document.bytes,
                         m_documents)) {
            return false;
        }
        m_documents.last().title = document.title;
    }
    return !documents.isEmpty();
}

PoolFile Generator::poolFile(const QString &name) const
{
    PoolFile file;
    file.path = sourcePath(name);
    file.suffix = QFileInfo(name).suffix();
    file.size = QFileInfo(file.path).size();
    return file;
}

// Videos, music and voice are the same for every seed: one encoded set serves all accounts.
bool Generator::addEncodedMedia()
{
    if (!EncodedMedia::provide(sourceFolder(), m_mediaCache, &m_report.mediaFromCache)) {
        return false;
    }
    const auto addVideos = [this](const QList<EncodedMedia::Video> &videos, QList<PoolFile> &pool) {
        for (const EncodedMedia::Video &video : videos) {
            PoolFile file = poolFile(video.fileName);
            file.durationMs = video.durationMs;
            file.width = video.width;
            file.height = video.height;
            pool.append(file);
        }
    };
    addVideos(EncodedMedia::videos(), m_videos);
    addVideos(EncodedMedia::liveClips(), m_liveClips);
    for (const EncodedMedia::Video &video : EncodedMedia::videos()) {
        PoolFile poster = poolFile(EncodedMedia::posterFileName(video));
        poster.width = video.width / 3;
        poster.height = video.height / 3;
        m_posters.append(poster);
    }
    for (const EncodedMedia::Track &track : EncodedMedia::tracks()) {
        PoolFile file = poolFile(track.fileName);
        file.title = track.title;
        file.artist = track.artist;
        file.durationMs = track.durationMs;
        m_music.append(file);
    }
    for (const EncodedMedia::Voice &voice : EncodedMedia::voices()) {
        PoolFile file = poolFile(voice.fileName);
        file.durationMs = voice.durationMs;
        m_voices.append(file);
    }
    return true;
}

// Times of count messages, oldest first: most in the last eight months, a few today.
QList<qint64> Generator::messageTimes(int count)
{
    QList<qint64> times;
    times.reserve(count);
    const qint64 startOfToday = QDateTime(QDateTime::fromMSecsSinceEpoch(m_now).date(), QTime(0, 0))
                                        .toMSecsSinceEpoch();
    const qint64 span = 240 * ONE_DAY_MSEC;
    for (int i = 0; i < count; ++i) {
        if (m_random.bounded(20) == 0 && m_now > startOfToday) {
            times.append(startOfToday + qint64(m_random.bounded(double(m_now - startOfToday))));
        } else {
            times.append(m_now - qint64(m_random.bounded(double(span))));
        }
    }
    std::sort(times.begin(), times.end());
    return times;
}

SampleKind Generator::drawKind()
{
    int total = 0;
    for (const int weight : KindWeights) {
        total += weight;
    }
    int pick = m_random.bounded(total);
    for (int kind = 0; kind < KindCount; ++kind) {
        if (pick < KindWeights[kind]) {
            return SampleKind(kind);
        }
        pick -= KindWeights[kind];
    }
    return Photo;
}

im::FileInfo Generator::fileInfo(const QString &fileId, const PoolFile &file,
                                 const QString &name) const
{
    im::FileInfo info;
    info.set_file_id(fileId.toStdString());
    info.set_suffix(file.suffix.toStdString());
    info.set_size(file.size);
    info.set_name(name.toStdString());
    // The source as the finished account will find it.
    const QString finalPath = m_folder + file.path.mid(m_work.size());
    info.set_url(QUrl::fromLocalFile(finalPath).toString().toStdString());
    info.set_width(file.width);
    info.set_height(file.height);
    return info;
}

void Generator::fillMedia(im::Message &message, SampleKind kind, int ordinal)
{
    // A child's own id is only its place in its album, so the album's id goes first.
    const QString id = QString::fromStdString(message.dialog_id()) + QLatin1Char('_')
            + (message.parent_msg_id() > 0
                       ? QString::number(message.parent_msg_id()) + QLatin1Char('_')
                       : QString())
            + QString::number(message.msg_id());
    const QString fileId = QStringLiteral("f") + id;
    switch (kind) {
    case Photo: {
        const int index = ordinal % m_pictures.size();
        message.set_type(CONTENT_PHOTO);
        message.set_text(Captions[ordinal % std::size(Captions)]);
        *message.mutable_file() =
                fileInfo(fileId, m_pictures[index], QStringLiteral("IMG_%1.jpg").arg(ordinal));
        *message.mutable_thumb() = fileInfo(QStringLiteral("t") + id, m_thumbs[index],
                                            QStringLiteral("IMG_%1_thumb.jpg").arg(ordinal));
        if (ordinal % 19 == 3) {
            *message.mutable_live_photo() =
                    fileInfo(QStringLiteral("l") + id, m_liveClips[ordinal % m_liveClips.size()],
                             QStringLiteral("LIVE_%1.mp4").arg(ordinal));
        }
        break;
    }
    case Video: {
        const int index = ordinal % m_videos.size();
        const PoolFile &clip = m_videos[index];
        message.set_type(CONTENT_VIDEO);
        message.set_duration(clip.durationMs);
        *message.mutable_file() = fileInfo(fileId, clip, QStringLiteral("VID_%1.mp4").arg(ordinal));
        *message.mutable_thumb() = fileInfo(QStringLiteral("t") + id, m_posters[index],
                                            QStringLiteral("VID_%1_thumb.jpg").arg(ordinal));
        break;
    }
    case Document: {
        const PoolFile &file = m_documents[ordinal % m_documents.size()];
        message.set_type(CONTENT_FILE);
        *message.mutable_file() = fileInfo(fileId, file,
                                           file.title + QLatin1Char(' ') + QString::number(ordinal)
                                                   + QLatin1Char('.') + file.suffix);
        break;
    }
    case Link: {
        const QString site = QLatin1String(Sites[ordinal % std::size(Sites)]);
        const QString url = QStringLiteral("https://") + site + QStringLiteral("/article/")
                + QString::number(1000 + ordinal);
        message.set_type(CONTENT_TEXT);
        message.set_text((QStringLiteral("worth reading: ") + url).toStdString());
        message.add_urls(url.toStdString());
        break;
    }
    case Music: {
        // The sending client read the title, the artist and the length from the file's tags.
        const PoolFile &track = m_music[ordinal % m_music.size()];
        message.set_type(CONTENT_MUSIC);
        message.set_duration(track.durationMs);
        message.set_title(track.title.toStdString());
        message.set_artist(track.artist.toStdString());
        *message.mutable_file() =
                fileInfo(fileId, track, track.title + QLatin1Char('.') + track.suffix);
        break;
    }
    case Voice: {
        const PoolFile &voice = m_voices[ordinal % m_voices.size()];
        message.set_type(CONTENT_VOICE);
        message.set_duration(voice.durationMs);
        *message.mutable_file() =
                fileInfo(fileId, voice, QStringLiteral("voice_%1.ogg").arg(ordinal));
        break;
    }
    case Combined:
    case KindCount:
        break;
    }
}

im::Message Generator::makeMessage(const SampleDialog &dialog, qint64 msgId)
{
    im::Message message;
    message.set_dialog_id(dialog.id);
    message.set_msg_id(msgId);
    // In a private chat the other side or the user speaks; in a group, one of five members.
    const qint64 other = dialog.type == DIALOG_GROUP ? 5000 + m_random.bounded(5)
                                                     : QByteArray(dialog.id).mid(1).toLongLong();
    message.set_sender_id(m_random.bounded(3) == 0 ? SampleAccount::UserId : other);
    return message;
}

bool Generator::downloadFile(const im::FileInfo &file, int type)
{
    const QString suffix = QString::fromStdString(file.suffix());
    const QString fileId = QString::fromStdString(file.file_id());
    const QString folder =
            CacheLayout::mediaPath(m_account->userCacheDataPath(), CacheLayout::MainCategory,
                                   CacheLayout::kindOfMessageType(type));
    QDir().mkpath(folder);
    const QString source = workPathOf(QUrl(QString::fromStdString(file.url())).toLocalFile());
    const QString target = folder + CacheLayout::fileName(fileId, suffix);
    if (!QFile::exists(target) && !QFile::copy(source, target)) {
        qCWarning(lcPlatform) << "cannot copy" << source << "to" << target;
        return false;
    }
    m_cacheRows.append({fileId, type, suffix, qint64(file.size()),
                        m_now - qint64(m_random.bounded(30)) * ONE_DAY_MSEC});
    return true;
}

void Generator::countFile(const im::FileInfo &file, int type)
{
    if (file.file_id().empty() || !m_countedFileIds.insert(file.file_id()).second) {
        return;
    }
    // Only the newest few thousand files are cached, so a million-row sample stays small on
    // disk; the rest wait in the source folder.
    const bool cached =
            m_report.filesDownloaded < 4000 && m_random.bounded(10) < 6 && downloadFile(file, type);
    if (cached) {
        ++m_report.filesDownloaded;
        m_report.bytesOnDisk += file.size();
    } else {
        ++m_report.filesNotDownloaded;
        m_report.bytesNotDownloaded += file.size();
    }
}

void Generator::countFiles(const im::Message &message)
{
    countFile(message.file(), message.type());
    countFile(message.thumb(), CONTENT_PHOTO);
    countFile(message.live_photo(), CONTENT_VIDEO);
    for (const im::Message &child : message.combined_messages()) {
        countFiles(child);
    }
}

// A chat's messages, oldest first: media until the chat's share is placed, about one plain text
// in four (some quoting an earlier photo), albums of two to four photos.
QList<im::Message> Generator::makeChat(const SampleDialog &dialog, int media)
{
    QList<im::Message> messages;
    im::Message lastPhoto;
    int mediaLeft = media;
    const int minimumTexts = dialog.type == DIALOG_SYSTEM ? 5 : 0;
    while (mediaLeft > 0 || messages.size() < minimumTexts) {
        im::Message message = makeMessage(dialog, 1000 + messages.size() * 2);
        if (mediaLeft <= 0 || m_random.bounded(4) == 0) {
            makeText(message, lastPhoto);
        } else if (const SampleKind kind = drawKind(); kind == Combined) {
            mediaLeft -= makeAlbum(message, mediaLeft);
        } else {
            fillMedia(message, kind, m_ordinal++);
            --mediaLeft;
            if (kind == Photo) {
                lastPhoto = message;
            }
        }
        messages.append(message);
    }
    setTimes(messages);
    return messages;
}

void Generator::makeText(im::Message &message, const im::Message &lastPhoto)
{
    message.set_type(CONTENT_TEXT);
    message.set_text("See you soon");
    if (lastPhoto.msg_id() > 0 && m_random.bounded(3) == 0) {
        message.set_text("Look at this one again");
        message.set_ref_dialog_id(lastPhoto.dialog_id());
        message.set_ref_msg_id(std::to_string(lastPhoto.msg_id()));
        *message.mutable_quote() = lastPhoto;
        ++m_report.quotes;
    }
}

// Returns the number of photos the album holds.
int Generator::makeAlbum(im::Message &message, int mediaLeft)
{
    message.set_type(CONTENT_COMBINED);
    message.set_text("Album");
    const int children = qMin(mediaLeft, 2 + m_random.bounded(3));
    for (int c = 1; c <= children; ++c) {
        im::Message *child = message.add_combined_messages();
        child->set_dialog_id(message.dialog_id());
        child->set_msg_id(c);
        child->set_parent_msg_id(message.msg_id());
        child->set_sender_id(message.sender_id());
        fillMedia(*child, Photo, m_ordinal++);
    }
    ++m_report.combinedMessages;
    return children;
}

// Spreads the messages over time once the chat is made, so that media, texts and albums are
// mixed evenly from the oldest day to today; quotes carry the time of what they quote.
void Generator::setTimes(QList<im::Message> &messages)
{
    const QList<qint64> times = messageTimes(int(messages.size()));
    QHash<qint64, qint64> timeOfId;
    for (int i = 0; i < messages.size(); ++i) {
        im::Message &message = messages[i];
        message.set_time(times[i]);
        for (im::Message &child : *message.mutable_combined_messages()) {
            child.set_time(times[i]);
        }
        timeOfId.insert(message.msg_id(), times[i]);
        if (message.has_quote()) {
            message.mutable_quote()->set_time(timeOfId.value(message.quote().msg_id()));
        }
    }
}

// The gallery rows a message gives: its media, or its link, and those of its children.
void Generator::countMedia(const im::Message &message)
{
    const int type = message.type();
    if ((type >= CONTENT_PHOTO && type <= CONTENT_FILE)
        || (type == CONTENT_TEXT && message.urls_size() > 0)) {
        ++m_report.localMediaByType[type];
    }
    for (const im::Message &child : message.combined_messages()) {
        countMedia(child);
    }
}

// Hands the stored messages to the media layer as a client does on receipt, so that the layer
// itself writes the file-reference rows, quoted media included. No gallery is open: silent.
void ingest(MediaMgr &hub, AccountBase &account, const QString &dialogId,
            const QList<im::Message> &messages)
{
    QList<MediaInfo> infos;
    MessageRecords::forEachStored(messages, [&](const im::Message &message, const MessageKey &key) {
        const QSharedPointer<MessageBase> msg(
                new MessageBase(message, account.fileManager(), account.userId()));
        infos.append(MediaInfo {msg, message.time(), key.messageId, qint32(key.subMsgId), false});
    });
    hub.saveResources(dialogId, infos, true);
}

bool Generator::run(SampleAccount::Report *report)
{
    if (AccountManager::userIdOfFolder(m_folder) != 0) {
        qCWarning(lcPlatform) << "an account exists already in" << m_folder;
        return false;
    }
    const QFileInfo target(m_folder);
    if (target.exists() && (!target.isDir() || !QDir(m_folder).isEmpty())) {
        qCWarning(lcPlatform) << m_folder << "is not an empty folder";
        return false;
    }
    removeAbandonedWork();
    Util::removeLocalFolder(m_work);
    // Renamed onto the empty folder that may stand there; the account's databases are closed by
    // then.
    if (!build()
        || ::rename(QFile::encodeName(m_work).constData(), QFile::encodeName(m_folder).constData())
                != 0) {
        qCWarning(lcPlatform) << "the sample account could not be made in" << m_folder;
        Util::removeLocalFolder(m_work);
        return false;
    }
    if (report) {
        *report = m_report;
    }
    return true;
}

bool Generator::build()
{
    if (!QDir().mkpath(m_work) || !makePools()
        || !AccountManager::writeAccountInfo(m_work, SampleAccount::UserId,
                                             QStringLiteral("Sample User"))) {
        return false;
    }
    AccountBase account(SampleAccount::UserId, m_work);
    if (!account.isValid()) {
        return false;
    }
    m_account = &account;
    MediaMgr hub(&account);
    ServerHistory server(Util::joinPath(m_work, QStringLiteral("server.db")));

    int totalWeight = 0;
    for (const SampleDialog &dialog : Dialogs) {
        totalWeight += dialog.weight;
    }
    for (const SampleDialog &dialog : Dialogs) {
        const int media = totalWeight > 0 ? m_mediaCount * dialog.weight / totalWeight : 0;
        // About every fourth message is plain text, some of them quoting an earlier photo.
        const QList<im::Message> remote = makeChat(dialog, media);
        // The oldest fifth of a chat is history that only the server still holds.
        const int serverOnly = remote.size() / 5;
        const QList<im::Message> local = remote.mid(serverOnly);
        for (auto it = local.crbegin(); it != local.crend(); ++it) {
            countFiles(*it);
        }
        // A quote names its photo's files even where only the server holds the quoted message;
        // the client learns of those files from the quote.
        for (const im::Message &message : local) {
            countFiles(message.quote());
        }
        const qint64 lastActive = remote.isEmpty() ? 0 : remote.last().time();
        if (!account.storeDialog(dialog.id, dialog.name, dialog.type, lastActive)
            || !server.store(remote) || !account.storeMessages(local)) {
            qCWarning(lcPlatform) << "cannot store the messages of" << dialog.id;
            return false;
        }
        ingest(hub, account, dialog.id, local);
        m_report.messages += local.size();
        m_report.serverOnlyMessages += serverOnly;
        for (const im::Message &message : std::as_const(local)) {
            countMedia(message);
        }
    }
    m_report.dialogs = int(std::size(Dialogs));
    return account.storage()->cacheFileStorage()->save(m_cacheRows);
}

} // namespace

bool SampleAccount::create(const QString &folder, const Options &options, Report *report)
{
    return Generator(folder, options).run(report);
}
