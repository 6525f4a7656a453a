#pragma once

// Not API: running a worker's update on the thread of the object it changes. The one way work
// started on a pool hands its results back to the object that owns them.

#include <functional>

class QObject;

// Runs fn on owner's thread: at once when called there, else posted, and dropped if owner goes
// away first.
void runOnOwnerThread(QObject *owner, std::function<void()> fn);
