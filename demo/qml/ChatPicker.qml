import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import QtQuick.Templates as T
import MediaGallery

// Asks for a chat, e.g. the one to forward to: the account's chats, most recent first; a click
// hands the chosen one to the caller.
PanelPopup {
    id: picker

    // The ChatListModel.
    property var chats: null
    property string title
    // Called with the chosen chat's id.
    property var chosenCallback: null

    function choose(heading, callback) {
        title = heading;
        chosenCallback = callback;
        open();
    }

    objectName: "chatPicker"
    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: 360
    height: Math.min(520, parent ? parent.height - 80 : 520)

    contentItem: ColumnLayout {
        spacing: 10

        Label {
            Layout.fillWidth: true
            text: picker.title
            elide: Text.ElideRight
            font.pixelSize: 16
            font.weight: Font.DemiBold
            color: Theme.text
        }
        ListView {
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: picker.chats
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar { }

            delegate: Rectangle {
                id: row

                required property string dialogId
                required property string name
                required property string kind

                objectName: "pickerChat"
                width: ListView.view.width
                height: 52
                radius: Theme.radius
                color: rowMouse.containsMouse ? Theme.hover : "transparent"

                RowLayout {
                    anchors.fill: parent
                    anchors.leftMargin: 8
                    anchors.rightMargin: 8
                    spacing: 12

                    Rectangle {
                        Layout.preferredWidth: 36
                        Layout.preferredHeight: 36
                        radius: 18
                        color: Theme.colorFor(row.name)

                        Label {
                            anchors.centerIn: parent
                            text: Theme.initials(row.name)
                            color: "white"
                            font.pixelSize: 13
                            font.weight: Font.DemiBold
                        }
                    }
                    Label {
                        Layout.fillWidth: true
                        text: row.name
                        elide: Text.ElideRight
                        font.pixelSize: 14
                        color: Theme.text
                    }
                    Label {
                        text: Theme.chatKindName(row.kind)
                        font.pixelSize: 12
                        color: Theme.secondaryText
                    }
                }
                MouseArea {
                    id: rowMouse
                    anchors.fill: parent
                    hoverEnabled: true
                    cursorShape: Qt.PointingHandCursor
                    onClicked: {
                        const callback = picker.chosenCallback;
                        picker.close();
                        if (callback)
                            callback(row.dialogId);
                    }
                }
            }
        }
        ToolButtonFlat {
            objectName: "pickerCancel"
            Layout.alignment: Qt.AlignRight
            text: qsTr("Cancel")
            onClicked: picker.close()
        }
    }
}
