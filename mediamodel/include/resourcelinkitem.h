#pragma once

#include "resourceitem.h"

#include <QList>
#include <QMetaObject>
#include <QString>

// A link entry: a text message with URLs. Its link is the first URL and its title the first host
// any of the URLs names. Both follow edits of the message. The type is always 1 (link), whatever
// the message reports, so that link lists hold nothing else.
class MEDIAMODEL_EXPORT ResourceLinkItem : public ResourceItem
{
    Q_OBJECT
    Q_PROPERTY(QString title READ title NOTIFY titleChanged)
    Q_PROPERTY(QString link READ link NOTIFY linkChanged)

public:
    explicit ResourceLinkItem(const MediaInfo &info);
    // A placeholder of a resource table row: no message, so link and title stay empty.
    explicit ResourceLinkItem(const storage::ResourceInfo &row);
    explicit ResourceLinkItem(const QSharedPointer<MessageBase> &msg);

    QString title() const { return m_title; }
    QString link() const { return m_link; }
    void setTitle(const QString &title);
    void setLink(const QString &link);
    // Takes link and title from the message's URLs now and again whenever its content changes.
    void setLink(const QSharedPointer<MessageBase> &msg);

    void setMsgData(QSharedPointer<MessageBase> msg) override;

Q_SIGNALS:
    void titleChanged();
    void linkChanged();

private:
    void setLink(const QList<QString> &urls);
    void refreshLink();

    QString m_title;
    QString m_link;
    // Only the latest message's edits matter, so one connection is kept at a time.
    QMetaObject::Connection m_contentConnection;
};
