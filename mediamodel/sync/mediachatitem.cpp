#include "mediachatitem.h"

#include "contenttype.h"
#include "dialogbase.h"
#include "notifyingsetter_p.h"

MediaChatItem::MediaChatItem(const QSharedPointer<DialogBase> &dialog, QObject *parent)
    : QObject(parent)
    , m_dialog(dialog)
{ }

MediaChatItem::~MediaChatItem() = default;

int MediaChatItem::kindOfType(int msgType)
{
    switch (msgType) {
    case CONTENT_PHOTO:
    case CONTENT_VIDEO:
        return KIND_MEDIA;
    case CONTENT_FILE:
        return KIND_DOC;
    case CONTENT_MUSIC:
        return KIND_AUDIO;
    case CONTENT_VOICE:
        return KIND_VOICE;
    default:
        return -1;
    }
}

QString MediaChatItem::dialogId() const
{
    return m_dialog ? m_dialog->dialogId() : QString();
}

qlonglong MediaChatItem::size(int kind) const
{
    return kind >= 0 && kind < KIND_COUNT ? m_sizes[kind] : 0;
}

qlonglong MediaChatItem::totalSize() const
{
    qlonglong total = 0;
    for (int kind = 0; kind < KIND_COUNT; ++kind) {
        if (m_checked[kind]) {
            total += m_sizes[kind];
        }
    }
    return total;
}

bool MediaChatItem::isChecked(int kind) const
{
    return kind >= 0 && kind < KIND_COUNT && m_checked[kind];
}

void MediaChatItem::setSize(int kind, qlonglong size)
{
    if (kind < 0 || kind >= KIND_COUNT || m_sizes[kind] == size) {
        return;
    }
    m_sizes[kind] = size;
    emitSizeChanged(kind);
    if (m_checked[kind]) {
        Q_EMIT totalSizeChanged();
    }
}

bool MediaChatItem::toggleChecked(int msgType)
{
    const int kind = kindOfType(msgType);
    if (kind < 0) {
        return false;
    }
    m_checked[kind] = !m_checked[kind];
    emitCheckedChanged(kind);
    Q_EMIT totalSizeChanged();
    return true;
}

void MediaChatItem::setSelected(bool bSelect)
{
    setAndNotify(this, m_selected, bSelect, &MediaChatItem::isSelectedChanged);
}

void MediaChatItem::setQuerying(bool bQuerying)
{
    setAndNotify(this, m_querying, bQuerying, &MediaChatItem::isQueryingChanged);
}

void MediaChatItem::emitSizeChanged(int kind)
{
    switch (kind) {
    case KIND_MEDIA:
        Q_EMIT mediaSizeChanged(m_sizes[kind]);
        break;
    case KIND_DOC:
        Q_EMIT docSizeChanged(m_sizes[kind]);
        break;
    case KIND_AUDIO:
        Q_EMIT audioSizeChanged(m_sizes[kind]);
        break;
    case KIND_VOICE:
        Q_EMIT voiceSizeChanged(m_sizes[kind]);
        break;
    }
}

void MediaChatItem::emitCheckedChanged(int kind)
{
    switch (kind) {
    case KIND_MEDIA:
        Q_EMIT mediaCheckedChanged();
        break;
    case KIND_DOC:
        Q_EMIT docCheckedChanged();
        break;
    case KIND_AUDIO:
        Q_EMIT audioCheckedChanged();
        break;
    case KIND_VOICE:
        Q_EMIT voiceCheckedChanged();
        break;
    }
}
