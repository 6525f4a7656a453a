#include "mediaresourcemgr.h"

#include "contenttype.h"
#include "dialogbase.h"
#include "mediaresource.h"
#include "mediasearch.h"
#include "mediautil.h"
#include "resourcemodel.h"

#include <QJSEngine>

const QList<int> &MediaResourceMgr::resourceTypes()
{
    static const QList<int> types {CONTENT_PHOTO, CONTENT_FILE, CONTENT_TEXT, CONTENT_MUSIC,
                                   CONTENT_VOICE};
    return types;
}

MediaResourceMgr::MediaResourceMgr(AccountBase *account, QSharedPointer<DialogBase> dialog,
                                   bool bTopicParent, const QString &sourceDlgId, QObject *parent)
    : QObject(parent)
    , m_account(account)
    , m_dialog(dialog)
    , m_sourceDlgId(sourceDlgId)
    , m_anonymous(bTopicParent)
    , m_search(new MediaSearch(account, false, {}, this))
{
    for (int type : resourceTypes()) {
        m_resources.insert(type, new MediaResource(account, dialog, {}, type, sourceDlgId, this));
    }
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

MediaResourceMgr::~MediaResourceMgr()
{
    quitView();
    waitForFinish();
}

MediaResource *MediaResourceMgr::mediaResource(int type) const
{
    return m_resources.value(type);
}

MediaResource *MediaResourceMgr::listOfType(int contentType) const
{
    return mediaResource(MediaUtil::listTypeOf(contentType));
}

void MediaResourceMgr::removeMessages(const QList<qint64> &messageIds)
{
    const QString dialogId = m_dialog->dialogId();
    for (MediaResource *resource : m_resources) {
        resource->resourceModel()->batchDelete(dialogId, messageIds);
    }
    m_search->batchRemove(dialogId, messageIds);
}

void MediaResourceMgr::removeMessages(const MessageIdRange &range)
{
    const QString dialogId = m_dialog->dialogId();
    for (MediaResource *resource : m_resources) {
        resource->resourceModel()->batchDelete(dialogId, range);
    }
    m_search->batchRemove(dialogId, range);
}

void MediaResourceMgr::clearHistory(qint64 messageId, bool bClearSearch)
{
    const QString dialogId = m_dialog->dialogId();
    for (MediaResource *resource : m_resources) {
        resource->resourceModel()->clearResource(dialogId, messageId);
    }
    if (bClearSearch) {
        m_search->clearResource(dialogId);
    }
}

void MediaResourceMgr::quitView()
{
    m_search->quitSearch();
    for (MediaResource *resource : m_resources) {
        resource->quit();
    }
}

void MediaResourceMgr::refresh()
{
    for (MediaResource *resource : m_resources) {
        resource->refresh();
    }
}

void MediaResourceMgr::waitForFinish()
{
    m_search->waitForFinish();
    for (MediaResource *resource : m_resources) {
        resource->waitForFinish();
    }
}
