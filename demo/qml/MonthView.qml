import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import MediaGallery

// One month of days with the arrows to the months around it; some days are marked, and a click
// on a day of the month tells which.
ColumnLayout {
    id: view

    property int year: new Date().getFullYear()
    property int month: new Date().getMonth()
    // Whether a day (a Date at local midnight) is marked.
    property var isMarked: date => false
    signal dayClicked(date date)

    function showMonthOf(ms) {
        const day = ms > 0 ? new Date(ms) : new Date();
        year = day.getFullYear();
        month = day.getMonth();
    }

    function stepMonth(delta) {
        const first = new Date(year, month + delta, 1);
        year = first.getFullYear();
        month = first.getMonth();
    }

    objectName: "monthView"
    spacing: 8

    RowLayout {
        Layout.fillWidth: true

        ToolButtonFlat {
            objectName: "previousMonth"
            glyph: "\u2039"
            onClicked: view.stepMonth(-1)
        }
        Label {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: new Date(view.year, view.month, 1).toLocaleDateString(Qt.locale(), "MMMM yyyy")
            font.pixelSize: 15
            font.weight: Font.DemiBold
            color: Theme.text
        }
        ToolButtonFlat {
            objectName: "nextMonth"
            glyph: "\u203a"
            onClicked: view.stepMonth(1)
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
        year: view.year
        month: view.month

        delegate: Item {
            id: cell

            required property var model
            readonly property date date: model.date
            readonly property bool inMonth: model.month === view.month
            readonly property bool marked: view.isMarked(model.date)

            objectName: "dayCell"
            implicitWidth: 36
            implicitHeight: 36

            Rectangle {
                anchors.centerIn: parent
                width: 32
                height: 32
                radius: 16
                color: cell.marked && cell.inMonth ? Theme.accentSoft : "transparent"
                border.color: cell.model.today ? Theme.accent : "transparent"
            }
            Label {
                anchors.centerIn: parent
                text: cell.model.day
                font.pixelSize: 13
                font.weight: cell.marked ? Font.DemiBold : Font.Normal
                color: !cell.inMonth ? Theme.faintText : cell.marked ? Theme.accent : Theme.text
            }
        }

        onClicked: date => view.dayClicked(date)
    }
}
