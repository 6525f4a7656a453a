// Linked into every test executable of a ThreadSanitizer build. The distribution's Qt is not
// instrumented, and QRecursiveMutex locks out of line, inside Qt, where ThreadSanitizer cannot
// see it: every access guarded by one would be reported as a race. These definitions take the
// place of Qt's (the executable exports them, and symbols of the executable come first), tell
// ThreadSanitizer of each lock and unlock, and call Qt's own implementation in between.

#include <QRecursiveMutex>
#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace {

template<typename Function> Function qtImplementation(const char *symbol)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol));
}

} // namespace

bool QRecursiveMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    using TryLock = bool (*)(QRecursiveMutex *, int);
    static const TryLock qtTryLock = qtImplementation<TryLock>("_ZN15QRecursiveMutex7tryLockEi");
    const unsigned flags =
            __tsan_mutex_write_reentrant | (timeout == 0 ? __tsan_mutex_try_lock : 0);
    __tsan_mutex_pre_lock(this, flags);
    const bool locked = qtTryLock(this, timeout);
    __tsan_mutex_post_lock(this, locked ? flags : flags | __tsan_mutex_try_lock_failed, 0);
    return locked;
}

void QRecursiveMutex::unlock() noexcept
{
    using Unlock = void (*)(QRecursiveMutex *);
    static const Unlock qtUnlock = qtImplementation<Unlock>("_ZN15QRecursiveMutex6unlockEv");
    __tsan_mutex_pre_unlock(this, 0);
    qtUnlock(this);
    __tsan_mutex_post_unlock(this, 0);
}
