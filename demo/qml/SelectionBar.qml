import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs
import QtQuick.Layouts
import MediaGallery

// The bar of selection mode: what is ticked and what can be done with it. Each action leaves the
// selection empty, as the selector clears it once it has acted.
Rectangle {
    id: bar

    // The chat's MediaSelector.
    property var selector: null
    // The ChatPicker that a forward asks for its chat.
    property var chatPicker: null
    readonly property int count: selector ? selector.selectCount : 0
    signal done
    signal saved(string folder)

    function saveTo(folder) {
        if (!selector || folder.length === 0)
            return;
        selector.batchSaveAs(folder);
        saved(folder);
    }

    objectName: "selectionBar"
    implicitHeight: 60
    color: Theme.panel

    Rectangle {
        width: parent.width
        height: 1
        color: Theme.border
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.margin
        anchors.rightMargin: Theme.margin
        spacing: 10

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 1

            Label {
                objectName: "selectionCount"
                text: bar.count === 0 ? qsTr("Tick photos and videos, or drag across them")
                                      : qsTr("%n selected", "", bar.count)
                font.pixelSize: 14
                font.weight: Font.DemiBold
                color: Theme.text
            }
            Label {
                Layout.fillWidth: true
                // Read again whenever the count moves: the text depends on what is ticked.
                text: bar.selector && bar.count >= 0 ? bar.selector.forwardDesc() : ""
                elide: Text.ElideRight
                font.pixelSize: 12
                color: Theme.secondaryText
            }
        }
        ToolButtonFlat {
            text: qsTr("Forward")
            glyph: "\u27a6"
            enabled: bar.selector !== null && bar.chatPicker !== null
                     && bar.selector.forwardableCount > 0
            onClicked: bar.chatPicker.choose(qsTr("Forward %n item(s) to", "", bar.count),
                                             dialogId => bar.selector.forwardMessages({ dialogId: dialogId }))
        }
        ToolButtonFlat {
            text: qsTr("Save")
            glyph: "\u2193"
            enabled: bar.count > 0
            onClicked: folderDialog.open()
        }
        ToolButtonFlat {
            text: qsTr("Cloud drive")
            glyph: "\u2601"
            enabled: bar.selector !== null && bar.selector.forwardableCount > 0
            onClicked: bar.selector.transferToCloudDrive(0)
        }
        ToolButtonFlat {
            text: qsTr("Delete")
            glyph: "\u2715"
            enabled: bar.count > 0
            onClicked: bar.selector.deleteMessages(false)
        }
        ToolButtonFlat {
            text: qsTr("Done")
            primary: true
            onClicked: bar.done()
        }
    }

    FolderDialog {
        id: folderDialog
        title: qsTr("Save the selected files to")
        onAccepted: bar.saveTo(decodeURIComponent(selectedFolder.toString().replace(/^file:\/\//, "")))
    }
}
