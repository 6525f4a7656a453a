import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// A month of the chat's calendar: days that have photos or videos are marked, and choosing one
// opens the viewer on that day's item. Backed by the hub's MediaCalender of the chat.
Popup {
    id: popup

    // The MediaCalender of the chat, or null.
    property var calendar: null
    property int year: new Date().getFullYear()
    property int month: new Date().getMonth()
    // Bumped when the calendar's days arrive, so that the marks are looked up again.
    property int revision: 0
    signal daySelected(var item)


    function showMonthOf(ms) {
        const day = ms > 0 ? new Date(ms) : new Date();
        year = day.getFullYear();
        month = day.getMonth();
    }

    function itemOn(date) {
        // Local midnight, the calendar's key of a day.
        const key = new Date(date.getFullYear(), date.getMonth(), date.getDate()).getTime();
        return revision >= 0 && calendar ? calendar.mediaByDate(key) : null;
    }

    function stepMonth(delta) {
        const first = new Date(year, month + delta, 1);
        year = first.getFullYear();
        month = first.getMonth();
    }

    objectName: "calendarPopup"
    modal: true
    focus: true
    padding: 16
    width: 320

    Connections {
        target: popup.calendar
        function onIsQueryingChanged() { popup.revision++; }
    }

    background: Rectangle {
        radius: Theme.radius
        color: Theme.panel
        border.color: Theme.border
    }

    contentItem: ColumnLayout {
        spacing: 8

        RowLayout {
            Layout.fillWidth: true

            ToolButtonFlat {
                glyph: "\u2039"
                onClicked: popup.stepMonth(-1)
            }
            Label {
                Layout.fillWidth: true
                horizontalAlignment: Text.AlignHCenter
                text: new Date(popup.year, popup.month, 1).toLocaleDateString(Qt.locale(), "MMMM yyyy")
                font.pixelSize: 15
                font.weight: Font.DemiBold
                color: Theme.text
            }
            ToolButtonFlat {
                glyph: "\u203a"
                onClicked: popup.stepMonth(1)
            }
        }

        DayOfWeekRow {
            Layout.fillWidth: true
            locale: grid.locale
            delegate: Label {
                required property string shortName
                text: shortName
                horizontalAlignment: Text.AlignHCenter
                font.pixelSize: 11
                color: Theme.secondaryText
            }
        }

        MonthGrid {
            id: grid

            Layout.fillWidth: true
            year: popup.year
            month: popup.month

            delegate: Item {
                id: cell

                required property var model
                readonly property var media: popup.itemOn(model.date)
                readonly property bool inMonth: model.month === popup.month

                implicitWidth: 36
                implicitHeight: 36

                Rectangle {
                    anchors.centerIn: parent
                    width: 32
                    height: 32
                    radius: 16
                    color: cell.media !== null && cell.inMonth ? Theme.accentSoft : "transparent"
                    border.color: cell.model.today ? Theme.accent : "transparent"
                }
                Label {
                    anchors.centerIn: parent
                    text: cell.model.day
                    font.pixelSize: 13
                    font.weight: cell.media !== null ? Font.DemiBold : Font.Normal
                    color: !cell.inMonth ? Theme.faintText
                                         : cell.media !== null ? Theme.accent : Theme.text
                }
            }

            onClicked: date => {
                const item = popup.itemOn(date);
                if (item !== null) {
                    popup.close();
                    popup.daySelected(item);
                }
            }
        }

        Label {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: popup.calendar && popup.calendar.isQuerying ? qsTr("Looking for media…")
                                                               : qsTr("Marked days have photos or videos")
            font.pixelSize: 11
            color: Theme.secondaryText
        }
    }
}
