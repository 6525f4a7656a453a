import QtQuick
import QtQuick.Controls.Basic
import MediaGallery

// A rounded thumbnail of a photo or video; videos carry a play badge with their length.
Item {
    id: tile

    objectName: "photoTile"
    // The ResourceItem.
    required property var itemModel
    property MediaFiles files
    // Opened on this item when the tile is clicked.
    property var viewer: null
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

    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: Qt.PointingHandCursor
        onClicked: if (tile.viewer) tile.viewer.openAt(tile.itemModel)
    }

    ToolTip.visible: mouse.containsMouse && itemModel.msgData && itemModel.msgData.text.length > 0
    ToolTip.delay: 600
    ToolTip.text: itemModel.msgData ? itemModel.msgData.text + "\n" + Theme.longDate(itemModel.dateTime) : ""
}
