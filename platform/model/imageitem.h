#pragma once

#include "fileitem.h"

// A photo; a live photo also carries a short video.
class ImageItem : public FileItem
{
public:
    ImageItem(const im::Message &message, FileManager *files, const ResolvedFiles &resolved);

    bool hasLivePhoto() const { return !m_livePhoto.isNull(); }
    const QSharedPointer<FileData> &livePhotoFilePtr() const { return m_livePhoto; }

private:
    QSharedPointer<FileData> m_livePhoto;
};
