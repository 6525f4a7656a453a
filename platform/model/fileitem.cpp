#include "fileitem.h"

#include "contenttype.h"
#include "filedata.h"
#include "filemanager.h"
#include "im.pb.h"

#include <QStringDecoder>
#include <QVarLengthArray>

namespace {

bool carriesFiles(int type)
{
    return type == CONTENT_PHOTO || type == CONTENT_VOICE || type == CONTENT_MUSIC
            || type == CONTENT_VIDEO || type == CONTENT_FILE;
}

storage::FileRecord fileRecord(const im::FileInfo &info, int type, const QString &fileId)
{
    storage::FileRecord record;
    record.fileId = fileId;
    record.type = type;
    record.suffix = QString::fromStdString(info.suffix());
    record.size = info.size();
    record.name = QString::fromStdString(info.name());
    record.url = QString::fromStdString(info.url());
    return record;
}

// The name the message gives its file, as the string the file holds when the two agree: a chat
// held whole then keeps one copy of each name.
QString displayNameOf(const im::FileInfo &info, const QSharedPointer<FileData> &file)
{
    const QUtf8StringView name(info.name());
    if (file && QAnyStringView::equal(file->name(), name)) {
        return file->name();
    }
    return name.toString();
}

// The files the items of a batch resolve: ids, and where to make each one's record from, which
// only files new to the account need.
struct WantedFiles
{
    struct Source
    {
        const im::FileInfo *info;
        int type;
    };

    QList<QString> fileIds;
    QList<Source> sources;

    void add(const im::FileInfo &info, int type)
    {
        if (!info.file_id().empty()) {
            fileIds.append(QString::fromStdString(info.file_id()));
            sources.append({&info, type});
        }
    }

    // The files an item of the message resolves, with the types it gives them.
    void addFilesOf(const im::Message &message)
    {
        if (!carriesFiles(message.type())) {
            return;
        }
        add(message.file(), message.type());
        add(message.thumb(), CONTENT_PHOTO);
        if (message.type() == CONTENT_PHOTO) {
            add(message.live_photo(), CONTENT_VIDEO);
        }
    }

    storage::FileRecord recordAt(qsizetype i) const
    {
        return fileRecord(*sources.at(i).info, sources.at(i).type, fileIds.at(i));
    }
};

// Finds an id in resolved without making a string of it: a page looks up two a row.
QSharedPointer<FileData> findResolved(const ResolvedFiles &resolved, const std::string &fileId)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    QVarLengthArray<QChar, 64> utf16(decoder.requiredSpace(qsizetype(fileId.size())));
    const QChar *end = decoder.appendToBuffer(utf16.data(), QByteArrayView(fileId));
    return resolved.value(QString::fromRawData(utf16.constData(), end - utf16.constData()));
}

} // namespace

ResolvedFiles FileItem::resolveFiles(const QList<const im::Message *> &messages, FileManager *files)
{
    WantedFiles wanted;
    if (files) {
        wanted.fileIds.reserve(messages.size() * 2); // a source and a thumbnail each, as a rule
        wanted.sources.reserve(messages.size() * 2);
        for (const im::Message *message : messages) {
            wanted.addFilesOf(*message);
            if (message->has_quote()) {
                wanted.addFilesOf(message->quote());
            }
        }
    }
    if (wanted.fileIds.isEmpty()) {
        return {};
    }
    // Registering is the batched lookup: held files are shared, stored ones are read in one
    // query, and only files the table lacks are added, as resolveFile does for one file.
    const QList<QSharedPointer<FileData>> registered = files->registerFiles(
            wanted.fileIds, [&wanted](qsizetype i) { return wanted.recordAt(i); });
    ResolvedFiles resolved;
    resolved.reserve(wanted.fileIds.size());
    for (qsizetype i = 0; i < wanted.fileIds.size(); ++i) {
        if (registered.value(i)) {
            resolved.insert(wanted.fileIds.at(i), registered.at(i));
        }
    }
    return resolved;
}

QSharedPointer<FileData> FileItem::resolveFile(const im::FileInfo &info, int type,
                                               FileManager *files, const ResolvedFiles &resolved)
{
    if (info.file_id().empty() || !files) {
        return {};
    }
    if (QSharedPointer<FileData> known = findResolved(resolved, info.file_id())) {
        return known;
    }
    const QString fileId = QString::fromStdString(info.file_id());
    if (QSharedPointer<FileData> known = files->filePtrWithId(fileId, true)) {
        return known;
    }
    return files->registerFiles({fileRecord(info, type, fileId)}).value(0);
}

FileItem::FileItem(const im::Message &message, FileManager *files, const ResolvedFiles &resolved)
    : ContentItem(message)
    , m_source(resolveFile(message.file(), message.type(), files, resolved))
    , m_thumb(resolveFile(message.thumb(), CONTENT_PHOTO, files, resolved))
    , m_displayName(displayNameOf(message.file(), m_source))
{ }

QString FileItem::keywordText() const
{
    return ContentItem::keywordText() + QLatin1Char('\n') + m_displayName;
}
