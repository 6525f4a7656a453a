import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// A song: a play button, its title and length.
ListRow {
    id: row

    property MediaFiles files
    readonly property string fileName: files ? files.fileName(itemModel) : ""
    readonly property string title: fileName.replace(/\.[^.]*$/, "")

    Rectangle {
        Layout.preferredWidth: 42
        Layout.preferredHeight: 42
        radius: 21
        color: row.hovered ? Qt.darker(Theme.accent, 1.1) : Theme.accent

        Label {
            anchors.centerIn: parent
            anchors.horizontalCenterOffset: 2
            text: "\u25b6"
            color: "white"
            font.pixelSize: 15
        }
    }
    ColumnLayout {
        Layout.fillWidth: true
        spacing: 3

        Label {
            Layout.fillWidth: true
            text: row.title
            elide: Text.ElideRight
            font.pixelSize: 14
            font.weight: Font.Medium
            color: Theme.text
        }
        Label {
            text: Theme.duration(row.files ? row.files.duration(row.itemModel) : 0) + "  \u00b7  "
                  + Theme.size(row.files ? row.files.fileSize(row.itemModel) : 0)
            font.pixelSize: 12
            color: Theme.secondaryText
        }
    }
    Label {
        text: Theme.shortDate(row.itemModel.dateTime)
        font.pixelSize: 12
        color: Theme.faintText
    }
}
