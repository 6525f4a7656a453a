#pragma once

// The per-dialog gallery object that QML receives from the media hub.

#include "mediamodel_export.h"
#include "messageidrange.h"

#include <QHash>
#include <QObject>
#include <QSharedPointer>
#include <QString>

class AccountBase;
class DialogBase;
class MediaResource;
class MediaSearch;

// The gallery of one dialog: one typed list per resource type and the dialog's media search.
// Lives on the thread that created it (the main thread); owns the lists and the search as QObject
// children.
class MEDIAMODEL_EXPORT MediaResourceMgr : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool anonymous READ anonymous CONSTANT)

public:
    // The type codes of the typed lists, in the order they are created. Videos share the photo
    // list.
    static const QList<int> &resourceTypes();

    // bTopicParent marks the gallery of a topic's parent chat, shown without senders.
    MediaResourceMgr(AccountBase *account, QSharedPointer<DialogBase> dialog, bool bTopicParent,
                     const QString &sourceDlgId, QObject *parent = nullptr);
    // Stops and waits for every load; running pages destroy their items.
    ~MediaResourceMgr() override;

    bool anonymous() const { return m_anonymous; }
    QString sourceDlgId() const { return m_sourceDlgId; }
    QSharedPointer<DialogBase> dialog() const { return m_dialog; }

    // The list of type, or null for a type without a list of its own.
    Q_INVOKABLE MediaResource *mediaResource(int type) const;
    Q_INVOKABLE MediaSearch *mediaSearch() const { return m_search; }
    // Quits the loads of every list and of the search, leaving the models as they are.
    Q_INVOKABLE void quitView();

    // The list that shows items of a content type: videos share the photo list. Null for a type
    // no list shows.
    MediaResource *listOfType(int contentType) const;

    // Take messages out of every list and out of the search's hits.
    void removeMessages(const QList<qint64> &messageIds);
    void removeMessages(const MessageIdRange &range);
    // Clears the history up to and including messageId (all of it for messageId < 1) from every
    // list, and from the search's hits when bClearSearch.
    void clearHistory(qint64 messageId, bool bClearSearch);

    // Reloads the first items of every list whose dialog is still alive.
    void refresh();
    // Blocks until the loads of every list and of the search have ended.
    void waitForFinish();

private:
    AccountBase *const m_account;
    const QSharedPointer<DialogBase> m_dialog;
    const QString m_sourceDlgId;
    const bool m_anonymous;
    QHash<int, MediaResource *> m_resources; // children
    MediaSearch *const m_search;             // child
};
