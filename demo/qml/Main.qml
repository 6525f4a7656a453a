import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

ApplicationWindow {
    id: window

    required property GalleryController controller
    property int initialTab: 2
    // The chosen list shows its first page with every thumbnail in it; screenshots wait for it.
    readonly property bool pageReady: gallery.pageReady

    width: 1180
    height: 760
    minimumWidth: 720
    minimumHeight: 480
    visible: true
    color: Theme.window
    title: qsTr("Shared media") + (gallery.chatName ? " — " + gallery.chatName : "")

    footer: PlayerBar {
        visible: item !== null
        player: window.controller.player
        files: window.controller.files
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0

        ChatListPane {
            Layout.preferredWidth: 300
            Layout.fillHeight: true
            controller: window.controller
        }

        Rectangle {
            Layout.preferredWidth: 1
            Layout.fillHeight: true
            color: Theme.border
        }

        GalleryPane {
            id: gallery
            Layout.fillWidth: true
            Layout.fillHeight: true
            controller: window.controller
            currentType: window.initialTab
            viewer: viewer
        }
    }

    PreviewOverlay {
        id: viewer
        anchors.fill: parent
        files: window.controller.files
        preview: window.controller.preview
    }

    Rectangle {
        id: toast

        property string text

        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 28
        width: toastLabel.implicitWidth + 36
        height: 38
        radius: height / 2
        color: "#1f2937"
        opacity: toastTimer.running ? 0.94 : 0
        visible: opacity > 0

        Behavior on opacity { NumberAnimation { duration: 160 } }

        Label {
            id: toastLabel
            anchors.centerIn: parent
            text: toast.text
            color: "white"
            font.pixelSize: 13
        }

        Timer {
            id: toastTimer
            interval: 1800
        }

        Connections {
            target: window.controller
            function onNotice(text) {
                toast.text = text;
                toastTimer.restart();
            }
        }
    }
}
