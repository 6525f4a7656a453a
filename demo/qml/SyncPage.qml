import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// Bulk download: chats with what is left to download of each kind, filters, the chosen chats'
// total, and the run with its progress, bytes left and time left.
Rectangle {
    id: page

    required property GalleryController controller
    readonly property var sync: controller.hub.mediaSync()
    readonly property var chats: sync ? sync.syncChats : null
    readonly property var chosen: sync ? sync.selectChats : null
    readonly property int syncState: sync ? sync.syncState : 0
    // The chats are listed with what each has left to download.
    readonly property bool ready: chats !== null && !chats.isQuerying && chats.count > 0
    // Whether a run was started from this screen; before that the state is only "ready".
    property bool started: false
    readonly property bool running: started && (syncState === 1 || syncState === 2)
    readonly property var timeFilters: [qsTr("Any time"), qsTr("Last day"), qsTr("Last week"),
        qsTr("Last month"), qsTr("Last year")]
    readonly property var kinds: [
        { code: 2, title: qsTr("Media"), size: "mediaSize", checked: "mediaChecked" },
        { code: 6, title: qsTr("Files"), size: "docSize", checked: "docChecked" },
        { code: 4, title: qsTr("Music"), size: "audioSize", checked: "audioChecked" },
        { code: 3, title: qsTr("Voice"), size: "voiceSize", checked: "voiceChecked" }
    ]

    function statusText() {
        if (!started)
            return chosen && chosen.count > 0
                    ? qsTr("%n chat(s) chosen", "", chosen.count) + " · " + Theme.size(chosen.totalSize)
                    : qsTr("Choose the chats to download");
        switch (syncState) {
        case 1: return qsTr("Downloading · %1 left · about %2").arg(Theme.size(sync.remainingSize)).arg(Theme.timeLeft(sync.remainingTime));
        case 2: return qsTr("Paused · %1 left").arg(Theme.size(sync.remainingSize));
        case 3: return qsTr("Cancelled");
        case 4: return qsTr("Every file is on this computer");
        case 5: return qsTr("Some files could not be downloaded");
        default: return qsTr("Ready");
        }
    }

    color: Theme.window
    Component.onCompleted: if (sync) sync.initModel(0, 0)
    Component.onDestruction: if (sync) sync.quitView()

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.margin
        spacing: 12

        Label {
            text: qsTr("Download media of chats")
            font.pixelSize: 22
            font.weight: Font.DemiBold
            color: Theme.text
        }

        // Filters.
        RowLayout {
            Layout.fillWidth: true
            spacing: 10

            TextField {
                Layout.preferredWidth: 240
                placeholderText: qsTr("Search chats")
                onTextEdited: page.sync.filterWithKeyword(text)
            }
            SegmentedControl {
                options: [qsTr("All"), qsTr("Groups"), qsTr("Private")]
                onActivated: index => page.sync.filterWithChatType(index)
            }
            Label {
                text: qsTr("Chats active")
                color: Theme.secondaryText
                font.pixelSize: 12
            }
            ComboBox {
                model: page.timeFilters
                onActivated: index => page.sync.filterWithChatTimeType(index)
            }
            Label {
                text: qsTr("Files sent")
                color: Theme.secondaryText
                font.pixelSize: 12
            }
            ComboBox {
                model: page.timeFilters
                onActivated: index => page.sync.filterWithFileTimeType(index)
            }
            Item { Layout.fillWidth: true }
        }

        Rectangle {
            Layout.fillWidth: true
            Layout.fillHeight: true
            radius: Theme.radius
            color: Theme.panel
            border.color: Theme.border

            ColumnLayout {
                anchors.fill: parent
                anchors.margins: 12
                spacing: 4

                RowLayout {
                    Layout.fillWidth: true
                    CheckBox {
                        objectName: "selectAllChats"
                        text: qsTr("All chats")
                        checked: page.chats ? page.chats.checkedAll : false
                        enabled: !page.running
                        onToggled: page.sync.selectAll(checked)
                    }
                    Item { Layout.fillWidth: true }
                    BusyIndicator {
                        running: page.chats !== null && page.chats.isQuerying
                        visible: running
                        Layout.preferredWidth: 26
                        Layout.preferredHeight: 26
                    }
                    Label {
                        text: page.chats ? qsTr("%n chat(s)", "", page.chats.count) : ""
                        color: Theme.secondaryText
                        font.pixelSize: 12
                    }
                }

                ListView {
                    id: chatList
                    objectName: "syncChatList"
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    clip: true
                    spacing: 2
                    model: page.chats
                    ScrollBar.vertical: ScrollBar { }

                    delegate: Rectangle {
                        id: chatRow

                        required property var chatItem
                        required property string name
                        required property bool isSelected
                        required property bool isQuerying
                        required property double totalSize

                        width: ListView.view.width
                        height: 58
                        radius: Theme.tileRadius
                        color: isSelected ? Theme.accentSoft : "transparent"

                        RowLayout {
                            anchors.fill: parent
                            anchors.rightMargin: 10
                            spacing: 10

                            CheckBox {
                                checked: chatRow.isSelected
                                enabled: !page.running
                                onToggled: page.sync.updateSelected(chatRow.chatItem)
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
                            Label {
                                Layout.preferredWidth: 180
                                text: chatRow.name
                                elide: Text.ElideRight
                                font.pixelSize: 14
                                font.weight: Font.Medium
                                color: Theme.text
                            }
                            // One chip per kind: what is left to download of it, ticked when the
                            // kind is part of the download.
                            Repeater {
                                model: page.kinds
                                delegate: Rectangle {
                                    id: chip
                                    required property var modelData
                                    readonly property bool ticked: chatRow.chatItem[modelData.checked]
                                    readonly property double bytes: chatRow.chatItem[modelData.size]
                                    Layout.preferredHeight: 28
                                    Layout.preferredWidth: chipText.implicitWidth + 20
                                    radius: 14
                                    color: ticked ? Theme.accent : Theme.panel
                                    border.color: ticked ? Theme.accent : Theme.border
                                    opacity: bytes > 0 ? 1 : 0.45
                                    Label {
                                        id: chipText
                                        anchors.centerIn: parent
                                        text: chip.modelData.title + " " + Theme.size(chip.bytes)
                                        font.pixelSize: 12
                                        color: chip.ticked ? "white" : Theme.secondaryText
                                    }
                                    MouseArea {
                                        anchors.fill: parent
                                        enabled: !page.running
                                        cursorShape: Qt.PointingHandCursor
                                        onClicked: page.sync.updateSubSelected(chatRow.chatItem, chip.modelData.code)
                                    }
                                }
                            }
                            Item { Layout.fillWidth: true }
                            BusyIndicator {
                                running: chatRow.isQuerying
                                visible: running
                                Layout.preferredWidth: 22
                                Layout.preferredHeight: 22
                            }
                            Label {
                                text: Theme.size(chatRow.totalSize)
                                font.pixelSize: 13
                                font.weight: Font.Medium
                                color: Theme.text
                            }
                        }
                    }

                    EmptyState {
                        anchors.centerIn: parent
                        visible: chatList.count === 0 && page.chats !== null && !page.chats.isQuerying
                        glyph: "⇩"
                        title: qsTr("Nothing left to download")
                        text: qsTr("Every file of the listed chats is on this computer.")
                    }
                }
            }
        }

        // The run.
        Rectangle {
            Layout.fillWidth: true
            Layout.preferredHeight: 76
            radius: Theme.radius
            color: Theme.panel
            border.color: Theme.border

            RowLayout {
                anchors.fill: parent
                anchors.margins: 14
                spacing: 12

                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 6
                    Label {
                        objectName: "syncStatus"
                        text: page.statusText()
                        font.pixelSize: 14
                        color: Theme.text
                    }
                    ProgressBar {
                        Layout.fillWidth: true
                        visible: page.started
                        from: 0
                        to: 1
                        value: page.sync ? page.sync.progress : 0
                    }
                }
                ToolButtonFlat {
                    objectName: "syncStart"
                    text: qsTr("Download")
                    primary: true
                    visible: !page.running
                    enabled: page.chosen !== null && page.chosen.totalSize > 0
                    onClicked: {
                        page.started = true;
                        page.sync.readySync();
                        page.sync.download();
                    }
                }
                ToolButtonFlat {
                    text: page.syncState === 2 ? qsTr("Resume") : qsTr("Pause")
                    visible: page.running
                    onClicked: page.sync.pause()
                }
                ToolButtonFlat {
                    text: qsTr("Cancel")
                    visible: page.running
                    onClicked: page.sync.cancel()
                }
                ToolButtonFlat {
                    text: qsTr("Retry")
                    visible: page.started && page.syncState === 5
                    onClicked: page.sync.retry()
                }
            }
        }
    }
}
