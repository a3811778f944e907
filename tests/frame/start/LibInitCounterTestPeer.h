// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

#include <qz/qzSystem.h>

namespace qz::impl {

/// Looks into a counter of starts.
class LibInitCounterTestPeer {
public:
    static bool isTouched(const LibInitCounter& counter) { return counter.mTouched; }
    static bool getFlag(const LibInitCounter& counter) { return counter.mFlag; }
    static const std::string& getName(const LibInitCounter& counter) { return counter.mName; }

    static_assert(sizeof(LibInitCounter) == 40);
    static_assert(offsetof(LibInitCounter, mCount) == 0);
    static_assert(offsetof(LibInitCounter, mTouched) == 4);
    static_assert(offsetof(LibInitCounter, mFlag) == 5);
    static_assert(offsetof(LibInitCounter, mName) == 8);
};

}  // namespace qz::impl
