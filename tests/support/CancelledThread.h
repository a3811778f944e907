// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <functional>

namespace qz::support {

/// Runs `work` on a thread whose cancellation is already pending, so that the first cancellation
/// point of `work`, such as a read of a file, ends the thread.
/// @return whether the cancellation has ended the thread; false when `work` returned. A handler in
///     `work` that doesn't pass the cancellation on aborts the process: run this in a child.
inline bool endsByCancellation(std::function<void()> work)
{
    const auto run = [](void* argument) -> void* {
        ::pthread_cancel(::pthread_self());
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    pthread_t thread{};
    if (::pthread_create(&thread, nullptr, run, &work) != 0) return false;
    void* result = nullptr;
    return ::pthread_join(thread, &result) == 0 && result == PTHREAD_CANCELED;
}

}  // namespace qz::support
