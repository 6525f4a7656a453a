#pragma once

#include "mediamgr.h"

#include <QCoreApplication>
#include <QEvent>

// Closes a hub as the host does before its account goes: stops the background work, drops every
// gallery, deletes the hub, then runs what that posted (deferred deletions included) while the
// account still exists. A message deleter left for the application's teardown could block there.
inline void closeHub(MediaMgr *hub)
{
    hub->prepareToClearData(false);
    QCoreApplication::sendPostedEvents();
    hub->clearData(false);
    delete hub;
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}
