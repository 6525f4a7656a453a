#include "playlists_p.h"

#include <QHash>
#include <QMutex>
#include <QMutexLocker>

namespace {

// Hubs come and go on the main thread while the player may ask from its own.
QMutex publishedMutex;
QHash<qint64, MediaAudio *> published;

} // namespace

PlaylistPublication::PlaylistPublication(qint64 accountId, MediaAudio *playlist)
    : m_accountId(accountId)
    , m_playlist(playlist)
{
    QMutexLocker locker(&publishedMutex);
    published.insert(accountId, playlist);
}

PlaylistPublication::~PlaylistPublication()
{
    QMutexLocker locker(&publishedMutex);
    if (published.value(m_accountId) == m_playlist) {
        published.remove(m_accountId);
    }
}

MediaAudio *PlaylistPublication::playlistOf(qint64 accountId)
{
    QMutexLocker locker(&publishedMutex);
    return published.value(accountId);
}
