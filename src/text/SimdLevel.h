// SPDX-License-Identifier: MIT
#pragma once

namespace qz::text {

/// The vector instructions that the processor has beyond those of every x86-64 (SSE2). Each level
/// includes the ones before.
enum class SimdLevel {
    Sse2,
    Ssse3,  ///< With a table look-up in the bytes of a vector, and a count of bits.
    Avx2,   ///< The same on vectors of 32 bytes.
};

/// Detects the level of the processor.
SimdLevel detectSimdLevel();

namespace impl {
/// Set at load. Before that it is zero, which is the level that all processors have.
extern const SimdLevel gSimdLevel;
}  // namespace impl

/// The level of this machine, or a lower one before it is detected.
inline SimdLevel getSimdLevel()
{
    return impl::gSimdLevel;
}

}  // namespace qz::text
