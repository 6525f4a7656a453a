import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

ApplicationWindow {
    id: window

    required property GalleryController controller
    property int initialTab: 2
    // 0 the media of a chat, 1 storage usage, 2 bulk download.
    property int initialSection: 0
    // The chosen list shows its first page with every thumbnail in it; screenshots wait for it.
    readonly property bool pageReady: [gallery.pageReady,
        storageSection.item !== null && storageSection.item.ready,
        downloadSection.item !== null && downloadSection.item.ready][rail.currentIndex]

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

        NavRail {
            id: rail
            Layout.fillHeight: true
            currentIndex: window.initialSection
        }

        StackLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: rail.currentIndex

            RowLayout {
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
                    itemMenu: itemMenu
                    chatPicker: chatPicker
                }
            }

            // The other sections are made when first shown and kept, so that a scan or a
            // download they started goes on while the user looks elsewhere.
            Loader {
                id: storageSection
                objectName: "storageSection"
                active: rail.currentIndex === 1 || item !== null
                sourceComponent: StoragePage {
                    controller: window.controller
                }
            }

            Loader {
                id: downloadSection
                objectName: "downloadSection"
                active: rail.currentIndex === 2 || item !== null
                sourceComponent: SyncPage {
                    controller: window.controller
                }
            }
        }
    }

    PreviewOverlay {
        id: viewer
        anchors.fill: parent
        files: window.controller.files
        video: window.controller.video
        preview: window.controller.preview
        itemMenu: itemMenu
    }

    ChatPicker {
        id: chatPicker
        chats: window.controller.chats
    }

    ItemMenu {
        id: itemMenu
        controller: window.controller
        chatPicker: chatPicker
    }

    Rectangle {
        id: toast
        objectName: "toast"

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
