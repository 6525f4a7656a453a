import QtQuick
import QtQuick.Controls.Basic
import MediaGallery

// A row of mutually exclusive choices drawn as one rounded control.
Rectangle {
    id: control

    property var options: []
    property int currentIndex: 0
    signal activated(int index)

    implicitWidth: row.implicitWidth + 6
    implicitHeight: 34
    radius: 9
    color: Theme.hover
    border.color: Theme.border

    Row {
        id: row
        anchors.centerIn: parent
        spacing: 2

        Repeater {
            model: control.options

            delegate: Rectangle {
                id: option

                required property string modelData
                required property int index
                readonly property bool current: control.currentIndex === index

                width: label.implicitWidth + 22
                height: 28
                radius: 7
                color: current ? Theme.panel : "transparent"
                border.color: current ? Theme.border : "transparent"

                Label {
                    id: label
                    anchors.centerIn: parent
                    text: option.modelData
                    font.pixelSize: 12
                    font.weight: option.current ? Font.DemiBold : Font.Normal
                    color: option.current ? Theme.text : Theme.secondaryText
                }

                MouseArea {
                    anchors.fill: parent
                    cursorShape: Qt.PointingHandCursor
                    onClicked: {
                        if (control.currentIndex === option.index)
                            return;
                        control.currentIndex = option.index;
                        control.activated(option.index);
                    }
                }
            }
        }
    }
}
