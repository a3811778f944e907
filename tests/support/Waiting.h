// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <thread>

namespace qz::support {

/// Waits until `condition()` holds. The limit is generous and only ends a hang.
/// @return whether the condition holds.
template <typename Condition>
bool waitUntil(const Condition& condition, std::chrono::seconds limit = std::chrono::seconds(120))
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace qz::support
