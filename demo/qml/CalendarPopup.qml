import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// A month of the chat's calendar: days that have photos or videos are marked, and choosing one
// opens the viewer on that day's item. Backed by the hub's MediaCalender of the chat.
PanelPopup {
    id: popup

    // The MediaCalender of the chat, or null.
    property var calendar: null
    // Bumped when the calendar's days arrive, so that the marks are looked up again.
    property int revision: 0
    signal daySelected(var item)

    function showMonthOf(ms) {
        month.showMonthOf(ms);
    }

    function itemOn(date) {
        // Local midnight, the calendar's key of a day.
        const key = new Date(date.getFullYear(), date.getMonth(), date.getDate()).getTime();
        return revision >= 0 && calendar ? calendar.mediaByDate(key) : null;
    }

    objectName: "calendarPopup"
    width: 320

    Connections {
        target: popup.calendar
        function onIsQueryingChanged() { popup.revision++; }
    }

    contentItem: ColumnLayout {
        spacing: 8

        MonthView {
            id: month
            Layout.fillWidth: true
            isMarked: date => popup.itemOn(date) !== null
            onDayClicked: date => {
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
