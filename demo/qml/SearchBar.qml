import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// The media search of the gallery: a keyword field, this chat or all chats, and the filters by
// sender and by days. The hits replace the lists of the tabs while any filter is set; Esc or
// "Clear" drops them all.
ColumnLayout {
    id: bar

    required property GallerySearch search
    property bool filtersShown: false
    readonly property bool hasFilters: search.senderId > 0 || search.startTime > 0 || search.endTime > 0

    function clear() {
        filtersShown = false;
        search.clear();
    }

    spacing: 0

    RowLayout {
        Layout.fillWidth: true
        Layout.preferredHeight: 48
        Layout.leftMargin: Theme.margin
        Layout.rightMargin: Theme.margin
        spacing: 10

        TextField {
            id: field
            objectName: "searchField"
            Layout.fillWidth: true
            Layout.preferredHeight: 34
            leftPadding: 34
            placeholderText: qsTr("Search photos, files, links and music by name or caption")
            placeholderTextColor: Theme.faintText
            color: Theme.text
            font.pixelSize: 13
            text: bar.search.keyword
            onTextEdited: bar.search.keyword = text
            Keys.onEscapePressed: bar.clear()

            background: Rectangle {
                radius: 8
                color: field.activeFocus ? Theme.panel : Theme.hover
                border.color: field.activeFocus ? Theme.accent : Theme.border
            }

            Label {
                anchors.left: parent.left
                anchors.leftMargin: 12
                anchors.verticalCenter: parent.verticalCenter
                text: "\u2315"
                font.pixelSize: 16
                color: Theme.secondaryText
            }
        }
        SegmentedControl {
            objectName: "searchScope"
            options: [qsTr("This chat"), qsTr("All chats")]
            currentIndex: bar.search.allChats ? 1 : 0
            onActivated: index => bar.search.allChats = index === 1
        }
        ToolButtonFlat {
            objectName: "filtersButton"
            text: qsTr("Filters")
            glyph: "\u2261"
            primary: bar.hasFilters
            onClicked: bar.filtersShown = !bar.filtersShown
        }
        ToolButtonFlat {
            objectName: "clearSearch"
            text: qsTr("Clear")
            visible: bar.search.isActive || bar.search.keyword.length > 0 || bar.filtersShown
            onClicked: bar.clear()
        }
    }

    RowLayout {
        objectName: "searchFilters"
        Layout.fillWidth: true
        Layout.preferredHeight: 44
        Layout.leftMargin: Theme.margin
        Layout.rightMargin: Theme.margin
        visible: bar.filtersShown || bar.hasFilters
        spacing: 10

        Label {
            text: qsTr("Sent by")
            font.pixelSize: 13
            color: Theme.secondaryText
        }
        ComboBox {
            id: sender
            objectName: "senderFilter"
            Layout.preferredWidth: 170
            Layout.preferredHeight: 34
            model: [{ userId: 0, name: qsTr("Anyone") }].concat(bar.search.members.members)
            textRole: "name"
            valueRole: "userId"
            currentIndex: Math.max(0, indexOfValue(bar.search.senderId))
            font.pixelSize: 13
            onActivated: index => bar.search.senderId = valueAt(index)
        }
        DateButton {
            objectName: "startDate"
            label: qsTr("From")
            time: bar.search.startTime
            onPicked: time => bar.search.startTime = time
        }
        DateButton {
            objectName: "endDate"
            label: qsTr("To")
            time: bar.search.endTime
            endOfDay: true
            onPicked: time => bar.search.endTime = time
        }
        Item { Layout.fillWidth: true }
        BusyIndicator {
            Layout.preferredWidth: 24
            Layout.preferredHeight: 24
            running: bar.search.isQuerying
            visible: running
        }
    }

    Rectangle {
        Layout.fillWidth: true
        Layout.preferredHeight: 1
        color: Theme.border
    }
}
