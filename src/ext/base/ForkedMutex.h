// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>
#include <new>

#include <pthread.h>

namespace qz::ext {

/// From the first call on, a forked child finds `mutex` unlocked. It runs the thread that forked
/// alone, and nobody there would unlock what another thread had locked at that moment.
template <std::mutex& mutex>
void renewInForkedChildren()
{
    static const int registered =
        ::pthread_atfork(nullptr, nullptr, [] { new (&mutex) std::mutex; });
    static_cast<void>(registered);
}

}  // namespace qz::ext
