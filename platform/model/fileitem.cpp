#include "fileitem.h"

#include "contenttype.h"
#include "filedata.h"
#include "filemanager.h"
#include "im.pb.h"

namespace {

bool carriesFiles(int type)
{
    return type == CONTENT_PHOTO || type == CONTENT_VOICE || type == CONTENT_MUSIC
            || type == CONTENT_VIDEO || type == CONTENT_FILE;
}

storage::FileRecord fileRecord(const im::FileInfo &info, int type)
{
    storage::FileRecord record;
    record.fileId = QString::fromStdString(info.file_id());
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

void appendFile(QList<storage::FileRecord> &records, const im::FileInfo &info, int type)
{
    if (!info.file_id().empty()) {
        records.append(fileRecord(info, type));
    }
}

// The files an item of the message resolves, with the types it gives them.
void appendFilesOf(QList<storage::FileRecord> &records, const im::Message &message)
{
    if (!carriesFiles(message.type())) {
        return;
    }
    appendFile(records, message.file(), message.type());
    appendFile(records, message.thumb(), CONTENT_PHOTO);
    if (message.type() == CONTENT_PHOTO) {
        appendFile(records, message.live_photo(), CONTENT_VIDEO);
    }
}

} // namespace

ResolvedFiles FileItem::resolveFiles(const QList<im::Message> &messages, FileManager *files)
{
    QList<storage::FileRecord> records;
    if (files) {
        records.reserve(messages.size() * 2); // a source and a thumbnail each, as a rule
        for (const im::Message &message : messages) {
            appendFilesOf(records, message);
            if (message.has_quote()) {
                appendFilesOf(records, message.quote());
            }
        }
    }
    if (records.isEmpty()) {
        return {};
    }
    // Registering is the batched lookup: held files are shared, stored ones are read in one
    // query, and only files the table lacks are added, as resolveFile does for one file.
    const QList<QSharedPointer<FileData>> registered = files->registerFiles(records);
    ResolvedFiles resolved;
    resolved.reserve(records.size());
    for (qsizetype i = 0; i < records.size(); ++i) {
        if (registered.value(i)) {
            resolved.insert(records.at(i).fileId, registered.at(i));
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
    const QString fileId = QString::fromStdString(info.file_id());
    if (QSharedPointer<FileData> known = resolved.value(fileId)) {
        return known;
    }
    if (QSharedPointer<FileData> known = files->filePtrWithId(fileId, true)) {
        return known;
    }
    return files->registerFiles({fileRecord(info, type)}).value(0);
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
