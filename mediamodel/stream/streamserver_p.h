#pragma once

//
// Internal to the stream server, not API: hooks for the tests.
//

#include "mediamodel_export.h"

namespace network {

// The idle stop of the stream server waits 30000 ms; tests shorten it. Applies from the next
// time the server starts its idle timer.
MEDIAMODEL_TESTS_EXPORT void setStreamServerIdleIntervalForTests(int msecs);

} // namespace network
