import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// The shared media of the chosen chat: a header with the actions, the search, the tabs, and one
// list per tab, which shows the chat's items or the search's hits.
Rectangle {
    id: pane

    required property GalleryController controller
    // The full-screen viewer that photos and videos open in.
    property var viewer: null
    // The context menu of one item, and the chat picker that forwards go through.
    property var itemMenu: null
    property var chatPicker: null
    readonly property GallerySearch search: controller.search
    // Selection mode: a click ticks a photo instead of opening it, a drag ticks a range.
    property bool selecting: false
    readonly property var selector: controller.selector
    // The press point of a drag over the photos and the value it sets; (-1,-1) between drags.
    property point dragStart: Qt.point(-1, -1)
    property bool dragValue: true
    property bool dragged: false
    // The photo list's area, in whose coordinates a drag reports where it is.
    readonly property Item photoList: chatLists.photoView
    // The last tile ticked by a click, where a shift-click range starts.
    property point lastClicked: Qt.point(-1, -1)

    function endSelection() {
        selecting = false;
        if (selector)
            selector.clearSelected();
        lastClicked = Qt.point(-1, -1);
    }

    function isTicked(item) {
        // Reads selectCount so that a binding on it is told of every change.
        return selector !== null && selector.selectCount >= 0
                && selector.isSelected(item.dialogId, item.mediaKey);
    }

    function tileClicked(tile, modifiers) {
        if (!selecting) {
            if (viewer)
                viewer.openAt(tile.itemModel, search.isActive ? search : null);
            return;
        }
        const model = listOf(2) ? listOf(2).resourceModel : null;
        if ((modifiers & Qt.ShiftModifier) && lastClicked.x >= 0 && model) {
            selector.beginSelect();
            selector.changeSelects(model, lastClicked, tile.selectPoint, true);
            selector.endSelect();
        } else {
            selector.changeSelected(tile.itemModel);
        }
        lastClicked = tile.selectPoint;
    }

    function dragBegan(tile) {
        dragStart = tile.selectPoint;
        dragValue = !isTicked(tile.itemModel);
        dragged = false;
        selector.beginSelect();
    }

    function dragMoved(x, y) {
        const model = listOf(2) ? listOf(2).resourceModel : null;
        const tile = chatLists.photoView.tileAt(x, y);
        if (!tile || !model || dragStart.x < 0)
            return;
        if (!dragged && tile.selectPoint === dragStart)
            return;
        dragged = true;
        selector.changeSelects(model, dragStart, tile.selectPoint, dragValue);
    }

    function dragEnded() {
        if (dragStart.x >= 0)
            selector.endSelect();
        dragStart = Qt.point(-1, -1);
    }

    function showItemMenu(item, source, x, y) {
        if (itemMenu)
            itemMenu.openFor(item, source, x, y);
    }
    // The type code of the list shown: 2 photos and videos, 6 files, 1 links, 4 music, 3 voice.
    property int currentType: 2
    readonly property string chatName: controller.chats.nameOf(controller.currentChatId)
    readonly property var tabs: [
        { type: 2, title: qsTr("Photos & videos") },
        { type: 6, title: qsTr("Files") },
        { type: 1, title: qsTr("Links") },
        { type: 4, title: qsTr("Music") },
        { type: 3, title: qsTr("Voice") }
    ]
    readonly property int currentIndex: Math.max(0, tabs.findIndex(t => t.type === currentType))
    onCurrentTypeChanged: endSelection()
    onSelectorChanged: lastClicked = Qt.point(-1, -1)
    readonly property Item currentView: (search.isActive ? hitLists : chatLists).currentView
    readonly property bool pageReady: currentView !== null && currentView.firstPageLoaded
                                      && !search.isQuerying && controller.files.pendingDownloads === 0

    Binding {
        target: pane.search
        property: "type"
        value: pane.currentType
    }
    Connections {
        target: pane.search
        function onIsActiveChanged() {
            if (pane.search.isActive)
                pane.endSelection();
        }
    }

    function listOf(type) {
        return controller.gallery ? controller.gallery.mediaResource(type) : null;
    }

    color: Theme.panel

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        // Chat header and actions.
        RowLayout {
            Layout.fillWidth: true
            Layout.preferredHeight: 64
            Layout.leftMargin: Theme.margin
            Layout.rightMargin: Theme.margin
            spacing: 12

            Rectangle {
                Layout.preferredWidth: 36
                Layout.preferredHeight: 36
                radius: 18
                visible: pane.chatName.length > 0
                color: Theme.colorFor(pane.chatName)

                Label {
                    anchors.centerIn: parent
                    text: Theme.initials(pane.chatName)
                    color: "white"
                    font.pixelSize: 13
                    font.weight: Font.DemiBold
                }
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 1

                Label {
                    Layout.fillWidth: true
                    text: pane.chatName.length > 0 ? pane.chatName : qsTr("No chat chosen")
                    elide: Text.ElideRight
                    font.pixelSize: 16
                    font.weight: Font.DemiBold
                    color: Theme.text
                }
                Label {
                    text: qsTr("Shared media")
                    font.pixelSize: 12
                    color: Theme.secondaryText
                }
            }
            ToolButtonFlat {
                objectName: "selectButton"
                text: pane.selecting ? qsTr("Cancel") : qsTr("Select")
                glyph: "\u2713"
                enabled: pane.selector !== null && pane.currentType === 2 && !pane.search.isActive
                onClicked: pane.selecting ? pane.endSelection() : (pane.selecting = true)
            }
            ToolButtonFlat {
                objectName: "calendarButton"
                text: qsTr("Calendar")
                glyph: "\u25a6"
                enabled: pane.controller.calendar !== null
                onClicked: {
                    calendarPopup.showMonthOf(pane.controller.calendar.lastDate());
                    calendarPopup.open();
                }
            }
            ToolButtonFlat {
                text: qsTr("Add sample photo")
                glyph: "+"
                primary: true
                enabled: pane.controller.gallery !== null
                onClicked: {
                    if (pane.controller.addSamplePhoto()) {
                        pane.search.clear();
                        pane.currentType = 2;
                        chatLists.showNewest();
                    }
                }
            }
            ToolButtonFlat {
                text: qsTr("Delete newest")
                glyph: "\u2715"
                enabled: pane.controller.gallery !== null
                onClicked: {
                    const list = pane.listOf(pane.currentType);
                    pane.controller.deleteNewest(list ? list.resourceModel : null);
                }
            }
        }

        SearchBar {
            Layout.fillWidth: true
            search: pane.search
        }

        // Tabs.
        Item {
            Layout.fillWidth: true
            Layout.preferredHeight: 44

            Row {
                anchors.left: parent.left
                anchors.leftMargin: Theme.margin - 10
                anchors.bottom: parent.bottom
                spacing: 4

                Repeater {
                    model: pane.tabs

                    delegate: Item {
                        id: tab

                        required property var modelData
                        readonly property bool current: pane.currentType === modelData.type

                        objectName: "tab" + modelData.type
                        width: tabLabel.implicitWidth + 24
                        height: 44

                        Rectangle {
                            anchors.fill: parent
                            anchors.bottomMargin: 6
                            anchors.topMargin: 4
                            radius: 8
                            color: tabMouse.containsMouse && !tab.current ? Theme.hover : "transparent"
                        }
                        Label {
                            id: tabLabel
                            anchors.centerIn: parent
                            anchors.verticalCenterOffset: -1
                            text: tab.modelData.title
                            font.pixelSize: 14
                            font.weight: tab.current ? Font.DemiBold : Font.Normal
                            color: tab.current ? Theme.accent : Theme.secondaryText
                        }
                        Rectangle {
                            anchors.bottom: parent.bottom
                            anchors.horizontalCenter: parent.horizontalCenter
                            width: parent.width - 16
                            height: 3
                            radius: 1.5
                            color: Theme.accent
                            visible: tab.current
                        }
                        MouseArea {
                            id: tabMouse
                            anchors.fill: parent
                            hoverEnabled: true
                            cursorShape: Qt.PointingHandCursor
                            onClicked: pane.currentType = tab.modelData.type
                        }
                    }
                }
            }
            Rectangle {
                anchors.bottom: parent.bottom
                width: parent.width
                height: 1
                color: Theme.border
            }
        }

        StackLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: pane.search.isActive ? 1 : 0

            TabLists {
                id: chatLists
                gallery: pane
                currentIndex: pane.currentIndex
                sourceOf: type => pane.listOf(type)
            }
            TabLists {
                id: hitLists
                gallery: pane
                currentIndex: pane.currentIndex
                searching: true
                sourceOf: type => pane.search.isActive && pane.search.type === type ? pane.search : null
            }
        }

        SelectionBar {
            Layout.fillWidth: true
            visible: pane.selecting
            selector: pane.selector
            chatPicker: pane.chatPicker
            onDone: pane.endSelection()
            onSaved: folder => pane.controller.notice(qsTr("Saved to %1").arg(folder))
        }
    }

    CalendarPopup {
        id: calendarPopup
        x: Math.round((pane.width - width) / 2)
        y: 72
        calendar: pane.controller.calendar
        onDaySelected: item => {
            if (pane.viewer)
                pane.viewer.openAt(item, null);
        }
    }
}
