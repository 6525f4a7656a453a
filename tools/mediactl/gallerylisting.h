#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

class AccountBase;
class MediaMgr;
class QTextStream;
class ResourceModel;

// A chat's typed list, or the hits of a media search, read out of the very models the gallery
// shows, for people at a terminal and for scripts.
namespace GalleryListing {

struct Item
{
    QString dialogId;
    qint64 messageId = 0;
    qint64 subMsgId = 0;
    qint64 dateTime = 0;
    int type = 0;
    QString fileName; // a link's URL for link items
};

struct Section
{
    qint64 date = 0;
    QList<Item> items;
};

struct Listing
{
    int type = 0;
    bool sectioned = false; // photos and videos of one chat come in dated sections
    QList<Section> sections;
    QList<Item> items;
};

struct SearchOptions
{
    QString keyword;
    int type = 2; // 0: every list
    qint64 senderId = 0;
    qint64 from = 0;
    qint64 to = 0;
    bool global = false;
};

// The list of type as the chat's gallery holds it after pages pages: its first page, then one
// page per scroll to the end. False, with error set, for an unknown chat or type.
bool listChat(MediaMgr &hub, const QString &dialogId, int type, int pages, Listing *listing,
              QString *error);
// Every hit of the search, page after page, up to maxPages pages.
bool searchChat(MediaMgr &hub, const QString &dialogId, const SearchOptions &options, int maxPages,
                Listing *listing, QString *error);
// The search of options.type, or of every list of the gallery in its order (2 photos and videos,
// 6 files, 1 links, 4 music, 3 voice) when it is 0: one listing per list searched.
bool searchLists(MediaMgr &hub, const QString &dialogId, const SearchOptions &options, int maxPages,
                 QList<Listing> *listings, QString *error);

// {"type": N, "sections": [{"date": MS, "items": [...]}]} for a sectioned list, else
// {"type": N, "items": [...]}; items are {"dialogId", "messageId", "subMsgId", "dateTime",
// "type", "fileName"}.
QJsonObject toJson(const Listing &listing);
// {"lists": [...]}, each list as above.
QJsonObject toJson(const QList<Listing> &listings);
void printTable(const Listing &listing, QTextStream &out);
// Each list under a line "files: N items", then its items as printTable gives them.
void printTables(const QList<Listing> &listings, QTextStream &out);

} // namespace GalleryListing
