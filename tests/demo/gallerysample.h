#pragma once

#include <QString>

// The small sample account the gallery tests run on, and the chats they look at.
class GallerySample
{
public:
    // Creates the account in folder: a fixed day in the past, so that every item lies in a month
    // section and the grid's layout does not depend on the hour the tests run at. False when it
    // could not be made or lacks a chat with photos or one without.
    bool create(const QString &folder);

    QString photoChat;         // the chat with the most photos and videos
    QString chatWithoutPhotos; // a chat without any
    QString fileChat;          // the chat with the most files
    QString musicChat;         // the chat with the most music
    int photoChatMedia = 0;
    QString videoChat;      // the chat whose photo list shows a video nearest its top
    int videoPosition = -1; // that video's place in the list, newest first
};
