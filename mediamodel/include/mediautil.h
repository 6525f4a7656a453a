#pragma once

#include "mediamodel_export.h"
#include "messagekey.h"

#include <QList>
#include <QSharedPointer>
#include <QString>

class MessageBase;
class ResourceItem;
struct MediaSelectInfo;

// Helpers shared by the list models, the selection and the storage view.
class MEDIAMODEL_EXPORT MediaUtil
{
public:
    MediaUtil() = delete;

    // Binary search in a list sorted in descending order (items newest first, selections in their
    // own order). Returns whether the key is held; pos is its row when it is, and otherwise the
    // row at which inserting it keeps the order (0 above the first, the size below the last).
    static bool find(const QList<ResourceItem *> &list, const MessageKey &key, int &pos);
    static bool find(const QList<ResourceItem *> &list, const ResourceItem &item, int &pos);
    static bool find(const QList<MediaSelectInfo> &list, const MediaSelectInfo &info, int &pos);
    static bool find(const QList<MediaSelectInfo> &list, const MessageKey &key, int &pos);

    // Splits a search text at single spaces into keywords (empty parts dropped). A number of more
    // than one digit also yields its forms with thousands separators, so that a typed 1234567
    // finds amounts written 1,234,567.
    static void keywords(const QString &text, QList<QString> &out);
    // True when there are no keywords or any of them occurs in text, ignoring case.
    static bool matchedKeyword(const QList<QString> &keywords, const QString &text);

    // The (message id, sub-message id) a message's media is filed under. A child of a combined
    // message files under the message holding it.
    static MessageKey makeMediaKey(MessageBase *msg);
    static MessageKey makeMediaKey(QSharedPointer<MessageBase> msg);

    // The gallery list a content type is shown in: videos share the photo list.
    static int listTypeOf(int contentType);

    // Adds the sizes of the regular files directly in path (no links, no sub-folders) to size.
    // size is added to, never reset, so that several folders can be summed into one total.
    static void dirFileSize(const QString &path, qint64 &size);
};
