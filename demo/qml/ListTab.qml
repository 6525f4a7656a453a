import QtQuick
import QtQuick.Controls.Basic
import MediaGallery

// One typed list of the gallery, or the hits of a search: its rows, older pages loaded as the user
// nears the end, a busy indicator while a page loads, and the empty state once the first page
// came back empty.
Item {
    id: tab

    // The MediaResource of the list, from the gallery, or the gallery's search: its resourceModel,
    // isQuerying and loadBefore(count) are what the list uses.
    property var resource: null
    property alias delegate: list.delegate
    property string emptyGlyph
    property string emptyTitle
    property string emptyText
    // Set once the first page of the current resource has arrived, empty or not.
    property bool firstPageLoaded: false
    // The rows shown (sections of the photo grid).
    readonly property int count: list.count

    readonly property bool isQuerying: resource !== null && resource.isQuerying
    readonly property int pageSize: 50

    function showNewest() {
        list.positionViewAtBeginning();
    }

    // The delegate's tile at (x, y) of this tab, for delegates that have tiles; null elsewhere.
    function tileAt(x, y) {
        const p = list.contentItem.mapFromItem(tab, x, y);
        const row = list.itemAt(p.x, p.y);
        if (!row || !row.tileAt)
            return null;
        const q = row.mapFromItem(tab, x, y);
        return row.tileAt(q.x, q.y);
    }

    function loadOlderNearEnd() {
        if (resource === null || !firstPageLoaded || resource.isQuerying || list.count === 0)
            return;
        if (list.contentHeight - (list.contentY + list.height) < list.height)
            resource.loadBefore(pageSize);
    }

    // The hub starts the first page when it makes the gallery, so a list that is not querying
    // when it arrives has its first page already.
    onResourceChanged: firstPageLoaded = resource !== null && !resource.isQuerying

    Connections {
        target: tab.resource
        function onIsQueryingChanged() {
            if (!tab.resource.isQuerying)
                tab.firstPageLoaded = true;
        }
    }

    ListView {
        id: list
        anchors.fill: parent
        anchors.leftMargin: Theme.margin
        anchors.rightMargin: Theme.margin - 8
        clip: true
        model: tab.resource ? tab.resource.resourceModel : null
        boundsBehavior: Flickable.StopAtBounds
        reuseItems: false
        cacheBuffer: 400
        topMargin: 8
        bottomMargin: 12
        ScrollBar.vertical: ScrollBar { }

        onContentYChanged: tab.loadOlderNearEnd()
        onHeightChanged: tab.loadOlderNearEnd()
        onCountChanged: tab.loadOlderNearEnd()

        footer: Item {
            width: ListView.view.width
            height: tab.isQuerying && list.count > 0 ? 56 : 0

            BusyIndicator {
                anchors.centerIn: parent
                width: 32
                height: 32
                running: tab.isQuerying && list.count > 0
                visible: running
            }
        }
    }

    BusyIndicator {
        anchors.centerIn: parent
        running: tab.resource !== null && list.count === 0 && (!tab.firstPageLoaded || tab.isQuerying)
        visible: running
    }

    EmptyState {
        anchors.centerIn: parent
        visible: tab.firstPageLoaded && !tab.isQuerying && list.count === 0
        glyph: tab.emptyGlyph
        title: tab.emptyTitle
        text: tab.emptyText
    }
}
