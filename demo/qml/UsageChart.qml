import QtQuick
import QtQuick.Controls.Basic
import MediaGallery

// A ring of the kinds of cached data, each arc as long as its share, with the total inside.
Item {
    id: chart

    // The storage model's sizes by kind (rows largest first, each with its item).
    property var sizeModel: null
    property bool busy: false

    implicitWidth: 190
    implicitHeight: 190

    Instantiator {
        id: slices
        model: chart.sizeModel
        delegate: QtObject {
            required property int type
            required property double size
        }
        onObjectAdded: ring.requestPaint()
        onObjectRemoved: ring.requestPaint()
    }

    Connections {
        target: chart.sizeModel
        function onTotalSizeChanged() { ring.requestPaint(); }
        function onDataChanged() { ring.requestPaint(); }
    }

    Canvas {
        id: ring

        anchors.fill: parent
        antialiasing: true

        onPaint: {
            const ctx = getContext("2d");
            ctx.reset();
            const lineWidth = 22;
            const radius = Math.min(width, height) / 2 - lineWidth / 2 - 2;
            const cx = width / 2;
            const cy = height / 2;
            ctx.lineWidth = lineWidth;
            ctx.strokeStyle = Theme.placeholder;
            ctx.beginPath();
            ctx.arc(cx, cy, radius, 0, 2 * Math.PI);
            ctx.stroke();
            let total = 0;
            for (let i = 0; i < slices.count; ++i)
                total += slices.objectAt(i).size;
            if (total <= 0)
                return;
            // A sliver of every kind stays visible however small its share.
            const gap = slices.count > 1 ? 0.025 : 0;
            let start = -Math.PI / 2;
            for (let i = 0; i < slices.count; ++i) {
                const slice = slices.objectAt(i);
                const sweep = Math.max(0.02, 2 * Math.PI * slice.size / total);
                ctx.strokeStyle = Theme.dataTypeColor(slice.type);
                ctx.beginPath();
                ctx.arc(cx, cy, radius, start, start + Math.max(0.01, sweep - gap));
                ctx.stroke();
                start += sweep;
            }
        }
    }

    Column {
        anchors.centerIn: parent
        spacing: 2

        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            text: chart.sizeModel ? Theme.size(chart.sizeModel.totalSize) : ""
            font.pixelSize: 20
            font.weight: Font.DemiBold
            color: Theme.text
        }
        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            text: chart.busy ? qsTr("measuring…") : qsTr("in use")
            font.pixelSize: 12
            color: Theme.secondaryText
        }
    }
}
