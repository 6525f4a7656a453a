import QtQuick
import QtQuick.Controls.Basic
import MediaGallery

// One dated section of the photo list: the month (or today) as a header, its items as a grid.
Column {
    id: section

    // The section's MediaItemModel.
    required property var itemModel
    property MediaFiles files
    property var viewer: null

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
        width: section.width
        spacing: Theme.gap

        Repeater {
            model: section.itemModel

            delegate: PhotoTile {
                files: section.files
                viewer: section.viewer
                size: section.tileSize
            }
        }
    }
}
