import QtQuick
import QtQuick.Controls.Basic
import QtMultimedia
import MediaGallery

// The full-screen viewer: one photo or video of the chat over a dark backdrop, with the previous
// (older) and next (newer) ones a click or an arrow key away. It shows the hub's preview, which
// loads and trims the items around the one shown. A video plays in place: the arrow keys then
// seek and the space bar pauses; leaving the item or the viewer stops it.
Rectangle {
    id: viewer

    property MediaFiles files
    property VideoPlayback video
    // The hub's MediaPreview.
    property var preview: null
    // The context menu of the item shown.
    property var itemMenu: null
    // An item was shown since the viewer opened: when none is left, the viewer closes.
    property bool showedItem: false
    readonly property bool isOpen: visible
    readonly property var item: preview ? preview.resourceItem : null
    readonly property bool isVideo: item !== null && item.type === 5
    readonly property bool videoLoaded: video !== null && video.item !== null && video.item === item
    // The software scene graph of a headless window draws no video; frames are painted instead.
    readonly property bool paintsFrames: GraphicsInfo.api === GraphicsInfo.Software
    property url source

    // Opens on a chat's item, stepping through the chat's items; or, given the gallery's search,
    // on one of its hits, stepping through the hits.
    function openAt(resourceItem, search) {
        if (!preview || !resourceItem)
            return;
        showedItem = false;
        if (search)
            search.openInPreview(resourceItem);
        else
            preview.loadFirstByMedia(resourceItem, false);
        visible = true;
        forceActiveFocus();
    }

    function close() {
        if (video)
            video.stop();
        visible = false;
        if (preview)
            preview.quitView();
    }

    function playVideo() {
        if (video && isVideo)
            video.play(item);
    }

    // While a video is loaded the arrows seek; otherwise they step to the neighbours.
    function step(forward) {
        if (videoLoaded)
            video.seekBy(forward ? 5000 : -5000);
        else if (preview)
            forward ? preview.nextItem() : preview.previousItem();
    }

    function refreshSource() {
        source = files && item ? files.pictureUrl(item) : "";
    }

    objectName: "previewOverlay"
    visible: false
    color: "#f0101317"
    focus: visible
    onItemChanged: {
        if (video)
            video.stop();
        refreshSource();
        if (item)
            showedItem = true;
        else if (showedItem && visible)
            close();
    }

    Keys.onLeftPressed: step(false)
    Keys.onRightPressed: step(true)
    Keys.onSpacePressed: videoLoaded ? video.togglePause() : playVideo()
    Keys.onEscapePressed: close()

    Connections {
        target: viewer.files
        function onFileReady(fileId) { viewer.refreshSource(); }
    }

    // Swallows clicks and hovering, so that the gallery beneath neither reacts nor shows its
    // tooltips over the viewer.
    MouseArea {
        anchors.fill: parent
        hoverEnabled: true
        onClicked: viewer.forceActiveFocus()
    }

    Image {
        id: picture
        anchors.fill: parent
        anchors.margins: 64
        anchors.bottomMargin: 96
        source: viewer.source
        // The still stays until the video's first picture replaces it.
        visible: !viewer.videoLoaded || viewer.video.position === 0
        fillMode: Image.PreserveAspectFit
        asynchronous: true
        smooth: true
    }

    // Shown over the still picture once the video is loaded, so that the picture stays until the
    // first frame.
    VideoOutput {
        id: videoOutput
        objectName: "videoOutput"
        anchors.fill: picture
        visible: viewer.videoLoaded && !viewer.paintsFrames
        // The player draws into this item from its own thread: it lets go before the item goes.
        Component.onCompleted: if (viewer.video) viewer.video.videoOutput = videoOutput
        Component.onDestruction: if (viewer.video) viewer.video.videoOutput = null
    }

    VideoFrameItem {
        objectName: "videoFrames"
        anchors.fill: picture
        visible: viewer.videoLoaded && viewer.paintsFrames
        videoSink: videoOutput.videoSink
    }

    BusyIndicator {
        anchors.centerIn: picture
        running: viewer.visible && (picture.status === Image.Loading || viewer.source.toString() === ""
                                    || (viewer.videoLoaded && viewer.video.waiting))
        visible: running
    }

    Rectangle {
        objectName: "videoPlay"
        visible: viewer.isVideo && !viewer.videoLoaded
        anchors.centerIn: picture
        width: 72
        height: 72
        radius: 36
        color: playMouse.containsMouse ? "#cc000000" : "#99000000"

        Label {
            anchors.centerIn: parent
            anchors.horizontalCenterOffset: 3
            text: "\u25b6"
            color: "white"
            font.pixelSize: 30
        }
        MouseArea {
            id: playMouse
            anchors.fill: parent
            hoverEnabled: true
            cursorShape: Qt.PointingHandCursor
            onClicked: viewer.playVideo()
        }
    }

    // A click on the playing picture pauses or resumes it.
    MouseArea {
        anchors.fill: picture
        enabled: viewer.videoLoaded
        onClicked: viewer.video.togglePause()
    }

    VideoBar {
        anchors.left: picture.left
        anchors.right: picture.right
        anchors.bottom: picture.bottom
        anchors.leftMargin: 24
        anchors.rightMargin: 24
        anchors.bottomMargin: 12
        visible: viewer.videoLoaded
        video: viewer.video
    }

    component NavButton: Rectangle {
        id: nav

        property string glyph
        signal clicked

        width: 52
        height: 52
        radius: 26
        color: navMouse.containsMouse ? "#40ffffff" : "#24ffffff"
        opacity: enabled ? 1 : 0.25

        Label {
            anchors.centerIn: parent
            text: nav.glyph
            color: "white"
            font.pixelSize: 24
        }
        MouseArea {
            id: navMouse
            anchors.fill: parent
            hoverEnabled: true
            cursorShape: Qt.PointingHandCursor
            onClicked: nav.clicked()
        }
    }

    NavButton {
        objectName: "previewPrevious"
        anchors.left: parent.left
        anchors.leftMargin: 20
        anchors.verticalCenter: picture.verticalCenter
        glyph: "\u2039"
        enabled: viewer.preview !== null && viewer.preview.hasPrevious
        onClicked: viewer.preview.previousItem()
    }

    NavButton {
        objectName: "previewNext"
        anchors.right: parent.right
        anchors.rightMargin: 20
        anchors.verticalCenter: picture.verticalCenter
        glyph: "\u203a"
        enabled: viewer.preview !== null && viewer.preview.hasNext
        onClicked: viewer.preview.nextItem()
    }

    NavButton {
        id: closeButton
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: 16
        glyph: "\u2715"
        onClicked: viewer.close()
    }

    NavButton {
        id: menuButton
        objectName: "previewMenu"
        anchors.right: closeButton.left
        anchors.top: parent.top
        anchors.topMargin: 16
        anchors.rightMargin: 12
        glyph: "\u22ef"
        enabled: viewer.item !== null && viewer.itemMenu !== null
        onClicked: viewer.itemMenu.openFor(viewer.item, menuButton, 0, menuButton.height + 6)
    }

    Column {
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 24
        spacing: 4

        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            text: viewer.item && viewer.item.msgData ? viewer.item.msgData.text : ""
            visible: text.length > 0
            color: "white"
            font.pixelSize: 15
        }
        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            text: viewer.item ? Theme.longDate(viewer.item.dateTime) : ""
            color: "#b0b8c4"
            font.pixelSize: 12
        }
    }
}
