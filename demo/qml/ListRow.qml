import QtQuick
import QtQuick.Layouts
import MediaGallery

// The frame of a row in the file, link, music and voice lists: hover highlight, and the row's
// content laid out left to right.
Item {
    id: row

    // The ResourceItem.
    required property var itemModel
    default property alias content: body.data
    readonly property bool hovered: mouse.containsMouse

    width: ListView.view ? ListView.view.width - 8 : 0
    implicitHeight: 64

    Rectangle {
        anchors.fill: parent
        anchors.topMargin: 2
        anchors.bottomMargin: 2
        radius: Theme.radius
        color: row.hovered ? Theme.hover : "transparent"
    }

    RowLayout {
        id: body
        anchors.fill: parent
        anchors.leftMargin: 10
        anchors.rightMargin: 12
        spacing: 14
    }

    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        acceptedButtons: Qt.NoButton
    }
}
