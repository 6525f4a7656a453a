import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// A voice message: a play button, a waveform sketch, its length and date.
ListRow {
    id: row

    property MediaFiles files
    readonly property real length: files ? files.duration(itemModel) : 0

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
        spacing: 5

        // Bar heights follow the message id, so each message keeps its own shape.
        Row {
            spacing: 2
            height: 18

            Repeater {
                model: Math.min(40, 12 + Math.round(row.length / 250))

                delegate: Rectangle {
                    required property int index

                    anchors.bottom: parent.bottom
                    width: 3
                    radius: 1.5
                    height: 4 + ((row.itemModel.messageId * 7 + index * 13) % 14)
                    color: Theme.accent
                    opacity: 0.55
                }
            }
        }
        Label {
            Layout.fillWidth: true
            text: Theme.duration(row.length)
            font.pixelSize: 12
            color: Theme.secondaryText
        }
    }
    Label {
        text: Theme.longDate(row.itemModel.dateTime)
        font.pixelSize: 12
        color: Theme.faintText
    }
}
