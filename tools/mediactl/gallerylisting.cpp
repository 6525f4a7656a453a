#include "gallerylisting.h"

#include "accountbase.h"
#include "accountsummary.h"
#include "constants.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "fileitem.h"
#include "loading/mediaresource.h"
#include "loading/mediaresourcemgr.h"
#include "mediaitemmodel.h"
#include "mediamgr.h"
#include "mediasearch.h"
#include "resourcedata.h"
#include "resourceitem.h"
#include "resourcelinkitem.h"
#include "resourcemodel.h"
#include "searchkey.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QJsonArray>
#include <QTextStream>
#include <memory>

namespace GalleryListing {

namespace {

// Runs the page a loader has under way to its end, hand-back to this thread included.
template<typename Loader> void settle(Loader *loader)
{
    do {
        loader->waitForFinish();
        QCoreApplication::sendPostedEvents();
    } while (loader->isQuerying());
}

QString fileNameOf(const ResourceItem *item)
{
    if (const auto *link = qobject_cast<const ResourceLinkItem *>(item)) {
        return link->link();
    }
    const auto file = qSharedPointerDynamicCast<FileItem>(item->contentItem());
    if (!file) {
        return {};
    }
    ResourceData data;
    makeResourceData(file, data);
    return data.fileName;
}

Item itemOf(const ResourceItem *item)
{
    return {item->dialogId(), item->messageId(), item->subMsgId(),
            item->dateTime(), item->type(),      fileNameOf(item)};
}

QList<Item> itemsOf(const QAbstractListModel *model)
{
    QList<Item> items;
    for (int row = 0; row < model->rowCount(); ++row) {
        const QVariant value = model->data(model->index(row), ResourceModel::ItemModelRole);
        if (const auto *item = qobject_cast<const ResourceItem *>(value.value<QObject *>())) {
            items.append(itemOf(item));
        }
    }
    return items;
}

// A sectioned model's rows are its sections; a flat one's rows are its items.
void readModel(const ResourceModel *model, Listing *listing)
{
    listing->sections.clear();
    listing->items.clear();
    listing->sectioned = false;
    for (int row = 0; row < model->rowCount(); ++row) {
        const QVariant value = model->data(model->index(row), ResourceModel::ItemModelRole);
        if (const auto *section = qobject_cast<const MediaItemModel *>(value.value<QObject *>())) {
            listing->sectioned = true;
            listing->sections.append({section->date(), itemsOf(section)});
        }
    }
    if (!listing->sectioned) {
        listing->items = itemsOf(model);
    }
}

QJsonArray toJson(const QList<Item> &items)
{
    QJsonArray array;
    for (const Item &item : items) {
        array.append(QJsonObject {{"dialogId", item.dialogId},
                                  {"messageId", item.messageId},
                                  {"subMsgId", item.subMsgId},
                                  {"dateTime", item.dateTime},
                                  {"type", item.type},
                                  {"fileName", item.fileName}});
    }
    return array;
}

QString timeText(qint64 msecs)
{
    return QDateTime::fromMSecsSinceEpoch(msecs).toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

// Photos and videos share one list.
QString listName(int type)
{
    return type == CONTENT_PHOTO ? QStringLiteral("photos and videos")
                                 : AccountSummary::typeName(type);
}

void printItems(const QList<Item> &items, QTextStream &out)
{
    for (const Item &item : items) {
        out << "  " << qSetFieldWidth(16) << timeText(item.dateTime) << qSetFieldWidth(0) << "  "
            << item.dialogId << '/' << item.messageId;
        if (item.subMsgId != 0) {
            out << '.' << item.subMsgId;
        }
        out << "  type " << item.type << "  " << item.fileName << '\n';
    }
}

// A flat list's items, or a sectioned list's sections with theirs.
void printHits(const Listing &listing, QTextStream &out)
{
    printItems(listing.items, out);
    for (const Section &section : listing.sections) {
        out << QDateTime::fromMSecsSinceEpoch(section.date).toString(QStringLiteral("yyyy-MM-dd"))
            << " (" << section.items.size() << ")\n";
        printItems(section.items, out);
    }
}

} // namespace

bool listChat(MediaMgr &hub, const QString &dialogId, int type, int pages, Listing *listing,
              QString *error)
{
    MediaResourceMgr *gallery = hub.mediaResourceMgr(dialogId);
    if (!gallery) {
        *error = QStringLiteral("no chat ") + dialogId;
        return false;
    }
    MediaResource *resource = gallery->mediaResource(type);
    if (!resource) {
        *error = QStringLiteral("no list of type %1 (types: 2, 6, 1, 4, 3)").arg(type);
        return false;
    }
    settle(resource);
    for (int page = 1; page < pages && resource->hasMoreBefore(); ++page) {
        resource->loadBefore(LOAD_COUNT);
        settle(resource);
    }
    listing->type = type;
    readModel(resource->resourceModel(), listing);
    return true;
}

bool searchLists(MediaMgr &hub, const QString &dialogId, const SearchOptions &options, int maxPages,
                 QList<Listing> *listings, QString *error)
{
    const QList<int> types = options.type != 0
            ? QList<int> {options.type}
            : QList<int> {CONTENT_PHOTO, CONTENT_FILE, CONTENT_TEXT, CONTENT_MUSIC, CONTENT_VOICE};
    for (int type : types) {
        SearchOptions typed = options;
        typed.type = type;
        Listing listing;
        if (!searchChat(hub, dialogId, typed, maxPages, &listing, error)) {
            return false;
        }
        listings->append(listing);
    }
    return true;
}

bool searchChat(MediaMgr &hub, const QString &dialogId, const SearchOptions &options, int maxPages,
                Listing *listing, QString *error)
{
    MediaResourceMgr *gallery = hub.mediaResourceMgr(dialogId);
    if (!gallery) {
        *error = QStringLiteral("no chat ") + dialogId;
        return false;
    }
    // A global search has its own search over every chat; a chat's search is its gallery's.
    std::unique_ptr<MediaSearch> globalSearch;
    if (options.global) {
        QList<QString> dialogIds;
        for (const QSharedPointer<DialogBase> &dialog : hub.account()->dialogs()) {
            dialogIds.append(dialog->dialogId());
        }
        globalSearch = std::make_unique<MediaSearch>(hub.account(), true, dialogIds);
    }
    MediaSearch *search = globalSearch ? globalSearch.get() : gallery->mediaSearch();
    SearchKey key;
    key.keyword = options.keyword;
    if (options.senderId > 0) {
        key.senderIds = {options.senderId};
    }
    key.startTime = options.from;
    key.endTime = options.to;
    search->searchMediaInfo(dialogId, options.type, key, options.global);
    settle(search);
    for (int page = 1; page < maxPages && search->hasMoreBefore(); ++page) {
        search->loadBefore(LOAD_COUNT);
        settle(search);
    }
    listing->type = options.type;
    readModel(search->currentModel(), listing);
    return true;
}

QJsonObject toJson(const Listing &listing)
{
    QJsonObject object {{"type", listing.type}};
    if (!listing.sectioned) {
        object.insert("items", toJson(listing.items));
        return object;
    }
    QJsonArray sections;
    for (const Section &section : listing.sections) {
        sections.append(QJsonObject {{"date", section.date}, {"items", toJson(section.items)}});
    }
    object.insert("sections", sections);
    return object;
}

QJsonObject toJson(const QList<Listing> &listings)
{
    QJsonArray lists;
    for (const Listing &listing : listings) {
        lists.append(toJson(listing));
    }
    return {{"lists", lists}};
}

void printTable(const Listing &listing, QTextStream &out)
{
    if (!listing.sectioned) {
        out << listing.items.size() << " items of type " << listing.type << '\n';
    }
    printHits(listing, out);
}

void printTables(const QList<Listing> &listings, QTextStream &out)
{
    for (const Listing &listing : listings) {
        qsizetype count = listing.items.size();
        for (const Section &section : listing.sections) {
            count += section.items.size();
        }
        out << listName(listing.type) << ": " << count << " items\n";
        printHits(listing, out);
    }
}

} // namespace GalleryListing
