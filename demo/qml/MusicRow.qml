import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// A song: a play button, its title from the file's tags (the file's name when it had none), then
// its artist, length and size.
ListRow {
    id: row

    property MediaFiles files
    // The process-wide MediaPlayer and the account it plays for.
    property var player: null
    property var accountId: 0
    readonly property string fileName: files ? files.fileName(itemModel) : ""
    readonly property string taggedTitle: files ? files.title(itemModel) : ""
    readonly property string artist: files ? files.artist(itemModel) : ""
    readonly property string title: taggedTitle !== "" ? taggedTitle
                                                        : fileName.replace(/\.[^.]*$/, "")

    PlayButton {
        itemModel: row.itemModel
        player: row.player
        accountId: row.accountId
        music: true
    }
    ColumnLayout {
        Layout.fillWidth: true
        spacing: 3

        Label {
            objectName: "musicTitle"
            Layout.fillWidth: true
            text: row.title
            elide: Text.ElideRight
            font.pixelSize: 14
            font.weight: Font.Medium
            color: Theme.text
        }
        Label {
            objectName: "musicDetails"
            Layout.fillWidth: true
            text: (row.artist !== "" ? row.artist + "  \u00b7  " : "")
                  + Theme.duration(row.files ? row.files.duration(row.itemModel) : 0) + "  \u00b7  "
                  + Theme.size(row.files ? row.files.fileSize(row.itemModel) : 0)
            elide: Text.ElideRight
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
