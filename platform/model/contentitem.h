#pragma once

#include <QHash>
#include <QSharedPointer>
#include <QStringList>

namespace im {
class Message;
}
class FileData;
class FileManager;

// The first content item of a message: what it shows. Immutable once built, so it is read
// freely from any thread; an edit replaces the whole item.
class ContentItem
{
public:
    explicit ContentItem(const im::Message &message);
    virtual ~ContentItem();

    // Builds the item that fits the message's type, resolving its files through the account's
    // file manager (files not known yet are registered). Files found in resolved (by id) are
    // taken from there without a lookup.
    static QSharedPointer<ContentItem>
    create(const im::Message &message, FileManager *files,
           const QHash<QString, QSharedPointer<FileData>> &resolved = {});

    int type() const { return m_type; }
    QString content() const { return m_content; }
    QStringList urls() const { return m_urls; }
    bool hasUrl() const { return !m_urls.isEmpty(); }
    bool canSave() const { return m_canSave; }
    // What a keyword search matches against: the text, the links and any file name.
    virtual QString keywordText() const;

private:
    int m_type = 0;
    bool m_canSave = true; // beside the int, where it takes no room of its own
    QString m_content;
    QStringList m_urls;
};
