// SPDX-License-Identifier: MIT
#include "SimdLevel.h"

namespace qz::text {

SimdLevel detectSimdLevel()
{
    __builtin_cpu_init();
    // The levels also need the count of bits, which early processors with SSSE3 lack.
    if (!__builtin_cpu_supports("popcnt")) return SimdLevel::Sse2;
    if (__builtin_cpu_supports("avx2")) return SimdLevel::Avx2;
    if (__builtin_cpu_supports("ssse3")) return SimdLevel::Ssse3;
    return SimdLevel::Sse2;
}

const SimdLevel impl::gSimdLevel = detectSimdLevel();

}  // namespace qz::text
