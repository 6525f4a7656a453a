import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// A shared link: the site's initial, its title, the address and the message around it. A click
// opens the address in the system's browser.
ListRow {
    id: row

    readonly property string title: itemModel.title ?? ""
    readonly property string link: itemModel.link ?? ""

    objectName: "linkRow"
    implicitHeight: 76
    clickable: true
    onActivated: Qt.openUrlExternally(link)

    Rectangle {
        Layout.preferredWidth: 44
        Layout.preferredHeight: 44
        Layout.alignment: Qt.AlignTop
        Layout.topMargin: 14
        radius: 10
        color: Theme.colorFor(row.title)

        Label {
            anchors.centerIn: parent
            text: row.title.length > 0 ? row.title[0].toUpperCase() : "#"
            color: "white"
            font.pixelSize: 18
            font.weight: Font.Bold
        }
    }
    ColumnLayout {
        Layout.fillWidth: true
        spacing: 2

        RowLayout {
            Layout.fillWidth: true
            Label {
                Layout.fillWidth: true
                text: row.title
                elide: Text.ElideRight
                font.pixelSize: 14
                font.weight: Font.DemiBold
                color: Theme.text
            }
            Label {
                text: Theme.shortDate(row.itemModel.dateTime)
                font.pixelSize: 12
                color: Theme.faintText
            }
        }
        Label {
            Layout.fillWidth: true
            text: row.link
            elide: Text.ElideRight
            font.pixelSize: 13
            color: Theme.accent
        }
        Label {
            Layout.fillWidth: true
            text: row.itemModel.msgData ? row.itemModel.msgData.text : ""
            elide: Text.ElideRight
            font.pixelSize: 12
            color: Theme.secondaryText
        }
    }
}
