#pragma once

#include "network_export.h"

class QThread;

namespace network {

// The process's network thread: one dedicated QThread named "network" running an event loop, on
// which sockets, servers and downloads live. Started on the first call and the same object on every
// call; it is never the GUI thread, so callers may post work to it and block until it is done.
// It is quit and waited for at QCoreApplication::aboutToQuit, or at process exit without an
// application. Thread-safe.
NETWORK_EXPORT QThread *getNetworkThread();

} // namespace network
