#include "fileitem.h"

#include "filemanager.h"
#include "im.pb.h"

QSharedPointer<FileData> FileItem::resolveFile(const im::FileInfo &info, int type,
                                               FileManager *files)
{
    if (info.file_id().empty() || !files) {
        return {};
    }
    const QString fileId = QString::fromStdString(info.file_id());
    if (QSharedPointer<FileData> known = files->filePtrWithId(fileId, true)) {
        return known;
    }
    storage::FileRecord record;
    record.fileId = fileId;
    record.type = type;
    record.suffix = QString::fromStdString(info.suffix());
    record.size = info.size();
    record.name = QString::fromStdString(info.name());
    record.url = QString::fromStdString(info.url());
    const QList<QSharedPointer<FileData>> registered = files->registerFiles({record});
    return registered.value(0);
}

FileItem::FileItem(const im::Message &message, FileManager *files)
    : ContentItem(message)
    , m_source(resolveFile(message.file(), message.type(), files))
    , m_thumb(resolveFile(message.thumb(), 2, files))
    , m_displayName(QString::fromStdString(message.file().name()))
{ }

QString FileItem::keywordText() const
{
    return ContentItem::keywordText() + QLatin1Char('\n') + m_displayName;
}
