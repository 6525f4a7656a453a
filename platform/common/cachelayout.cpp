#include "cachelayout.h"

#include "contenttype.h"
#include "util.h"

namespace CacheLayout {

int kindOfMessageType(int msgType)
{
    switch (msgType) {
    case CONTENT_PHOTO:
        return ImageKind;
    case CONTENT_VOICE:
        return VoiceKind;
    case CONTENT_MUSIC:
        return MusicKind;
    case CONTENT_VIDEO:
        return VideoKind;
    default:
        return FileKind;
    }
}

QString kindFolderName(int kind)
{
    switch (kind) {
    case PhotoKind:
        return QStringLiteral("photo");
    case ImageKind:
        return QStringLiteral("image");
    case VoiceKind:
        return QStringLiteral("voice");
    case VideoKind:
        return QStringLiteral("video");
    case MusicKind:
        return QStringLiteral("music");
    default:
        return QStringLiteral("file");
    }
}

QString categoryFolderName(int category)
{
    switch (category) {
    case TempCategory:
        return QStringLiteral("temp");
    case BufferCategory:
        return QStringLiteral("buffer");
    case PreviewCategory:
        return QStringLiteral("preview");
    default:
        return QString();
    }
}

QString mediaPath(const QString &cacheRoot, int category, int kind)
{
    QString path = cacheRoot;
    const QString categoryName = categoryFolderName(category);
    if (!categoryName.isEmpty()) {
        path = Util::joinPath(path, categoryName);
    }
    return Util::joinPath(path, kindFolderName(kind)) + Util::separator();
}

QString fileName(const QString &fileId, const QString &suffix)
{
    return suffix.isEmpty() ? fileId : fileId + QLatin1Char('.') + suffix;
}

} // namespace CacheLayout
