import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// The controls of a video playing in the viewer: play and pause, the position over the length,
// and a bar that shows what is played and, behind it, what is downloaded; a click seeks.
Rectangle {
    id: bar

    property VideoPlayback video

    objectName: "videoBar"
    implicitHeight: 44
    radius: 22
    color: "#cc111827"

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 8
        anchors.rightMargin: 16
        spacing: 12

        Rectangle {
            objectName: "videoPlayPause"
            implicitWidth: 32
            implicitHeight: 32
            radius: 16
            color: toggleMouse.containsMouse ? "#374151" : "transparent"

            Label {
                anchors.centerIn: parent
                text: bar.video && bar.video.playing ? "\u275a\u275a" : "\u25b6"
                color: "white"
                font.pixelSize: 14
            }
            MouseArea {
                id: toggleMouse
                anchors.fill: parent
                hoverEnabled: true
                cursorShape: Qt.PointingHandCursor
                onClicked: bar.video.togglePause()
            }
        }

        Label {
            text: bar.video ? Theme.duration(bar.video.position) : ""
            color: "white"
            font.pixelSize: 12
            font.family: "monospace"
        }

        Item {
            id: track
            objectName: "videoTrack"
            Layout.fillWidth: true
            implicitHeight: 24

            readonly property real played: bar.video && bar.video.duration > 0
                                           ? Math.min(1, bar.video.position / bar.video.duration) : 0

            Rectangle {
                anchors.verticalCenter: parent.verticalCenter
                width: parent.width
                height: 4
                radius: 2
                color: "#4b5563"
            }
            Rectangle {
                objectName: "videoDownloaded"
                anchors.verticalCenter: parent.verticalCenter
                width: parent.width * (bar.video ? bar.video.downloaded : 0)
                height: 4
                radius: 2
                color: "#9ca3af"
            }
            Rectangle {
                anchors.verticalCenter: parent.verticalCenter
                width: parent.width * track.played
                height: 4
                radius: 2
                color: "#60a5fa"
            }
            Rectangle {
                x: parent.width * track.played - width / 2
                anchors.verticalCenter: parent.verticalCenter
                width: 12
                height: 12
                radius: 6
                color: "white"
            }
            MouseArea {
                anchors.fill: parent
                cursorShape: Qt.PointingHandCursor
                onClicked: function (mouse) {
                    if (bar.video && bar.video.duration > 0)
                        bar.video.seek(bar.video.duration * mouse.x / width);
                }
            }
        }

        Label {
            text: bar.video ? Theme.duration(bar.video.duration) : ""
            color: "#b0b8c4"
            font.pixelSize: 12
            font.family: "monospace"
        }
    }
}
