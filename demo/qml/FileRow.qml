import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// A document: its type as a coloured badge, name, size and date. A click opens it with the
// system's application, downloading it first with its progress shown.
ListRow {
    id: row

    property MediaFiles files
    readonly property string suffix: files ? files.suffix(itemModel) : ""
    readonly property string fileId: files ? files.fileId(itemModel) : ""
    // The share downloaded while a download runs, else -1.
    property real progress: files ? files.progress(fileId) : -1

    objectName: "fileRow"
    clickable: true
    onActivated: if (gallery) gallery.controller.actions.openFile(itemModel)

    Connections {
        target: row.files
        function onProgressChanged(fileId) {
            if (fileId === row.fileId)
                row.progress = row.files.progress(fileId);
        }
    }

    Rectangle {
        Layout.preferredWidth: 44
        Layout.preferredHeight: 44
        radius: 10
        color: Theme.suffixColor(row.suffix)

        Label {
            anchors.centerIn: parent
            text: row.suffix.length > 0 ? row.suffix.toUpperCase().substring(0, 4) : "FILE"
            color: "white"
            font.pixelSize: 11
            font.weight: Font.Bold
        }
    }
    ColumnLayout {
        Layout.fillWidth: true
        spacing: 3

        Label {
            Layout.fillWidth: true
            text: row.files ? row.files.fileName(row.itemModel) : ""
            elide: Text.ElideMiddle
            font.pixelSize: 14
            font.weight: Font.Medium
            color: Theme.text
        }
        Label {
            text: row.progress >= 0
                  ? qsTr("Downloading, %1 %").arg(Math.round(row.progress * 100))
                  : Theme.size(row.files ? row.files.fileSize(row.itemModel) : 0) + "  \u00b7  "
                    + Theme.longDate(row.itemModel.dateTime)
            font.pixelSize: 12
            color: Theme.secondaryText
        }
        ProgressBar {
            objectName: "fileProgress"
            Layout.fillWidth: true
            Layout.preferredHeight: 4
            visible: row.progress >= 0
            value: Math.max(0, row.progress)
        }
    }
}
