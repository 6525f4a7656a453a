import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// How long downloaded media stay on this computer: a default for private chats and one for
// groups, and chats with a keep time of their own.
Rectangle {
    id: panel

    required property GalleryController controller
    readonly property var keep: controller.hub.mediaKeepSetting()
    property bool groups: false

    radius: Theme.radius
    color: Theme.panel
    border.color: Theme.border
    Component.onCompleted: if (keep) keep.initModel(groups)
    onGroupsChanged: {
        keep.initModel(groups);
        search.text = "";
        keep.search("");
    }

    component KeepChoice: ComboBox {
        id: choice
        property int keepTime: -1
        signal chosen(int keepTime)
        model: Theme.keepTimes
        textRole: "name"
        currentIndex: Theme.keepTimeIndex(keepTime)
        onActivated: index => choice.chosen(Theme.keepTimes[index].value)
        font.pixelSize: 12
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 16
        spacing: 8

        Label {
            text: qsTr("Keep media")
            font.pixelSize: 16
            font.weight: Font.DemiBold
            color: Theme.text
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: qsTr("Downloaded media older than this leave this computer; they stay in the chat and download again when opened.")
            font.pixelSize: 12
            color: Theme.secondaryText
        }

        GridLayout {
            Layout.fillWidth: true
            columns: 2
            columnSpacing: 10
            rowSpacing: 6

            Label {
                text: qsTr("Private chats")
                color: Theme.text
                font.pixelSize: 13
                Layout.fillWidth: true
            }
            KeepChoice {
                objectName: "privateKeepChoice"
                Layout.preferredWidth: 190
                keepTime: panel.keep ? panel.keep.privateKeepTime : -1
                onChosen: value => panel.keep.privateKeepTime = value
            }
            Label {
                text: qsTr("Groups")
                color: Theme.text
                font.pixelSize: 13
                Layout.fillWidth: true
            }
            KeepChoice {
                Layout.preferredWidth: 190
                keepTime: panel.keep ? panel.keep.groupKeepTime : -1
                onChosen: value => panel.keep.groupKeepTime = value
            }
        }

        RowLayout {
            Layout.fillWidth: true
            Label {
                Layout.fillWidth: true
                text: qsTr("Exceptions")
                font.pixelSize: 14
                font.weight: Font.Medium
                color: Theme.text
            }
            SegmentedControl {
                options: [qsTr("Private"), qsTr("Groups")]
                currentIndex: panel.groups ? 1 : 0
                onActivated: index => panel.groups = index === 1
            }
        }

        ListView {
            id: exceptions
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.minimumHeight: 60
            clip: true
            model: panel.keep ? panel.keep.exceptionModel : null
            ScrollBar.vertical: ScrollBar { }

            delegate: RowLayout {
                id: exceptionRow
                required property string dialogId
                required property string name
                required property int keepTime
                width: ListView.view.width
                spacing: 6

                Label {
                    Layout.fillWidth: true
                    text: exceptionRow.name
                    elide: Text.ElideRight
                    color: Theme.text
                    font.pixelSize: 13
                }
                KeepChoice {
                    Layout.preferredWidth: 150
                    keepTime: exceptionRow.keepTime
                    onChosen: value => panel.keep.updateKeepTime(exceptionRow.dialogId, value)
                }
                ToolButtonFlat {
                    text: "✕"
                    onClicked: panel.keep.remove(exceptionRow.dialogId)
                }
            }

            Label {
                anchors.centerIn: parent
                visible: exceptions.count === 0
                text: qsTr("Every chat follows the default")
                color: Theme.faintText
                font.pixelSize: 12
            }
        }

        TextField {
            id: search
            Layout.fillWidth: true
            placeholderText: panel.groups ? qsTr("Add a group…") : qsTr("Add a chat…")
            onTextEdited: panel.keep.search(text)
        }

        ListView {
            id: hits
            Layout.fillWidth: true
            Layout.preferredHeight: search.text.length > 0 ? Math.min(contentHeight, 120) : 0
            clip: true
            model: panel.keep ? panel.keep.searchModel : null

            delegate: RowLayout {
                id: hitRow
                required property string dialogId
                required property string name
                width: ListView.view.width
                Label {
                    Layout.fillWidth: true
                    text: hitRow.name
                    elide: Text.ElideRight
                    color: Theme.text
                    font.pixelSize: 13
                }
                ToolButtonFlat {
                    text: qsTr("Keep 1 week")
                    onClicked: {
                        panel.keep.add(hitRow.dialogId, 7);
                        panel.keep.search(search.text);
                    }
                }
            }
        }

        ToolButtonFlat {
            Layout.fillWidth: true
            text: qsTr("Clean up now")
            onClicked: {
                panel.controller.hub.clearLocalMedia();
                panel.controller.notice(qsTr("Old media are being cleaned up"));
            }
        }
    }
}
