// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <qz/qzMutex.h>

namespace qz {

/// Owns a recursive mutex of the system. Like all locks here it ignores the results of the calls,
/// which can't fail for a valid mutex.
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

/// Makes a mutex free in a forked child, whose parent locked it before the fork. The child's only
/// thread can't unlock it, since the system identifies the owner by the parent's thread id.
inline void renewAfterFork(qzMutex& mutex)
{
    const RecursiveMutex fresh;
    ::pthread_mutex_init(static_cast<pthread_mutex_t*>(mutex.getMutexData()), &fresh.attributes);
}

}  // namespace qz
