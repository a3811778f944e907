#pragma once

#include <pthread.h>

namespace qz {

/// The platform's recursive mutex. Like all locks here it ignores what the calls answer: with a
/// mutex that is in order they can't fail.
struct RecursiveMutex {
    RecursiveMutex()
    {
        ::pthread_mutexattr_init(&attributes);
        ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        ::pthread_mutex_init(&mutex, &attributes);
    }
    ~RecursiveMutex()
    {
        ::pthread_mutex_destroy(&mutex);
        ::pthread_mutexattr_destroy(&attributes);
    }
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    pthread_mutex_t mutex;
    pthread_mutexattr_t attributes;
};

}  // namespace qz
