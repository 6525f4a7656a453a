#pragma once

#include "contentitem.h"

#include <QHash>

class FileData;
namespace im {
class FileInfo;
}

// Files resolved ahead for a batch of messages, by file id.
using ResolvedFiles = QHash<QString, QSharedPointer<FileData>>;

// Content that carries a file: photos, videos, voice, music and documents.
class FileItem : public ContentItem
{
public:
    // Files found in resolved are taken from there; the others are looked up one by one.
    FileItem(const im::Message &message, FileManager *files, const ResolvedFiles &resolved);

    // The files that the items of many messages name, each as the item would resolve it alone:
    // shared when someone holds it, read from the file table in one lookup, or registered.
    static ResolvedFiles resolveFiles(const QList<const im::Message *> &messages,
                                      FileManager *files);

    const QSharedPointer<FileData> &sourceFilePtr() const { return m_source; }
    const QSharedPointer<FileData> &thumbFilePtr() const { return m_thumb; }
    bool validThumbFile() const { return !m_thumb.isNull(); }
    QString displayName() const { return m_displayName; }
    QString keywordText() const override;

protected:
    // The file of a protocol record, registered with the account's files so that its download
    // state is shared with every other holder.
    static QSharedPointer<FileData> resolveFile(const im::FileInfo &info, int type,
                                                FileManager *files, const ResolvedFiles &resolved);

private:
    QSharedPointer<FileData> m_source;
    QSharedPointer<FileData> m_thumb;
    QString m_displayName;
};
