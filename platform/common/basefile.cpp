#include "basefile.h"

#include "cachelayout.h"
#include "constants.h"

namespace {

qsizetype nameStart(const QString &path)
{
    return path.lastIndexOf(QLatin1Char('/')) + 1;
}

// What a file made from localPath keeps: the folder alone when the name in the path is the
// cache's name of the file.
QString locationOf(const QString &localPath, const QString &fileId, const QString &suffix)
{
    const qsizetype start = nameStart(localPath);
    return localPath.sliced(start) == CacheLayout::fileName(fileId, suffix) ? localPath.first(start)
                                                                            : localPath;
}

} // namespace

BaseFile::BaseFile(const QString &fileId, const QString &suffix, qint64 size,
                   const QString &localPath)
    : m_fileId(fileId)
    , m_suffix(suffix)
    , m_size(qMax<qint64>(0, size))
    , m_location(locationOf(localPath, fileId, suffix))
{ }

BaseFile::BaseFile(const QString &fileId, const QString &suffix, qint64 size,
                   const CacheFolder &folder)
    : m_fileId(fileId)
    , m_suffix(suffix)
    , m_size(qMax<qint64>(0, size))
    , m_location(folder.path)
{ }

BaseFile::~BaseFile() = default;

bool BaseFile::hasOwnPath() const
{
    return !m_location.isEmpty() && !m_location.endsWith(QLatin1Char('/'));
}

QString BaseFile::localPath() const
{
    return hasOwnPath() ? m_location : m_location + CacheLayout::fileName(m_fileId, m_suffix);
}

QString BaseFile::folder() const
{
    return hasOwnPath() ? m_location.first(nameStart(m_location)) : m_location;
}

QString BaseFile::fileName() const
{
    return hasOwnPath() ? m_location.sliced(nameStart(m_location))
                        : CacheLayout::fileName(m_fileId, m_suffix);
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
