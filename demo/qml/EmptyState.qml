import QtQuick
import QtQuick.Controls.Basic
import MediaGallery

// What a list shows when the chat has nothing of its kind.
Column {
    id: empty

    property string glyph
    property string title
    property string text

    spacing: 10

    Rectangle {
        anchors.horizontalCenter: parent.horizontalCenter
        width: 72
        height: 72
        radius: 36
        color: Theme.accentSoft

        Label {
            anchors.centerIn: parent
            text: empty.glyph
            font.pixelSize: 30
            color: Theme.accent
        }
    }
    Label {
        anchors.horizontalCenter: parent.horizontalCenter
        text: empty.title
        font.pixelSize: 16
        font.weight: Font.DemiBold
        color: Theme.text
    }
    Label {
        anchors.horizontalCenter: parent.horizontalCenter
        text: empty.text
        font.pixelSize: 13
        color: Theme.secondaryText
    }
}
