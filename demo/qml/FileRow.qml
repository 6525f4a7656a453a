import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// A document: its type as a coloured badge, name, size and date.
ListRow {
    id: row

    property MediaFiles files
    readonly property string suffix: files ? files.suffix(itemModel) : ""

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
            text: Theme.size(row.files ? row.files.fileSize(row.itemModel) : 0) + "  \u00b7  "
                  + Theme.longDate(row.itemModel.dateTime)
            font.pixelSize: 12
            color: Theme.secondaryText
        }
    }
}
