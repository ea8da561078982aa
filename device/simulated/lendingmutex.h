// A mutex that lends the waiter's priority to the holder, so that the servo thread waits for a reader on an
// ordinary thread no longer than that reader needs.
#pragma once

#include <pthread.h>

namespace arm {

class LendingMutex {
public:
    LendingMutex() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
        pthread_mutex_init(&mutex_, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    ~LendingMutex() { pthread_mutex_destroy(&mutex_); }
    LendingMutex(const LendingMutex&) = delete;
    LendingMutex& operator=(const LendingMutex&) = delete;
    void lock() { pthread_mutex_lock(&mutex_); }
    void unlock() { pthread_mutex_unlock(&mutex_); }

private:
    pthread_mutex_t mutex_;
};

}  // namespace arm
