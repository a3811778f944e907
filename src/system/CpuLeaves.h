// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace qz::impl {

/// What the processor puts into the four registers for one leaf of `cpuid`.
struct CpuLeaf {
    std::uint32_t eax = 0;
    std::uint32_t ebx = 0;
    std::uint32_t ecx = 0;
    std::uint32_t edx = 0;
};

/// Everything that the description of a processor is made from.
struct CpuLeaves {
    std::vector<CpuLeaf> standard;       ///< From leaf 0 on.
    std::vector<CpuLeaf> extended;       ///< From leaf 0x80000000 on.
    std::uint64_t enabledStateMask = 0;  ///< The register states that the system saves (XCR0).
};

/// Gives the registers for a leaf, with 0 in ECX.
using CpuidFunction = std::function<CpuLeaf(std::uint32_t leaf)>;

/// Reads the leaves that the processor says it has, 256 of a range at most. Those that no
/// description uses count, but are zero.
CpuLeaves readLeaves(const CpuidFunction& cpuid);
/// Reads the processor that this code runs on.
CpuLeaves readOwnLeaves();

}  // namespace qz::impl
