// SPDX-License-Identifier: MIT
#include "CpuLeaves.h"

#include <algorithm>
#include <iterator>

#include <cpuid.h>

namespace qz::impl {

namespace {

constexpr std::uint32_t kExtended = 0x80000000U;
constexpr std::uint32_t kTopBit = 0x80000000U;
constexpr std::uint32_t kMostLeaves = 256;    // of a range; far more than are used
constexpr std::uint32_t kOsxsave = 1U << 27;  // of ECX in leaf 1: the system has XGETBV enabled

CpuLeaf callCpuid(std::uint32_t leaf)
{
    CpuLeaf result;
    __cpuid_count(leaf, 0, result.eax, result.ebx, result.ecx, result.edx);
    return result;
}

std::uint64_t readEnabledStateMask()
{
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return static_cast<std::uint64_t>(high) << 32 | low;
}

// The leaves that the description of a processor is made from. In a virtual machine each one is an
// exit to the host, which takes 7 us, and processors have some 40 of them.
bool isUsed(std::uint32_t leaf)
{
    constexpr std::uint32_t used[] = {
        1, 7, kExtended + 1, kExtended + 2, kExtended + 3, kExtended + 4};
    return std::find(std::begin(used), std::end(used), leaf) != std::end(used);
}

// The first leaf of a range holds the number of the last one. A number that doesn't belong to the
// range says that the processor has none of its leaves. A processor without the range may answer
// anything, so the number is no measure for memory.
std::vector<CpuLeaf> readRange(const CpuidFunction& cpuid, std::uint32_t first)
{
    std::vector<CpuLeaf> leaves = {cpuid(first)};
    const std::uint32_t last = leaves.front().eax;
    if ((last & kTopBit) != (first & kTopBit)) return {};
    const std::uint32_t lastCounted = std::min(last, first + kMostLeaves - 1);
    for (std::uint32_t leaf = first + 1; leaf <= lastCounted; ++leaf) {
        leaves.push_back(isUsed(leaf) ? cpuid(leaf) : CpuLeaf());
    }
    return leaves;
}

}  // namespace

CpuLeaves readLeaves(const CpuidFunction& cpuid)
{
    CpuLeaves leaves;
    leaves.standard = readRange(cpuid, 0);
    leaves.extended = readRange(cpuid, kExtended);
    return leaves;
}

CpuLeaves readOwnLeaves()
{
    CpuLeaves leaves = readLeaves(&callCpuid);
    // Without that bit the instruction faults.
    if (leaves.standard.size() > 1 && (leaves.standard[1].ecx & kOsxsave) != 0)
        leaves.enabledStateMask = readEnabledStateMask();
    return leaves;
}

}  // namespace qz::impl
