#pragma once

#include <QSize>

class GalleryController;
class QQmlApplicationEngine;
class QQuickWindow;

// Headless runs render with the software scene graph, which needs no GPU and grabs the same
// pixels on every machine. Call before the first window is made.
void chooseGalleryRenderer();

// Loads the gallery window over controller into engine, showing the list of initialTab first.
// Null, with a log line, when the window cannot be made. The window belongs to engine.
QQuickWindow *loadGalleryWindow(QQmlApplicationEngine &engine, GalleryController &controller,
                                int initialTab, const QSize &size);
