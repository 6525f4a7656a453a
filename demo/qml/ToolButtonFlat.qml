import QtQuick
import QtQuick.Controls.Basic
import MediaGallery

// A toolbar button: outlined, or filled with the accent colour when primary.
Rectangle {
    id: button

    property string text
    property string glyph
    property bool primary: false
    signal clicked

    implicitWidth: row.implicitWidth + 28
    implicitHeight: 34
    radius: 8
    color: primary ? (mouse.pressed ? Qt.darker(Theme.accent, 1.15) : mouse.containsMouse ? Qt.lighter(Theme.accent, 1.08) : Theme.accent)
                   : (mouse.containsMouse ? Theme.hover : Theme.panel)
    border.width: primary ? 0 : 1
    border.color: Theme.border
    opacity: enabled ? 1 : 0.5

    Row {
        id: row
        anchors.centerIn: parent
        spacing: 6

        Label {
            visible: button.glyph.length > 0
            text: button.glyph
            font.pixelSize: 14
            color: button.primary ? "white" : Theme.text
        }
        Label {
            text: button.text
            font.pixelSize: 13
            font.weight: Font.Medium
            color: button.primary ? "white" : Theme.text
        }
    }

    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: Qt.PointingHandCursor
        onClicked: button.clicked()
    }
}
