#pragma once

#include "fileitem.h"

class MusicItem : public FileItem
{
public:
    MusicItem(const im::Message &message, FileManager *files, const ResolvedFiles &resolved);
    // Milliseconds.
    qint64 duration() const { return m_duration; }
    // The song's title and artist from the file's tags, as the sender sent them; may be empty.
    QString title() const { return m_title; }
    QString artist() const { return m_artist; }

private:
    qint64 m_duration = 0;
    QString m_title;
    QString m_artist;
};
