#include "mediautil.h"

#include "contenttype.h"
#include "mediamodellog_p.h"
#include "messagebase.h"
#include "resourceitem.h"
#include "selection/mediaselectinfo.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>

namespace {

// The search shared by every find form. compareKey(element) is positive when the key sorts above
// the element (comes before it in the descending list), negative when below, 0 when equal.
// The ends are tested first: pages are appended below and new items arrive on top, so most
// lookups are settled there without a bisection.
template<typename T, typename CompareKey>
bool findDescending(const QList<T> &list, CompareKey compareKey, int &pos)
{
    pos = 0;
    if (list.isEmpty()) {
        return false;
    }
    const int toFirst = compareKey(list.first());
    if (toFirst >= 0) {
        return toFirst == 0;
    }
    const int last = int(list.size()) - 1;
    const int toLast = compareKey(list.at(last));
    if (toLast <= 0) {
        pos = toLast == 0 ? last : last + 1;
        return toLast == 0;
    }
    int lo = 0;
    int hi = last;
    while (lo <= hi) {
        const int mid = lo + (hi - lo) / 2;
        const int toMid = compareKey(list.at(mid));
        if (toMid > 0) {
            hi = mid - 1;
        } else if (toMid < 0) {
            lo = mid + 1;
        } else {
            pos = mid;
            return true;
        }
    }
    pos = std::max(lo, hi);
    return false;
}

template<typename T> int threeWay(const T &key, const T &element)
{
    if (key > element) {
        return 1;
    }
    return element > key ? -1 : 0;
}

// Inserts "," at k, then at every fourth position after the previous comma (three digits and the
// comma itself) while that lies inside the text.
QString withSeparators(const QString &number, int k)
{
    QString text = number;
    for (int at = k; at < text.size(); at += 4) {
        text.insert(at, QLatin1Char(','));
    }
    return text;
}

} // namespace

bool MediaUtil::find(const QList<ResourceItem *> &list, const MessageKey &key, int &pos)
{
    return findDescending(
            list, [&key](const ResourceItem *item) { return threeWay(key, item->mediaKey()); },
            pos);
}

bool MediaUtil::find(const QList<ResourceItem *> &list, const ResourceItem &item, int &pos)
{
    return findDescending(
            list, [&item](const ResourceItem *held) { return threeWay(item, *held); }, pos);
}

bool MediaUtil::find(const QList<MediaSelectInfo> &list, const MediaSelectInfo &info, int &pos)
{
    return findDescending(
            list, [&info](const MediaSelectInfo &held) { return threeWay(info, held); }, pos);
}

bool MediaUtil::find(const QList<MediaSelectInfo> &list, const MessageKey &key, int &pos)
{
    return find(list, MediaSelectInfo(key, {}), pos);
}

void MediaUtil::keywords(const QString &text, QList<QString> &out)
{
    out.clear();
    const QStringList parts = text.split(QLatin1Char(' '), Qt::KeepEmptyParts, Qt::CaseSensitive);
    for (const QString &part : parts) {
        if (part.isEmpty()) {
            continue;
        }
        out.append(part);
        bool isNumber = false;
        part.toLongLong(&isNumber, 10);
        if (!isNumber || part.size() <= 1) {
            continue;
        }
        const int variants = std::min(int(part.size()) - 1, 3);
        for (int k = 1; k <= variants; ++k) {
            out.append(withSeparators(part, k));
        }
    }
}

bool MediaUtil::matchedKeyword(const QList<QString> &keywords, const QString &text)
{
    if (keywords.isEmpty()) {
        return true;
    }
    return std::any_of(keywords.cbegin(), keywords.cend(), [&text](const QString &keyword) {
        return text.contains(keyword, Qt::CaseInsensitive);
    });
}

MessageKey MediaUtil::makeMediaKey(MessageBase *msg)
{
    if (!msg) {
        qCWarning(lcMedia) << "no message to key; using the empty key";
        return MessageKey();
    }
    if (msg->isSubMessage()) {
        return MessageKey(msg->parentMsgId(), msg->msgId());
    }
    if (msg->hasSubMsgId()) {
        return MessageKey(msg->msgId(), msg->subMsgId());
    }
    return MessageKey(msg->msgId(), 0);
}

MessageKey MediaUtil::makeMediaKey(QSharedPointer<MessageBase> msg)
{
    return makeMediaKey(msg.data());
}

int MediaUtil::listTypeOf(int contentType)
{
    return contentType == CONTENT_VIDEO ? CONTENT_PHOTO : contentType;
}

void MediaUtil::dirFileSize(const QString &path, qint64 &size)
{
    const QFileInfoList entries = QDir(path).entryInfoList(
            QDir::Files | QDir::NoSymLinks | QDir::NoDotAndDotDot, QDir::Unsorted);
    for (const QFileInfo &entry : entries) {
        size += entry.size();
    }
}
