// SPDX-License-Identifier: MIT
#pragma once

#include <set>

#include <qz/qzSystemUtils.h>

#include "io/VirtualSlots.h"
#include "system/CpuLeaves.h"

namespace qz {

/// Describes processors that this machine hasn't got.
class CpuInfoTestPeer {
public:
    using CPUInfo = qzSystemUtils::CPUInfo;

    static CPUInfo make(const impl::CpuLeaves& leaves) { return CPUInfo(leaves); }
    static const std::string& getVendor(const CPUInfo& cpu) { return cpu.mVendor; }
    static const std::string& getBrand(const CPUInfo& cpu) { return cpu.mBrand; }
    static const std::set<CPUInfo::InstructionSet>& getEnabled(const CPUInfo& cpu)
    {
        return cpu.mEnabledSets;
    }
    static const std::set<CPUInfo::InstructionSet>& getDisabled(const CPUInfo& cpu)
    {
        return cpu.mDisabledSets;
    }
    static bool isHyperThreaded(const CPUInfo& cpu) { return cpu.mIsHyperThreaded; }

    static Offsets getOffsets(const CPUInfo& cpu)
    {
        return {findOffset(cpu, cpu.mVendor),       findOffset(cpu, cpu.mBrand),
                findOffset(cpu, cpu.mEnabledSets),  findOffset(cpu, cpu.mDisabledSets),
                findOffset(cpu, cpu.mIsHypervisor), findOffset(cpu, cpu.mIsHyperThreaded)};
    }
};

}  // namespace qz
