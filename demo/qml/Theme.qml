pragma Singleton
import QtQuick

// Colours, sizes and the formatting shared by every part of the window.
QtObject {
    readonly property color window: "#f3f4f6"
    readonly property color panel: "#ffffff"
    readonly property color border: "#e5e7eb"
    readonly property color text: "#111827"
    readonly property color secondaryText: "#6b7280"
    readonly property color faintText: "#9ca3af"
    readonly property color accent: "#2f80ed"
    readonly property color accentSoft: "#e8f1fd"
    readonly property color hover: "#f3f4f6"
    readonly property color placeholder: "#e5e7eb"
    readonly property int radius: 10
    readonly property int tileRadius: 8
    readonly property int gap: 4
    readonly property int margin: 20

    readonly property var palette: ["#ef6c6c", "#f2994a", "#e2b93b", "#52b788", "#2bb0c5",
        "#2f80ed", "#7b61ff", "#c86dd7"]

    function colorFor(text) {
        let hash = 0;
        for (let i = 0; i < text.length; ++i)
            hash = (hash * 31 + text.charCodeAt(i)) % 1000003;
        return palette[hash % palette.length];
    }

    function initials(name) {
        const words = name.split(" ").filter(w => w.length > 0);
        if (words.length === 0)
            return "?";
        return (words[0][0] + (words.length > 1 ? words[words.length - 1][0] : "")).toUpperCase();
    }

    function suffixColor(suffix) {
        switch (suffix.toLowerCase()) {
        case "pdf": return "#e5534b";
        case "zip": case "rar": case "7z": return "#a371f7";
        case "csv": case "xls": case "xlsx": return "#3fb950";
        case "txt": case "md": return "#6e7781";
        case "doc": case "docx": return "#2f80ed";
        default: return colorFor(suffix);
        }
    }

    // What a chat is, by the kind the chat list gives it.
    function chatKindName(kind) {
        return kind === "Group" ? qsTr("Group") : kind === "System" ? qsTr("Service chat")
                                                                    : qsTr("Private chat");
    }

    // What an item is, by its content type, as a sentence names it.
    function itemKindName(type) {
        switch (type) {
        case 1: return qsTr("link");
        case 2: return qsTr("photo");
        case 3: return qsTr("voice message");
        case 4: return qsTr("song");
        case 5: return qsTr("video");
        case 6: return qsTr("file");
        default: return qsTr("message");
        }
    }

    function startOfToday() {
        const now = new Date();
        return new Date(now.getFullYear(), now.getMonth(), now.getDate()).getTime();
    }

    // Sections are keyed by today's midnight or by the first day of their month.
    function sectionTitle(date) {
        if (date >= startOfToday())
            return qsTr("Today");
        const day = new Date(date);
        if (day.getFullYear() === new Date().getFullYear())
            return Qt.formatDate(day, "MMMM");
        return Qt.formatDate(day, "MMMM yyyy");
    }

    function shortDate(ms) {
        const day = new Date(ms);
        if (ms >= startOfToday())
            return Qt.formatTime(day, "hh:mm");
        if (day.getFullYear() === new Date().getFullYear())
            return Qt.formatDate(day, "d MMM");
        return Qt.formatDate(day, "d MMM yyyy");
    }

    function longDate(ms) {
        return Qt.formatDateTime(new Date(ms), "d MMM yyyy, hh:mm");
    }

    function duration(ms) {
        const seconds = Math.round(ms / 1000);
        const rest = seconds % 60;
        return Math.floor(seconds / 60) + ":" + (rest < 10 ? "0" : "") + rest;
    }

    function size(bytes) {
        if (bytes < 1024)
            return bytes + " B";
        if (bytes < 1024 * 1024)
            return (bytes / 1024).toFixed(1) + " KB";
        if (bytes < 1024 * 1024 * 1024)
            return (bytes / (1024 * 1024)).toFixed(1) + " MB";
        return (bytes / (1024 * 1024 * 1024)).toFixed(1) + " GB";
    }

    // Seconds left as the download screen shows them; below 0 means not known.
    function timeLeft(seconds) {
        if (seconds < 0)
            return qsTr("unknown");
        if (seconds < 60)
            return qsTr("%1 s").arg(seconds);
        if (seconds < 3600)
            return qsTr("%1 min %2 s").arg(Math.floor(seconds / 60)).arg(seconds % 60);
        return qsTr("%1 h %2 min").arg(Math.floor(seconds / 3600)).arg(Math.floor(seconds % 3600 / 60));
    }

    // The kinds of cached data the storage screen measures, by their code in the storage model.
    readonly property var dataTypes: [
        { name: qsTr("Photos"), color: "#2f80ed" },
        { name: qsTr("Videos"), color: "#7b61ff" },
        { name: qsTr("Files"), color: "#52b788" },
        { name: qsTr("Stickers"), color: "#e2b93b" },
        { name: qsTr("Profile photos"), color: "#2bb0c5" },
        { name: qsTr("Music"), color: "#f2994a" },
        { name: qsTr("Other"), color: "#9ca3af" },
        { name: qsTr("Voice and cache"), color: "#ef6c6c" }
    ]

    function dataTypeName(type) {
        return type >= 0 && type < dataTypes.length ? dataTypes[type].name : qsTr("Other");
    }

    function dataTypeColor(type) {
        return type >= 0 && type < dataTypes.length ? dataTypes[type].color : faintText;
    }

    // The keep-media choices, in days, with -1 for ever and -2 until the window loses focus.
    readonly property var keepTimes: [
        { value: -1, name: qsTr("Forever") },
        { value: 30, name: qsTr("1 month") },
        { value: 7, name: qsTr("1 week") },
        { value: 1, name: qsTr("1 day") },
        { value: -2, name: qsTr("When the window loses focus") }
    ]

    function keepTimeIndex(value) {
        return Math.max(0, keepTimes.findIndex(k => k.value === value));
    }
}
