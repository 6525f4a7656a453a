#include "contentitem.h"

#include "contenttype.h"
#include "im.pb.h"
#include "imageitem.h"
#include "musicitem.h"
#include "voiceitem.h"

static QString fromStd(const std::string &text)
{
    return QString::fromStdString(text);
}

ContentItem::ContentItem(const im::Message &message)
    : m_type(message.type())
    , m_canSave(!message.not_savable())
    , m_content(fromStd(message.text()))
{
    m_urls.reserve(message.urls_size());
    for (const std::string &url : message.urls()) {
        m_urls.append(fromStd(url));
    }
}

ContentItem::~ContentItem() = default;

QSharedPointer<ContentItem> ContentItem::create(const im::Message &message, FileManager *files,
                                                const ResolvedFiles &resolved)
{
    switch (message.type()) {
    case CONTENT_PHOTO:
        return QSharedPointer<ImageItem>::create(message, files, resolved);
    case CONTENT_VOICE:
        return QSharedPointer<VoiceItem>::create(message, files, resolved);
    case CONTENT_MUSIC:
        return QSharedPointer<MusicItem>::create(message, files, resolved);
    case CONTENT_VIDEO:
    case CONTENT_FILE:
        return QSharedPointer<FileItem>::create(message, files, resolved);
    default:
        return QSharedPointer<ContentItem>::create(message);
    }
}

QString ContentItem::keywordText() const
{
    if (m_urls.isEmpty()) {
        return m_content;
    }
    return m_content + QLatin1Char('\n') + m_urls.join(QLatin1Char('\n'));
}
