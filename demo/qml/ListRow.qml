import QtQuick
import QtQuick.Layouts
import MediaGallery

// The frame of a row in the file, link, music and voice lists: hover highlight, the row's content
// laid out left to right, and the item's actions on a right click.
Item {
    id: row

    // The ResourceItem.
    required property var itemModel
    // The GalleryPane, which offers the item's actions.
    property var gallery: null
    // A left click on the row does something of its own: activated() tells.
    property bool clickable: false
    default property alias content: body.data
    readonly property bool hovered: mouse.containsMouse
    signal activated

    width: ListView.view ? ListView.view.width - 8 : 0
    implicitHeight: 64

    Rectangle {
        anchors.fill: parent
        anchors.topMargin: 2
        anchors.bottomMargin: 2
        radius: Theme.radius
        color: row.hovered ? Theme.hover : "transparent"
    }

    // Beneath the content, whose buttons take their own clicks; every other click is the row's.
    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        acceptedButtons: row.clickable ? Qt.LeftButton | Qt.RightButton : Qt.RightButton
        cursorShape: row.clickable ? Qt.PointingHandCursor : Qt.ArrowCursor
        onClicked: mouse => {
            if (mouse.button === Qt.LeftButton)
                row.activated();
            else if (row.gallery)
                row.gallery.showItemMenu(row.itemModel, row, mouse.x, mouse.y);
        }
    }

    RowLayout {
        id: body
        anchors.fill: parent
        anchors.leftMargin: 10
        anchors.rightMargin: 12
        spacing: 14
    }
}
