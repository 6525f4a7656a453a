#pragma once

// Content type codes of messages, shared by rows, items and lists.
enum ContentType {
    CONTENT_TEXT = 1, // the source of link items
    CONTENT_PHOTO = 2,
    CONTENT_VOICE = 3,
    CONTENT_MUSIC = 4,
    CONTENT_VIDEO = 5,
    CONTENT_FILE = 6,
    CONTENT_COMBINED = 7, // holds child messages
};

// Dialog types as the host reports them; system dialogs carry no media.
enum DialogType { DIALOG_PRIVATE = 0, DIALOG_GROUP = 1, DIALOG_SYSTEM = 2 };
