import QtQuick
import QtQuick.Controls.Basic
import MediaGallery

// A modal popup on the window's panel colour, the frame of the gallery's pickers and dialogs.
Popup {
    modal: true
    focus: true
    padding: 16

    background: Rectangle {
        radius: Theme.radius
        color: Theme.panel
        border.color: Theme.border
    }
}
