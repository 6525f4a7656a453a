#pragma once

// Not API: which playlist each account plays from. The player is one per process and knows
// accounts by id only; the hub publishes its account's playlist for as long as it lives.

#include <QtGlobal>

class MediaAudio;

// Publishes playlist as the account's from construction to destruction. A later publication for
// the same account replaces it, and ending an older one leaves the newer one in place.
class PlaylistPublication
{
public:
    PlaylistPublication(qint64 accountId, MediaAudio *playlist);
    ~PlaylistPublication();
    Q_DISABLE_COPY_MOVE(PlaylistPublication)

    // The playlist published for the account; null when none is. Any thread.
    static MediaAudio *playlistOf(qint64 accountId);

private:
    const qint64 m_accountId;
    MediaAudio *const m_playlist;
};
