#pragma once

#include <QString>

// Where an account keeps its cached files. Every library that names a cache path goes through
// here, so the file library, the storage view and the media layer agree on the folders.
//
//   <cache>/<kind>/                 category 1: the main media cache (what messages show)
//   <cache>/<category>/<kind>/      categories 2 "temp", 4 "buffer", 8 "preview"
//
// Kinds: 0 "photo" (avatars), 2 "image", 3 "voice", 4 "video", 5 "file", 6 "music".
// A cached file is named fileId[.suffix]; while it downloads, CACHE_SUFFIX is appended.
// File ids never contain '.', so the base name of a cached file is its id.
namespace CacheLayout {

enum Category { MainCategory = 1, TempCategory = 2, BufferCategory = 4, PreviewCategory = 8 };
enum Kind {
    PhotoKind = 0,
    ImageKind = 2,
    VoiceKind = 3,
    VideoKind = 4,
    FileKind = 5,
    MusicKind = 6
};

// Content type of a message (ContentType) to cache kind; anything else is kept with files.
int kindOfMessageType(int msgType);
QString kindFolderName(int kind);
QString categoryFolderName(int category);
// The folder of one category and kind, ending with a separator.
QString mediaPath(const QString &cacheRoot, int category, int kind);
// The file name of a cached file: fileId, plus "." and the suffix when there is one.
QString fileName(const QString &fileId, const QString &suffix);

} // namespace CacheLayout
