import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// The window's sections, one button each, down the left edge.
Rectangle {
    id: rail

    property int currentIndex: 0
    readonly property var sections: [
        { glyph: "▦", title: qsTr("Media") },
        { glyph: "◔", title: qsTr("Storage") },
        { glyph: "⇩", title: qsTr("Download") }
    ]

    implicitWidth: 76
    color: "#1f2937"

    ColumnLayout {
        anchors.fill: parent
        anchors.topMargin: 14
        spacing: 6

        Repeater {
            model: rail.sections

            delegate: Rectangle {
                id: button

                required property var modelData
                required property int index
                readonly property bool current: rail.currentIndex === index

                objectName: "navButton" + index
                Layout.alignment: Qt.AlignHCenter
                Layout.preferredWidth: 62
                Layout.preferredHeight: 58
                radius: Theme.radius
                color: current ? "#374151" : (buttonMouse.containsMouse ? "#2b3544" : "transparent")

                Column {
                    anchors.centerIn: parent
                    spacing: 2

                    Label {
                        anchors.horizontalCenter: parent.horizontalCenter
                        text: button.modelData.glyph
                        font.pixelSize: 20
                        color: button.current ? "white" : "#9ca3af"
                    }
                    Label {
                        anchors.horizontalCenter: parent.horizontalCenter
                        text: button.modelData.title
                        font.pixelSize: 11
                        color: button.current ? "white" : "#9ca3af"
                    }
                }

                MouseArea {
                    id: buttonMouse
                    anchors.fill: parent
                    hoverEnabled: true
                    cursorShape: Qt.PointingHandCursor
                    onClicked: rail.currentIndex = button.index
                }
            }
        }

        Item {
            Layout.fillHeight: true
        }
    }
}
