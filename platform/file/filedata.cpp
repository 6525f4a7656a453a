#include "filedata.h"

FileData::FileData(const storage::FileRecord &record, const CacheFolder &folder)
    : BaseFile(record.fileId, record.suffix, record.size, folder)
    , m_type(record.type)
    , m_name(record.name)
    , m_url(record.url)
{
    setFileState(record.state);
    setDownloadedBytes(qMax<qint64>(0, record.downloaded));
}

storage::FileRecord FileData::record() const
{
    storage::FileRecord row;
    row.fileId = fileId();
    row.type = m_type;
    row.suffix = suffix();
    row.size = size();
    row.name = m_name;
    row.url = m_url;
    row.state = fileState();
    row.downloaded = downloadedBytes();
    return row;
}
