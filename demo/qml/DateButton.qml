import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// One bound of a span of days: the button shows the day, and opens a month to pick another one
// or none.
ToolButtonFlat {
    id: button

    property string label
    // The bound in ms since the epoch; 0 leaves the side open.
    property real time: 0
    // The bound is the last millisecond of the day picked rather than its first.
    property bool endOfDay: false
    signal picked(real time)

    function boundOf(date) {
        const first = new Date(date.getFullYear(), date.getMonth(), date.getDate());
        return endOfDay ? new Date(first.getFullYear(), first.getMonth(), first.getDate() + 1).getTime() - 1
                        : first.getTime();
    }

    function isPickedDay(date) {
        return time > 0 && boundOf(date) === boundOf(new Date(time));
    }

    text: label + ": " + (time > 0 ? Theme.shortDate(time) : qsTr("any day"))
    glyph: "\u25a6"
    onClicked: {
        month.showMonthOf(time);
        popup.open();
    }

    PanelPopup {
        id: popup
        objectName: button.objectName + "Popup"
        y: button.height + 4
        width: 320

        contentItem: ColumnLayout {
            spacing: 8

            MonthView {
                id: month
                Layout.fillWidth: true
                isMarked: date => button.isPickedDay(date)
                onDayClicked: date => {
                    popup.close();
                    button.picked(button.boundOf(date));
                }
            }
            ToolButtonFlat {
                objectName: "anyDay"
                Layout.alignment: Qt.AlignHCenter
                text: qsTr("Any day")
                onClicked: {
                    popup.close();
                    button.picked(0);
                }
            }
        }
    }
}
