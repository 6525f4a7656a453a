#include "mediaresourcemgr.h"

#include "mediaresource.h"
#include "mediasearch.h"

#include <QJSEngine>

const QList<int> &MediaResourceMgr::resourceTypes()
{
    static const QList<int> types {2, 6, 1, 4, 3};
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
