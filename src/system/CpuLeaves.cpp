#include "CpuLeaves.h"

#include <cpuid.h>

namespace qz::impl {

namespace {

constexpr std::uint32_t kExtended = 0x80000000U;
constexpr std::uint32_t kTopBit = 0x80000000U;
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

std::vector<CpuLeaf> readRange(const CpuidFunction& cpuid, std::uint32_t first, std::uint32_t last)
{
    std::vector<CpuLeaf> leaves;
    for (std::uint32_t leaf = first; leaf <= last; ++leaf) {
        leaves.push_back(cpuid(leaf));
    }
    return leaves;
}

}  // namespace

CpuLeaves readLeaves(const CpuidFunction& cpuid)
{
    CpuLeaves leaves;
    const std::uint32_t last = cpuid(0).eax;
    if ((last & kTopBit) == 0) leaves.standard = readRange(cpuid, 0, last);
    const std::uint32_t lastExtended = cpuid(kExtended).eax;
    if ((lastExtended & kTopBit) != 0) leaves.extended = readRange(cpuid, kExtended, lastExtended);
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
