import QtQuick
import QtQuick.Layouts
import MediaGallery

// The five lists of the gallery, one per tab, of which the current tab's shows: photos and videos
// in a grid of dated sections, the others in rows. They show a chat's own lists, or the hits of a
// search in the same form.
StackLayout {
    id: lists

    // The GalleryPane, which opens, ticks and offers the actions of the items.
    required property var gallery
    // What the list of a type shows: a MediaResource of the chat, or the search; null for none.
    property var sourceOf: type => null
    // The lists show the hits of a search.
    property bool searching: false
    readonly property GalleryController controller: gallery.controller
    readonly property Item currentView: [photoTab, fileTab, linkTab, musicTab, voiceTab][currentIndex]
    readonly property Item photoView: photoTab
    readonly property string noHitsText: qsTr("Try other words or fewer filters.")

    function showNewest() {
        photoTab.showNewest();
    }

    ListTab {
        id: photoTab
        objectName: (lists.searching ? "hits" : "list") + 2
        resource: lists.sourceOf(2)
        emptyGlyph: "\u25a3"
        emptyTitle: lists.searching ? qsTr("No photos or videos found") : qsTr("No photos or videos yet")
        emptyText: lists.searching ? lists.noHitsText
                                   : qsTr("Photos and videos shared in this chat show up here.")
        delegate: PhotoSection {
            files: lists.controller.files
            gallery: lists.gallery
        }
    }
    ListTab {
        id: fileTab
        objectName: (lists.searching ? "hits" : "list") + 6
        resource: lists.sourceOf(6)
        emptyGlyph: "\u2630"
        emptyTitle: lists.searching ? qsTr("No files found") : qsTr("No files yet")
        emptyText: lists.searching ? lists.noHitsText
                                   : qsTr("Documents shared in this chat show up here.")
        delegate: FileRow {
            files: lists.controller.files
            gallery: lists.gallery
        }
    }
    ListTab {
        id: linkTab
        objectName: (lists.searching ? "hits" : "list") + 1
        resource: lists.sourceOf(1)
        emptyGlyph: "\u2197"
        emptyTitle: lists.searching ? qsTr("No links found") : qsTr("No links yet")
        emptyText: lists.searching ? lists.noHitsText
                                   : qsTr("Links shared in this chat show up here.")
        delegate: LinkRow {
            gallery: lists.gallery
        }
    }
    ListTab {
        id: musicTab
        objectName: (lists.searching ? "hits" : "list") + 4
        resource: lists.sourceOf(4)
        emptyGlyph: "\u266a"
        emptyTitle: lists.searching ? qsTr("No music found") : qsTr("No music yet")
        emptyText: lists.searching ? lists.noHitsText
                                   : qsTr("Songs shared in this chat show up here.")
        delegate: MusicRow {
            files: lists.controller.files
            player: lists.controller.player
            accountId: lists.controller.account.userId
            gallery: lists.gallery
        }
    }
    ListTab {
        id: voiceTab
        objectName: (lists.searching ? "hits" : "list") + 3
        resource: lists.sourceOf(3)
        emptyGlyph: "\u25cf"
        emptyTitle: lists.searching ? qsTr("No voice messages found") : qsTr("No voice messages yet")
        emptyText: lists.searching ? lists.noHitsText
                                   : qsTr("Voice messages of this chat show up here.")
        delegate: VoiceRow {
            files: lists.controller.files
            player: lists.controller.player
            accountId: lists.controller.account.userId
            gallery: lists.gallery
        }
    }
}
