import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// The cached items of one chat on the storage screen: its media, files and music, each of which
// can be deleted alone or ticked and deleted with the others.
Rectangle {
    id: panel

    property var storage: null
    property string dialogId
    property string chatName
    property bool busy: false
    // 0 media, 1 files, 2 music.
    property int currentTab: 0
    readonly property var items: {
        if (!storage || dialogId.length === 0)
            return null;
        switch (currentTab) {
        case 1: return storage.fileViewModel(dialogId);
        case 2: return storage.musicViewModel(dialogId);
        default: return storage.mediaViewModel(dialogId);
        }
    }

    signal closeRequested
    signal deletionStarted

    function isTicked(item) {
        return storage.selectCount >= 0 && storage.isSelected(item);
    }

    radius: Theme.radius
    color: Theme.panel
    border.color: Theme.border

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 16
        spacing: 10

        RowLayout {
            Layout.fillWidth: true
            Label {
                Layout.fillWidth: true
                text: panel.chatName
                elide: Text.ElideRight
                font.pixelSize: 16
                font.weight: Font.DemiBold
                color: Theme.text
            }
            ToolButtonFlat {
                text: "✕"
                onClicked: panel.closeRequested()
            }
        }

        SegmentedControl {
            options: [qsTr("Media"), qsTr("Files"), qsTr("Music")]
            currentIndex: panel.currentTab
            onActivated: index => panel.currentTab = index
        }

        ListView {
            id: itemList
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            spacing: 2
            model: panel.items
            ScrollBar.vertical: ScrollBar { }

            delegate: Rectangle {
                id: itemRow

                required property var item
                required property string name
                required property double size
                required property double timestamp
                required property string thumbPath
                required property int type

                width: ListView.view.width
                height: 52
                radius: Theme.tileRadius
                color: itemMouse.containsMouse ? Theme.hover : "transparent"

                MouseArea {
                    id: itemMouse
                    anchors.fill: parent
                    hoverEnabled: true
                    onClicked: panel.storage.changeSelected(itemRow.item)
                }

                RowLayout {
                    anchors.fill: parent
                    anchors.rightMargin: 6
                    spacing: 8

                    CheckBox {
                        checked: panel.isTicked(itemRow.item)
                        onToggled: panel.storage.changeSelected(itemRow.item)
                    }
                    Rectangle {
                        Layout.preferredWidth: 40
                        Layout.preferredHeight: 40
                        radius: 6
                        clip: true
                        color: Theme.placeholder
                        Image {
                            anchors.fill: parent
                            visible: itemRow.thumbPath.length > 0
                            source: itemRow.thumbPath.length > 0 ? "file://" + itemRow.thumbPath : ""
                            fillMode: Image.PreserveAspectCrop
                            asynchronous: true
                            sourceSize: Qt.size(80, 80)
                        }
                        Label {
                            anchors.centerIn: parent
                            visible: itemRow.thumbPath.length === 0
                            text: itemRow.type === 4 ? "♪" : itemRow.type === 5 ? "▶" : "▤"
                            color: Theme.secondaryText
                            font.pixelSize: 16
                        }
                    }
                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: 2
                        Label {
                            Layout.fillWidth: true
                            text: itemRow.name
                            elide: Text.ElideMiddle
                            font.pixelSize: 13
                            color: Theme.text
                        }
                        Label {
                            text: Theme.size(itemRow.size) + " · " + Theme.shortDate(itemRow.timestamp)
                            font.pixelSize: 12
                            color: Theme.secondaryText
                        }
                    }
                    ToolButtonFlat {
                        text: "\u2715"
                        enabled: !panel.busy
                        onClicked: panel.storage.deleteMediaItem(itemRow.item)
                    }
                }
            }

            EmptyState {
                anchors.centerIn: parent
                visible: itemList.count === 0
                glyph: "∅"
                title: qsTr("Nothing of this kind")
            }
        }

        ToolButtonFlat {
            Layout.fillWidth: true
            primary: true
            visible: panel.storage !== null && panel.storage.selectCount > 0
            enabled: !panel.busy
            text: panel.storage
                  ? qsTr("Delete %n item(s)", "", panel.storage.selectCount)
                    + " (" + Theme.size(panel.storage.selectSize) + ")"
                  : ""
            onClicked: {
                panel.deletionStarted();
                panel.storage.deleteSelected();
            }
        }
    }
}
