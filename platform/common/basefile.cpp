#include "basefile.h"

#include "cachelayout.h"
#include "constants.h"

namespace {

QString folderOf(const QString &localPath)
{
    return localPath.first(localPath.lastIndexOf(QLatin1Char('/')) + 1);
}

// The name in localPath, or null when it is the cache's name of the file.
QString nameOf(const QString &localPath, const QString &fileId, const QString &suffix)
{
    const QString name = localPath.sliced(localPath.lastIndexOf(QLatin1Char('/')) + 1);
    return name == CacheLayout::fileName(fileId, suffix) ? QString() : name;
}

} // namespace

BaseFile::BaseFile(const QString &fileId, const QString &suffix, qint64 size,
                   const QString &localPath)
    : m_fileId(fileId)
    , m_suffix(suffix)
    , m_size(qMax<qint64>(0, size))
    , m_folder(folderOf(localPath))
    , m_fileName(nameOf(localPath, fileId, suffix))
{ }

BaseFile::BaseFile(const QString &fileId, const QString &suffix, qint64 size,
                   const CacheFolder &folder)
    : m_fileId(fileId)
    , m_suffix(suffix)
    , m_size(qMax<qint64>(0, size))
    , m_folder(folder.path)
{ }

BaseFile::~BaseFile() = default;

QString BaseFile::localPath() const
{
    return m_folder + fileName();
}

QString BaseFile::fileName() const
{
    return m_fileName.isNull() ? CacheLayout::fileName(m_fileId, m_suffix) : m_fileName;
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
