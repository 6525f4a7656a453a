#pragma once

#include "basefile.h"
#include "file_export.h"
#include "filestorage.h"

// The account's record of one file: what a message names (id, suffix, size, display name, source)
// plus the download state of BaseFile. Identity never changes after construction; the state is
// updated by the file library from its own threads. Held by QSharedPointer; the FileManager keeps
// one object per file id while anyone holds it.
class FILE_EXPORT FileData : public BaseFile
{
public:
    // Starts from the record's state and downloaded bytes; the FileManager reconciles them with
    // what is on disk. folder is the cache folder of the record's type.
    FileData(const storage::FileRecord &record, const CacheFolder &folder);

    // Content type of the message that carries the file (2 photo, 3 voice, 4 music, 5 video, 6
    // file).
    int type() const { return m_type; }
    // The name shown to the user and used when saving a copy.
    QString name() const { return m_name; }
    // Where the bytes come from: a file:// or http:// URL.
    QString url() const { return m_url; }

    // The registry row of this file with its current state.
    storage::FileRecord record() const;

private:
    const int m_type;
    const QString m_name;
    const QString m_url;
};
