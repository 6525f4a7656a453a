#pragma once

#include "contentitem.h"

class FileData;
namespace im {
class FileInfo;
}

// Content that carries a file: photos, videos, voice, music and documents.
class FileItem : public ContentItem
{
public:
    FileItem(const im::Message &message, FileManager *files);

    QSharedPointer<FileData> sourceFilePtr() const { return m_source; }
    QSharedPointer<FileData> thumbFilePtr() const { return m_thumb; }
    bool validThumbFile() const { return !m_thumb.isNull(); }
    QString displayName() const { return m_displayName; }
    QString keywordText() const override;

protected:
    // The file of a protocol record, registered with the account's files so that its download
    // state is shared with every other holder.
    static QSharedPointer<FileData> resolveFile(const im::FileInfo &info, int type,
                                                FileManager *files);

private:
    QSharedPointer<FileData> m_source;
    QSharedPointer<FileData> m_thumb;
    QString m_displayName;
};
