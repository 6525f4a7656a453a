import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// The player of voice and music messages: what plays, play and pause, previous and next, the
// position, the speed and what follows the end of a song.
Rectangle {
    id: bar

    // The process-wide MediaPlayer.
    property var player: null
    property MediaFiles files
    readonly property var item: player ? player.playingItem : null
    readonly property bool playing: player !== null && player.playState === 1
    readonly property var modes: [
        { glyph: "\u2193", name: qsTr("In order") },
        { glyph: "\u2191", name: qsTr("Newest first") },
        { glyph: "\u2928", name: qsTr("Shuffle") },
        { glyph: "\u21bb\u00b9", name: qsTr("Repeat one") },
        { glyph: "\u21bb", name: qsTr("Repeat all") }
    ]

    function step(forward) {
        if (!player)
            return;
        if (item && item.type === 3)
            forward ? player.nextTrackVoice() : player.previousTrackVoice();
        else
            forward ? player.nextTrackMusic(true) : player.previousTrackMusic(true);
    }

    objectName: "playerBar"
    implicitHeight: 64
    color: "#111827"

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 16
        anchors.rightMargin: 16
        spacing: 12

        component BarButton: Rectangle {
            id: barButton

            property string glyph
            property bool active: false
            signal clicked

            implicitWidth: 34
            implicitHeight: 34
            radius: 17
            color: buttonMouse.containsMouse ? "#374151" : active ? "#1f2937" : "transparent"

            Label {
                anchors.centerIn: parent
                text: barButton.glyph
                color: barButton.active ? "#93c5fd" : "white"
                font.pixelSize: 15
            }
            MouseArea {
                id: buttonMouse
                anchors.fill: parent
                hoverEnabled: true
                cursorShape: Qt.PointingHandCursor
                onClicked: barButton.clicked()
            }
        }

        BarButton {
            glyph: "\u275a\u25c0"
            onClicked: bar.step(false)
        }
        BarButton {
            objectName: "playPause"
            glyph: bar.playing ? "\u275a\u275a" : "\u25b6"
            onClicked: bar.player.pause(bar.playing)
        }
        BarButton {
            glyph: "\u25b6\u275a"
            onClicked: bar.step(true)
        }

        ColumnLayout {
            Layout.preferredWidth: 220
            spacing: 1

            Label {
                Layout.fillWidth: true
                text: bar.item && bar.files ? bar.files.fileName(bar.item) : ""
                elide: Text.ElideRight
                color: "white"
                font.pixelSize: 13
                font.weight: Font.DemiBold
            }
            Label {
                text: Theme.duration(bar.player ? bar.player.playTime : 0) + " / "
                      + Theme.duration(bar.player ? bar.player.duration : 0)
                color: "#9ca3af"
                font.pixelSize: 11
            }
        }

        Slider {
            id: seek
            Layout.fillWidth: true
            from: 0
            to: Math.max(1, bar.player ? bar.player.duration : 1)
            value: bar.player ? bar.player.playTime : 0
            enabled: bar.player !== null && bar.player.duration > 0
            onMoved: bar.player.seekPos(Math.round(value))
        }

        ComboBox {
            Layout.preferredWidth: 78
            model: ["0.5\u00d7", "1\u00d7", "1.5\u00d7", "2\u00d7"]
            readonly property var speeds: [0.5, 1.0, 1.5, 2.0]
            currentIndex: Math.max(0, speeds.indexOf(bar.player ? bar.player.playSpeed : 1.0))
            onActivated: index => bar.player.setPlaySpeed(speeds[index])
        }

        BarButton {
            readonly property int mode: bar.player ? bar.player.playMode : 0
            glyph: bar.modes[Math.min(mode, bar.modes.length - 1)].glyph
            active: mode !== 0
            onClicked: bar.player.setPlayMode((mode + 1) % bar.modes.length)
        }
        Label {
            text: bar.modes[Math.min(bar.player ? bar.player.playMode : 0, bar.modes.length - 1)].name
            color: "#9ca3af"
            font.pixelSize: 11
        }
        BarButton {
            glyph: "\u21c6"
            active: bar.player !== null && bar.player.loopMode !== 0
            onClicked: bar.player.setLoopMode(active ? 0 : 1)
        }
        BarButton {
            glyph: "\u2715"
            onClicked: bar.player.stop()
        }
    }
}
