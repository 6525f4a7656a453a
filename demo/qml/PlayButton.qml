import QtQuick
import QtQuick.Controls.Basic
import MediaGallery

// The round play button of a music or voice row: starts the row's item in the player, or pauses
// and resumes it when it is the one loaded.
Rectangle {
    id: button

    // The ResourceItem of the row.
    property var itemModel
    // The process-wide MediaPlayer and the account it plays for.
    property var player: null
    property var accountId: 0
    property bool music: false
    readonly property bool isLoaded: player !== null && player.playingItem !== null
                                     && player.playingItem.messageId === itemModel.messageId
                                     && player.playingItem.dialogId === itemModel.dialogId
    readonly property bool isPlaying: isLoaded && player.playState === 1

    objectName: "playButton"
    implicitWidth: 42
    implicitHeight: 42
    radius: 21
    color: mouse.containsMouse ? Qt.darker(Theme.accent, 1.1) : Theme.accent

    Label {
        anchors.centerIn: parent
        anchors.horizontalCenterOffset: button.isPlaying ? 0 : 2
        text: button.isPlaying ? "\u275a\u275a" : "\u25b6"
        color: "white"
        font.pixelSize: button.isPlaying ? 11 : 15
    }

    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: Qt.PointingHandCursor
        onClicked: {
            if (!button.player || !button.itemModel.msgData)
                return;
            if (button.isLoaded && button.player.playState !== 0)
                button.player.pause(button.isPlaying);
            else if (button.music)
                button.player.playMusic(button.accountId, button.itemModel.msgData);
            else
                button.player.playVoice(button.accountId, button.itemModel.msgData, false);
        }
    }
}
