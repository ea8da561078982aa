#include "servostate.h"

#include <new>

#if defined(__SANITIZE_THREAD__)
// The toolkit is not built with the sanitizer, so its mutex is told to it here, in this one place.
extern "C" void __tsan_acquire(void* addr);
extern "C" void __tsan_release(void* addr);
#else
static void __tsan_acquire(void*) {}
static void __tsan_release(void*) {}
#endif

ServoState servoState;
WindowState windowState;

namespace {

template <class T>
void rebuild(T& state) {
    state.~T();
    new (&state) T;
}

}  // namespace

void resetProcessState() {
    rebuild(servoState);
    rebuild(windowState);
}

QMutex errorMessageSync(QMutex::Recursive);

ErrorMessageLock::ErrorMessageLock() {
    errorMessageSync.lock();
    __tsan_acquire(&errorMessageSync);
}

ErrorMessageLock::~ErrorMessageLock() {
    __tsan_release(&errorMessageSync);
    errorMessageSync.unlock();
}
