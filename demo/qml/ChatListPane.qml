import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// The account's chats, most recently active first; a click opens the chat's gallery.
Rectangle {
    id: pane

    required property GalleryController controller

    color: Theme.panel

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        RowLayout {
            Layout.fillWidth: true
            Layout.preferredHeight: 64
            Layout.leftMargin: Theme.margin
            Layout.rightMargin: Theme.margin

            Label {
                text: qsTr("Chats")
                font.pixelSize: 20
                font.weight: Font.DemiBold
                color: Theme.text
                Layout.fillWidth: true
            }
            Label {
                text: chatList.count
                font.pixelSize: 13
                color: Theme.secondaryText
            }
        }

        ListView {
            id: chatList
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: pane.controller.chats
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar { }

            delegate: Item {
                id: row

                required property string dialogId
                required property string name
                required property string kind
                required property double lastActive

                readonly property bool selected: pane.controller.currentChatId === dialogId

                width: ListView.view.width
                height: 64

                Rectangle {
                    anchors.fill: parent
                    anchors.leftMargin: 8
                    anchors.rightMargin: 8
                    radius: Theme.radius
                    color: row.selected ? Theme.accent : (rowMouse.containsMouse ? Theme.hover : "transparent")
                }

                RowLayout {
                    anchors.fill: parent
                    anchors.leftMargin: 18
                    anchors.rightMargin: 18
                    spacing: 12

                    Rectangle {
                        Layout.preferredWidth: 42
                        Layout.preferredHeight: 42
                        radius: 21
                        color: Theme.colorFor(row.name)
                        border.width: row.selected ? 2 : 0
                        border.color: "white"

                        Label {
                            anchors.centerIn: parent
                            text: Theme.initials(row.name)
                            color: "white"
                            font.pixelSize: 15
                            font.weight: Font.DemiBold
                        }
                    }

                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: 3

                        RowLayout {
                            Layout.fillWidth: true
                            Label {
                                Layout.fillWidth: true
                                text: row.name
                                elide: Text.ElideRight
                                font.pixelSize: 14
                                font.weight: Font.DemiBold
                                color: row.selected ? "white" : Theme.text
                            }
                            Label {
                                text: row.lastActive > 0 ? Theme.shortDate(row.lastActive) : ""
                                font.pixelSize: 12
                                color: row.selected ? "#dbeafe" : Theme.faintText
                            }
                        }
                        Label {
                            text: Theme.chatKindName(row.kind)
                            font.pixelSize: 12
                            color: row.selected ? "#dbeafe" : Theme.secondaryText
                        }
                    }
                }

                MouseArea {
                    id: rowMouse
                    anchors.fill: parent
                    hoverEnabled: true
                    cursorShape: Qt.PointingHandCursor
                    onClicked: pane.controller.currentChatId = row.dialogId
                }
            }
        }
    }
}
