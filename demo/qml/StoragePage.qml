import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// Storage usage of the account: what its media cache takes by kind and by chat, the deletions by
// kind, chat, item and selection with their progress, and how long media are kept.
Rectangle {
    id: page

    required property GalleryController controller
    readonly property var storage: controller.hub.mediaStorageModel()
    readonly property var sizes: storage ? storage.mediaTotalSizeModel : null
    // Set when a deletion starts; the progress bar shows until the deletion reports 100.
    property bool deleting: false
    // Measured, with the chats listed.
    readonly property bool ready: storage !== null && !storage.atQuery && storage.dialogIds.length > 0
    // The chat whose items are shown in the detail panel; empty when it is closed.
    property string openedChat: ""

    function startDeletion(run) {
        deleting = true;
        run();
    }

    function checkedTypes() {
        const types = [];
        for (let i = 0; i < checkedKinds.count; ++i) {
            const kind = checkedKinds.objectAt(i);
            if (kind.checked)
                types.push(kind.type);
        }
        return types;
    }

    function selectedChats() {
        return storage.dialogIds.filter(id => storage.dialogSelected(id));
    }

    color: Theme.window
    Component.onCompleted: if (storage) storage.startLoading()

    Instantiator {
        id: checkedKinds
        model: page.sizes
        delegate: QtObject {
            required property int type
            required property bool checked
        }
    }

    Connections {
        target: page.storage
        function onClearProgressChanged() {
            if (page.storage.clearProgress >= 100 && page.deleting) {
                page.deleting = false;
                page.controller.notice(qsTr("Cached files deleted"));
            }
        }
    }

    Popup {
        id: keepMedia
        objectName: "keepMediaPopup"
        anchors.centerIn: parent
        width: 480
        height: Math.min(page.height - 40, 600)
        modal: true
        focus: true
        padding: 0
        background: Item { }

        KeepMediaPanel {
            anchors.fill: parent
            controller: page.controller
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.margin
        spacing: 14

        RowLayout {
            Layout.fillWidth: true
            spacing: 12

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Label {
                    text: qsTr("Storage usage")
                    font.pixelSize: 22
                    font.weight: Font.DemiBold
                    color: Theme.text
                }
                Label {
                    objectName: "storageSummary"
                    text: page.storage
                          ? qsTr("%1 of media on this computer · disk of %2")
                                .arg(Theme.size(page.storage.totalSize))
                                .arg(Theme.size(page.storage.volumeSize()))
                          : ""
                    font.pixelSize: 13
                    color: Theme.secondaryText
                }
            }
            BusyIndicator {
                running: page.storage !== null && page.storage.atQuery
                visible: running
                Layout.preferredWidth: 30
                Layout.preferredHeight: 30
            }
            ToolButtonFlat {
                objectName: "keepMediaButton"
                text: qsTr("Keep media")
                glyph: "\u25f7"
                onClicked: keepMedia.open()
            }
            ToolButtonFlat {
                text: qsTr("Measure again")
                glyph: "⟳"
                onClicked: page.storage.startLoading(true)
            }
            ToolButtonFlat {
                objectName: "clearAllButton"
                text: qsTr("Clear all")
                primary: true
                enabled: page.storage !== null && !page.storage.atQuery && !page.deleting
                         && page.storage.totalSize > 0
                onClicked: page.startDeletion(() => page.storage.deleteAllFiles())
            }
        }

        ProgressBar {
            Layout.fillWidth: true
            visible: page.deleting
            from: 0
            to: 100
            value: page.storage ? page.storage.clearProgress : 0
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            spacing: 14

            // By kind; gives its place to a chat's items while they are open.
            Item {
                visible: page.openedChat.length === 0
                Layout.preferredWidth: 360
                Layout.maximumWidth: 360
                Layout.fillHeight: true

                Rectangle {
                    anchors.left: parent.left
                    anchors.right: parent.right
                    anchors.top: parent.top
                    height: kindColumn.implicitHeight + 32
                    radius: Theme.radius
                    color: Theme.panel
                    border.color: Theme.border

                    // Sized by its rows, which arrive with the scan; the card follows it.
                    ColumnLayout {
                        id: kindColumn
                        anchors.left: parent.left
                        anchors.right: parent.right
                        anchors.top: parent.top
                        anchors.margins: 16
                        spacing: 10

                        UsageChart {
                            Layout.alignment: Qt.AlignHCenter
                            sizeModel: page.sizes
                            busy: page.storage !== null && page.storage.atQuery
                        }

                        Repeater {
                            model: page.sizes

                            delegate: RowLayout {
                                id: kindRow

                                required property var item
                                required property int type
                                required property double size
                                required property double percent
                                required property bool checked

                                Layout.fillWidth: true
                                spacing: 8

                                CheckBox {
                                    checked: kindRow.checked
                                    onToggled: page.sizes.checkedItem(kindRow.item)
                                }
                                Rectangle {
                                    Layout.preferredWidth: 10
                                    Layout.preferredHeight: 10
                                    radius: 5
                                    color: Theme.dataTypeColor(kindRow.type)
                                }
                                Label {
                                    Layout.fillWidth: true
                                    text: Theme.dataTypeName(kindRow.type)
                                    color: Theme.text
                                    font.pixelSize: 13
                                }
                                Label {
                                    text: kindRow.percent.toFixed(kindRow.percent < 1 ? 2 : 0) + " %"
                                    color: Theme.faintText
                                    font.pixelSize: 12
                                }
                                Label {
                                    Layout.preferredWidth: 70
                                    horizontalAlignment: Text.AlignRight
                                    text: Theme.size(kindRow.size)
                                    color: Theme.secondaryText
                                    font.pixelSize: 13
                                }
                            }
                        }

                        ToolButtonFlat {
                            Layout.fillWidth: true
                            text: page.sizes
                                  ? qsTr("Clear checked kinds (%1)").arg(Theme.size(page.sizes.selectTotalSize))
                                  : ""
                            enabled: page.sizes !== null && page.sizes.selectTotalSize > 0
                                     && !page.storage.atQuery && !page.deleting
                            onClicked: page.startDeletion(() => page.storage.deleteAllFileByType(page.checkedTypes()))
                        }
                    }
                }
            }

            // By chat.
            Rectangle {
                Layout.fillWidth: true
                Layout.fillHeight: true
                radius: Theme.radius
                color: Theme.panel
                border.color: Theme.border

                ColumnLayout {
                    anchors.fill: parent
                    anchors.margins: 16
                    spacing: 8

                    RowLayout {
                        Layout.fillWidth: true
                        Label {
                            Layout.fillWidth: true
                            text: qsTr("Chats")
                            font.pixelSize: 16
                            font.weight: Font.DemiBold
                            color: Theme.text
                        }
                        ToolButtonFlat {
                            text: page.storage
                                  ? qsTr("Clear %n chat(s)", "", page.storage.selectDlgCount)
                                    + " (" + Theme.size(page.storage.selectDlgSize) + ")"
                                  : ""
                            visible: page.storage !== null && page.storage.selectDlgCount > 0
                            enabled: !page.storage.atQuery && !page.deleting
                            onClicked: page.startDeletion(() => page.storage.deleteAllFileByDialog(page.selectedChats()))
                        }
                    }

                    ListView {
                        id: chatList
                        objectName: "storageChatList"
                        Layout.fillWidth: true
                        Layout.fillHeight: true
                        clip: true
                        spacing: 2
                        model: page.storage ? page.storage.dialogIds : []
                        ScrollBar.vertical: ScrollBar { }

                        delegate: Rectangle {
                            id: chatRow

                            required property string modelData
                            readonly property var chatSizes: page.storage.dialogSizeModel(modelData)
                            readonly property string name: page.controller.chats.nameOf(modelData) || modelData
                            readonly property bool ticked: page.storage.selectDlgCount >= 0
                                                           && page.storage.dialogSelected(modelData)

                            objectName: "storageChatRow"
                            width: ListView.view.width
                            height: 56
                            radius: Theme.tileRadius
                            color: page.openedChat === modelData ? Theme.accentSoft
                                   : rowMouse.containsMouse ? Theme.hover : "transparent"

                            MouseArea {
                                id: rowMouse
                                anchors.fill: parent
                                hoverEnabled: true
                                cursorShape: Qt.PointingHandCursor
                                onClicked: page.openedChat = page.openedChat === chatRow.modelData ? "" : chatRow.modelData
                            }

                            RowLayout {
                                anchors.fill: parent
                                anchors.leftMargin: 4
                                anchors.rightMargin: 10
                                spacing: 10

                                CheckBox {
                                    checked: chatRow.ticked
                                    onToggled: page.storage.changeDlgSelected(chatRow.modelData)
                                }
                                Rectangle {
                                    Layout.preferredWidth: 36
                                    Layout.preferredHeight: 36
                                    radius: 18
                                    color: Theme.colorFor(chatRow.name)
                                    Label {
                                        anchors.centerIn: parent
                                        text: Theme.initials(chatRow.name)
                                        color: "white"
                                        font.pixelSize: 13
                                        font.weight: Font.DemiBold
                                    }
                                }
                                ColumnLayout {
                                    Layout.fillWidth: true
                                    spacing: 4
                                    Label {
                                        Layout.fillWidth: true
                                        text: chatRow.name
                                        elide: Text.ElideRight
                                        font.pixelSize: 14
                                        font.weight: Font.Medium
                                        color: Theme.text
                                    }
                                    // The chat's share of the account, split by kind.
                                    Row {
                                        Layout.fillWidth: true
                                        height: 6
                                        Repeater {
                                            model: chatRow.chatSizes
                                            delegate: Rectangle {
                                                required property int type
                                                required property double size
                                                height: 6
                                                width: page.storage.totalSize > 0
                                                       ? Math.max(2, parent.width * size / page.storage.totalSize) : 0
                                                color: Theme.dataTypeColor(type)
                                            }
                                        }
                                    }
                                }
                                Label {
                                    text: chatRow.chatSizes ? Theme.size(chatRow.chatSizes.totalSize) : ""
                                    font.pixelSize: 13
                                    color: Theme.secondaryText
                                }
                                ToolButtonFlat {
                                    text: qsTr("Clear")
                                    enabled: !page.storage.atQuery && !page.deleting
                                    onClicked: page.startDeletion(() => page.storage.deleteAllFileByDialog([chatRow.modelData]))
                                }
                            }
                        }

                        EmptyState {
                            anchors.centerIn: parent
                            visible: chatList.count === 0 && page.storage !== null && !page.storage.atQuery
                            glyph: "◔"
                            title: qsTr("Nothing cached")
                            text: qsTr("Media you open are kept here until you clear them.")
                        }
                    }
                }
            }

            ChatStoragePanel {
                Layout.preferredWidth: 360
                Layout.fillHeight: true
                visible: page.openedChat.length > 0
                storage: page.storage
                dialogId: page.openedChat
                chatName: page.controller.chats.nameOf(page.openedChat)
                busy: page.deleting
                onCloseRequested: page.openedChat = ""
                onDeletionStarted: page.deleting = true
            }
        }
    }
}
