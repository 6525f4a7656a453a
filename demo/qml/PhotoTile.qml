import QtQuick
import QtQuick.Controls.Basic
import MediaGallery

// A rounded thumbnail of a photo or video; videos carry a play badge with their length.
Item {
    id: tile

    objectName: "photoTile"
    // The ResourceItem, and its index in its section.
    required property var itemModel
    required property int index
    property MediaFiles files
    // The GalleryPane, which opens or ticks the item on a click.
    property var gallery: null
    property int sectionIndex: 0
    // Where the selection finds the item in the sectioned list: (section, index in section).
    readonly property point selectPoint: Qt.point(sectionIndex, index)
    readonly property bool selecting: gallery !== null && gallery.selecting
    readonly property bool ticked: selecting && gallery.isTicked(itemModel)
    property int size: 150

    readonly property bool isVideo: itemModel.type === 5
    readonly property string fileId: files ? files.thumbnailFileId(itemModel) : ""
    property url source: files ? files.thumbnailUrl(itemModel) : ""

    width: size
    height: size

    Connections {
        target: tile.files
        function onFileReady(fileId) {
            if (fileId === tile.fileId)
                tile.source = tile.files.thumbnailUrl(tile.itemModel);
        }
    }

    Rectangle {
        anchors.fill: parent
        radius: Theme.tileRadius
        color: Theme.placeholder
        visible: thumbnail.status !== Image.Ready
    }

    Image {
        id: thumbnail
        anchors.fill: parent
        source: tile.source
        sourceSize: Qt.size(tile.size, tile.size)
        // Local files decode in a blink; loading them at once keeps a shown tile complete.
        asynchronous: false
        smooth: true
    }

    Rectangle {
        anchors.fill: parent
        radius: Theme.tileRadius
        color: "black"
        opacity: mouse.containsMouse ? 0.14 : 0
        Behavior on opacity { NumberAnimation { duration: 120 } }
    }

    Rectangle {
        visible: tile.isVideo
        anchors.left: parent.left
        anchors.bottom: parent.bottom
        anchors.margins: 6
        height: 22
        width: badge.implicitWidth + 14
        radius: 11
        color: "#99000000"

        Label {
            id: badge
            anchors.centerIn: parent
            text: "\u25b6 " + Theme.duration(tile.files ? tile.files.duration(tile.itemModel) : 0)
            color: "white"
            font.pixelSize: 11
            font.weight: Font.DemiBold
        }
    }

    Rectangle {
        visible: tile.selecting
        anchors.fill: parent
        radius: Theme.tileRadius
        color: "transparent"
        border.width: tile.ticked ? 3 : 0
        border.color: Theme.accent
    }

    Rectangle {
        visible: tile.selecting
        anchors.top: parent.top
        anchors.right: parent.right
        anchors.margins: 8
        width: 24
        height: 24
        radius: 12
        color: tile.ticked ? Theme.accent : "#66000000"
        border.width: 2
        border.color: "white"

        Label {
            anchors.centerIn: parent
            visible: tile.ticked
            text: "\u2713"
            color: "white"
            font.pixelSize: 13
            font.weight: Font.Bold
        }
    }

    // In selection mode a press that moves on ticks the tiles it crosses; the list does not
    // scroll away under it. A right click offers the item's actions.
    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        cursorShape: Qt.PointingHandCursor
        preventStealing: tile.selecting
        property bool moved: false
        readonly property bool dragging: tile.selecting && (pressedButtons & Qt.LeftButton)
        onPressed: mouse => {
            moved = false;
            if (tile.selecting && mouse.button === Qt.LeftButton)
                tile.gallery.dragBegan(tile);
        }
        onPositionChanged: mouse => {
            if (!dragging)
                return;
            const p = mapToItem(tile.gallery.photoList, mouse.x, mouse.y);
            tile.gallery.dragMoved(p.x, p.y);
            moved = tile.gallery.dragged;
        }
        onReleased: mouse => {
            if (tile.selecting && mouse.button === Qt.LeftButton)
                tile.gallery.dragEnded();
        }
        onClicked: mouse => {
            if (!tile.gallery)
                return;
            if (mouse.button === Qt.RightButton)
                tile.gallery.showItemMenu(tile.itemModel, tile, mouse.x, mouse.y);
            else if (!moved)
                tile.gallery.tileClicked(tile, mouse.modifiers);
        }
    }

    ToolTip.visible: mouse.containsMouse && itemModel.msgData && itemModel.msgData.text.length > 0
    ToolTip.delay: 600
    ToolTip.text: itemModel.msgData ? itemModel.msgData.text + "\n" + Theme.longDate(itemModel.dateTime) : ""
}
