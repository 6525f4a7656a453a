import QtQuick
import QtQuick.Controls.Basic
import MediaGallery

// One dated section of the photo list: the month (or today) as a header, its items as a grid.
Column {
    id: section

    // The section's MediaItemModel, and its row in the list.
    required property var itemModel
    required property int index
    property MediaFiles files
    // The GalleryPane, which opens and ticks the tiles.
    property var gallery: null

    // The tile at (x, y) of this section, or null.
    function tileAt(x, y) {
        const p = flow.mapFromItem(section, x, y);
        const tile = flow.childAt(p.x, p.y);
        return tile && tile.objectName === "photoTile" ? tile : null;
    }

    readonly property int preferredTile: 150
    readonly property int columns: Math.max(3, Math.floor((width + Theme.gap) / (preferredTile + Theme.gap)))
    readonly property int tileSize: Math.floor((width - (columns - 1) * Theme.gap) / columns)

    width: ListView.view ? ListView.view.width - 8 : 0
    spacing: 0

    Label {
        topPadding: 18
        bottomPadding: 10
        text: Theme.sectionTitle(section.itemModel.date)
        font.pixelSize: 15
        font.weight: Font.DemiBold
        color: Theme.text
    }

    Flow {
        id: flow
        width: section.width
        spacing: Theme.gap

        Repeater {
            model: section.itemModel

            delegate: PhotoTile {
                files: section.files
                gallery: section.gallery
                sectionIndex: section.index
                size: section.tileSize
            }
        }
    }
}
