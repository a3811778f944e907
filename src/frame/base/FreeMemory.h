// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>

namespace qz {

/// Frees memory that a function of the C library has allocated.
struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

}  // namespace qz
