import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import QtQuick.Templates as T
import MediaGallery

// Asks before one item's message is deleted: who sent it, and, for what the user sent, whether
// to withdraw it for everyone in the chat too. A photo of an album takes its album along.
PanelPopup {
    id: dialog

    property ItemActions actions
    // The ResourceItem asked about, and what the actions tell of its message.
    property var item: null
    property var info: ({})

    function ask(resourceItem) {
        item = resourceItem;
        info = actions.deletionInfo(resourceItem);
        forEveryone.checked = false;
        open();
    }

    objectName: "deleteDialog"
    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: 400
    padding: 20

    contentItem: ColumnLayout {
        spacing: 12

        Label {
            Layout.fillWidth: true
            text: dialog.info.album ? qsTr("Delete this album?")
                                    : qsTr("Delete this %1?").arg(Theme.itemKindName(dialog.item ? dialog.item.type : 0))
            font.pixelSize: 16
            font.weight: Font.DemiBold
            color: Theme.text
        }
        Label {
            objectName: "deleteSender"
            Layout.fillWidth: true
            text: qsTr("Sent by %1").arg(dialog.info.sender ?? "")
                  + (dialog.item ? "  \u00b7  " + Theme.longDate(dialog.item.dateTime) : "")
            font.pixelSize: 13
            color: Theme.secondaryText
        }
        Label {
            Layout.fillWidth: true
            visible: dialog.info.album === true
            text: qsTr("The photo belongs to an album, which is deleted as a whole.")
            wrapMode: Text.WordWrap
            font.pixelSize: 13
            color: Theme.secondaryText
        }
        CheckBox {
            id: forEveryone
            objectName: "deleteForEveryone"
            visible: dialog.info.canWithdraw === true
            text: qsTr("Also delete for everyone in the chat")
            font.pixelSize: 13
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: 10

            Item { Layout.fillWidth: true }
            ToolButtonFlat {
                objectName: "deleteCancel"
                text: qsTr("Cancel")
                onClicked: dialog.close()
            }
            ToolButtonFlat {
                objectName: "deleteConfirm"
                text: qsTr("Delete")
                primary: true
                onClicked: {
                    const item = dialog.item;
                    const withdraw = dialog.info.canWithdraw === true && forEveryone.checked;
                    dialog.close();
                    dialog.actions.remove(item, withdraw);
                }
            }
        }
    }
}
