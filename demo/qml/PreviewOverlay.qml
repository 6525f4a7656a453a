import QtQuick
import QtQuick.Controls.Basic
import MediaGallery

// The full-screen viewer: one photo or video of the chat over a dark backdrop, with the previous
// (older) and next (newer) ones a click or an arrow key away. It shows the hub's preview, which
// loads and trims the items around the one shown.
Rectangle {
    id: viewer

    property MediaFiles files
    // The hub's MediaPreview.
    property var preview: null
    readonly property bool isOpen: visible
    readonly property var item: preview ? preview.resourceItem : null
    property url source

    function openAt(resourceItem) {
        if (!preview || !resourceItem)
            return;
        preview.loadFirstByMedia(resourceItem, false);
        visible = true;
        forceActiveFocus();
    }

    function close() {
        visible = false;
        if (preview)
            preview.quitView();
    }

    function refreshSource() {
        source = files && item ? files.pictureUrl(item) : "";
    }

    objectName: "previewOverlay"
    visible: false
    color: "#f0101317"
    focus: visible
    onItemChanged: refreshSource()

    Keys.onLeftPressed: if (preview) preview.previousItem()
    Keys.onRightPressed: if (preview) preview.nextItem()
    Keys.onEscapePressed: close()

    Connections {
        target: viewer.files
        function onFileReady(fileId) { viewer.refreshSource(); }
    }

    // Swallows clicks, so that the gallery beneath does not react.
    MouseArea {
        anchors.fill: parent
        onClicked: viewer.forceActiveFocus()
    }

    Image {
        id: picture
        anchors.fill: parent
        anchors.margins: 64
        anchors.bottomMargin: 96
        source: viewer.source
        fillMode: Image.PreserveAspectFit
        asynchronous: true
        smooth: true
    }

    BusyIndicator {
        anchors.centerIn: picture
        running: viewer.visible && (picture.status === Image.Loading || viewer.source.toString() === "")
        visible: running
    }

    Rectangle {
        visible: viewer.item !== null && viewer.item.type === 5
        anchors.centerIn: picture
        width: 72
        height: 72
        radius: 36
        color: "#99000000"

        Label {
            anchors.centerIn: parent
            anchors.horizontalCenterOffset: 3
            text: "\u25b6"
            color: "white"
            font.pixelSize: 30
        }
    }

    component NavButton: Rectangle {
        id: nav

        property string glyph
        signal clicked

        width: 52
        height: 52
        radius: 26
        color: navMouse.containsMouse ? "#40ffffff" : "#24ffffff"
        opacity: enabled ? 1 : 0.25

        Label {
            anchors.centerIn: parent
            text: nav.glyph
            color: "white"
            font.pixelSize: 24
        }
        MouseArea {
            id: navMouse
            anchors.fill: parent
            hoverEnabled: true
            cursorShape: Qt.PointingHandCursor
            onClicked: nav.clicked()
        }
    }

    NavButton {
        objectName: "previewPrevious"
        anchors.left: parent.left
        anchors.leftMargin: 20
        anchors.verticalCenter: picture.verticalCenter
        glyph: "\u2039"
        enabled: viewer.preview !== null && viewer.preview.hasPrevious
        onClicked: viewer.preview.previousItem()
    }

    NavButton {
        objectName: "previewNext"
        anchors.right: parent.right
        anchors.rightMargin: 20
        anchors.verticalCenter: picture.verticalCenter
        glyph: "\u203a"
        enabled: viewer.preview !== null && viewer.preview.hasNext
        onClicked: viewer.preview.nextItem()
    }

    NavButton {
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: 16
        glyph: "\u2715"
        onClicked: viewer.close()
    }

    Column {
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 24
        spacing: 4

        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            text: viewer.item && viewer.item.msgData ? viewer.item.msgData.text : ""
            visible: text.length > 0
            color: "white"
            font.pixelSize: 15
        }
        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            text: viewer.item ? Theme.longDate(viewer.item.dateTime) : ""
            color: "#b0b8c4"
            font.pixelSize: 12
        }
    }
}
