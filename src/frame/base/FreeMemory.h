#pragma once

#include <cstdlib>

namespace qz {

/// Gives back what a function of the C library has allocated.
struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

}  // namespace qz
