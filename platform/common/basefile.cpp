#include "basefile.h"

#include "cachelayout.h"
#include "constants.h"

BaseFile::BaseFile(const QString &fileId, const QString &suffix, qint64 size, const QString &folder)
    : m_fileId(fileId)
    , m_suffix(suffix)
    , m_size(qMax<qint64>(0, size))
    , m_folder(folder)
{ }

BaseFile::~BaseFile() = default;

QString BaseFile::localPath() const
{
    return m_folder + fileName();
}

QString BaseFile::fileName() const
{
    return CacheLayout::fileName(m_fileId, m_suffix);
}

QString BaseFile::partialPath() const
{
    return localPath() + QLatin1String(CACHE_SUFFIX);
}

bool BaseFile::isComplete() const
{
    const int state = fileState();
    return state == StateDone || state == StateLocal;
}

int BaseFile::percent() const
{
    if (isComplete()) {
        return 100;
    }
    if (m_size <= 0) {
        return 0;
    }
    return int(qBound(qint64(0), downloadedBytes() * 100 / m_size, qint64(100)));
}
