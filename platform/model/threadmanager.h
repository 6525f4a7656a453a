#pragma once

#include <functional>

// The host's database worker: one serial thread, so database work keeps its order.
class ThreadManager
{
public:
    // bAsync true: queue fn behind earlier work and return at once. false: run fn on the worker
    // and wait for it (inline when already on the worker).
    static void invoke(std::function<void()> fn, bool bAsync);
    // Runs everything queued so far, then returns. For orderly shutdown and for tests.
    static void waitForIdle();
};
