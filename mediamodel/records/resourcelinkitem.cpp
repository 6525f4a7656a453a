#include "resourcelinkitem.h"

#include "contentitem.h"
#include "contenttype.h"
#include "messagebase.h"
#include "notifyingsetter_p.h"

#include <QUrl>

ResourceLinkItem::ResourceLinkItem(const MediaInfo &info)
    : ResourceItem(info)
{
    setLink(msgDataPtr());
    setType(CONTENT_TEXT);
}

ResourceLinkItem::ResourceLinkItem(const storage::ResourceInfo &row)
    : ResourceItem(row)
{
    setType(CONTENT_TEXT);
}

ResourceLinkItem::ResourceLinkItem(const QSharedPointer<MessageBase> &msg)
    : ResourceItem(msg)
{
    setLink(msg);
    setType(CONTENT_TEXT);
}

void ResourceLinkItem::setTitle(const QString &title)
{
    setAndNotify(this, m_title, title, &ResourceLinkItem::titleChanged);
}

void ResourceLinkItem::setLink(const QString &link)
{
    setAndNotify(this, m_link, link, &ResourceLinkItem::linkChanged);
}

void ResourceLinkItem::setLink(const QSharedPointer<MessageBase> &msg)
{
    if (!msg) {
        return;
    }
    const QSharedPointer<ContentItem> content = msg->contentItem();
    if (!content) {
        return;
    }
    setLink(content->urls());
    disconnect(m_contentConnection);
    m_contentConnection =
            connect(msg.data(), &MessageBase::contentChanged, this, &ResourceLinkItem::refreshLink);
}

void ResourceLinkItem::setMsgData(QSharedPointer<MessageBase> msg)
{
    ResourceItem::setMsgData(msg);
    setLink(msg);
    setType(CONTENT_TEXT);
}

// The title names the site: the first URL with a host gives it. A list of host-less URLs (say,
// bare file paths) falls back to the first URL as it was written.
void ResourceLinkItem::setLink(const QList<QString> &urls)
{
    if (urls.isEmpty()) {
        return;
    }
    setLink(urls.first());
    for (const QString &url : urls) {
        const QString host = QUrl(url).host(QUrl::FullyDecoded);
        if (!host.isEmpty()) {
            setTitle(host);
            return;
        }
    }
    setTitle(urls.first());
}

// An edit may replace the URLs; the current message is read again, as it may have been swapped by
// setMsgData since the connection was made.
void ResourceLinkItem::refreshLink()
{
    if (const QSharedPointer<ContentItem> content = contentItem()) {
        setLink(content->urls());
    }
}
