#pragma once

#include <QSize>

class GalleryController;
class QQmlApplicationEngine;
class QQuickWindow;

// Headless runs render with the software scene graph, which needs no GPU and grabs the same
// pixels on every machine. Call before the first window is made.
void chooseGalleryRenderer();

// What the media layer needs of the process once, before the first hub and window: its types for
// QML, its texts, and the player's saved play mode.
void setUpMediaLayer();

// Loads the gallery window over controller into engine, showing initialSection (0 the media of a
// chat, on the list of initialTab; 1 storage usage; 2 bulk download) first. Null, with a log
// line, when the window cannot be made. The window belongs to engine.
QQuickWindow *loadGalleryWindow(QQmlApplicationEngine &engine, GalleryController &controller,
                                int initialTab, const QSize &size, int initialSection = 0);
