#pragma once

#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>

// The filter of a media search. QML builds and passes it, so it is a gadget.
class SearchKey
{
    Q_GADGET
    Q_PROPERTY(QString keyword MEMBER keyword)
    Q_PROPERTY(QList<qint64> senderIds MEMBER senderIds)
    Q_PROPERTY(qint64 startTime MEMBER startTime)
    Q_PROPERTY(qint64 endTime MEMBER endTime)
    Q_PROPERTY(QString sourceDlgId MEMBER sourceDlgId)
    Q_PROPERTY(QStringList dialogIds MEMBER dialogIds)

public:
    // True when nothing filters: no keyword, no sender and no time bound.
    Q_INVOKABLE bool isEmpty() const;
    bool operator==(const SearchKey &other) const;
    bool operator!=(const SearchKey &other) const { return !(*this == other); }

    QString keyword;
    QList<qint64> senderIds;
    qint64 startTime = 0;  // inclusive; < 1 is open
    qint64 endTime = 0;    // inclusive; < 1 is open; the time bound a search starts from
    QString sourceDlgId;   // the dialog a view was opened from, when it differs
    QStringList dialogIds; // the dialogs of a search over several chats
};

QDebug operator<<(QDebug debug, const SearchKey &key);

Q_DECLARE_METATYPE(SearchKey)
