import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// A voice message: a play button, a waveform sketch, its length and date.
ListRow {
    id: row

    property MediaFiles files
    // The process-wide MediaPlayer and the account it plays for.
    property var player: null
    property var accountId: 0
    readonly property real length: files ? files.duration(itemModel) : 0

    PlayButton {
        itemModel: row.itemModel
        player: row.player
        accountId: row.accountId
        music: false
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
