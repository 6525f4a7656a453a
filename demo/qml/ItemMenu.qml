import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs
import MediaGallery

// The actions on one item, offered by a right click on its tile or row and by the viewer: open it
// (a link in the browser, a file with its application), show its file in its folder, forward it
// to a chat, save it into a folder, copy it to the cloud drive, and delete it.
Item {
    id: root

    required property GalleryController controller
    // The ChatPicker that a forward asks for its chat.
    property var chatPicker: null
    // The ResourceItem the menu was opened for.
    property var item: null
    readonly property ItemActions actions: controller.actions
    readonly property bool isLink: item !== null && item.type === 1
    readonly property bool hasFile: item !== null && actions.hasFile(item)

    function openFor(resourceItem, source, x, y) {
        item = resourceItem;
        menu.popup(source, x, y);
    }

    function openItem(resourceItem) {
        if (resourceItem.type === 1)
            Qt.openUrlExternally(resourceItem.link);
        else
            actions.openFile(resourceItem);
    }

    function forward(resourceItem) {
        chatPicker.choose(qsTr("Forward this %1 to").arg(Theme.itemKindName(resourceItem.type)),
                          dialogId => actions.forward(resourceItem, dialogId));
    }

    Menu {
        id: menu
        objectName: "itemMenu"
        font.pixelSize: 13
        padding: 4

        background: Rectangle {
            implicitWidth: 210
            radius: Theme.radius
            color: Theme.panel
            border.color: Theme.border
        }

        MenuItem {
            objectName: "menuOpen"
            text: root.isLink ? qsTr("Open link") : qsTr("Open")
            enabled: root.isLink || root.hasFile
            onTriggered: root.openItem(root.item)
        }
        MenuItem {
            objectName: "menuReveal"
            text: qsTr("Show in folder")
            enabled: root.hasFile
            onTriggered: root.actions.revealFile(root.item)
        }
        MenuSeparator { }
        MenuItem {
            objectName: "menuForward"
            text: qsTr("Forward…")
            enabled: root.chatPicker !== null && root.item !== null
            onTriggered: root.forward(root.item)
        }
        MenuItem {
            objectName: "menuSaveAs"
            text: qsTr("Save as…")
            enabled: root.hasFile
            onTriggered: {
                folderDialog.target = root.item;
                folderDialog.open();
            }
        }
        MenuItem {
            objectName: "menuCloudDrive"
            text: qsTr("Save to cloud drive")
            enabled: root.hasFile
            onTriggered: root.actions.transferToCloudDrive(root.item)
        }
        MenuSeparator { }
        MenuItem {
            objectName: "menuDelete"
            text: qsTr("Delete…")
            enabled: root.item !== null
            onTriggered: deleteDialog.ask(root.item)
        }
    }

    FolderDialog {
        id: folderDialog

        // The ResourceItem to save.
        property var target: null

        objectName: "saveFolderDialog"
        title: qsTr("Save to folder")
        onAccepted: root.actions.saveAs(target, selectedFolder)
    }

    DeleteDialog {
        id: deleteDialog
        actions: root.actions
    }
}
