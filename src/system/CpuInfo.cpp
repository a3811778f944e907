// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstring>
#include <iterator>

#include <qz/qzSystemUtils.h>

#include "CpuLeaves.h"
#include "text/Characters.h"

namespace qz {

namespace {

using impl::CpuLeaf;
using impl::CpuLeaves;
using CPUInfo = qzSystemUtils::CPUInfo;

enum class Register { None, Leaf1Ecx, Leaf1Edx, Leaf7Ebx, ExtendedEcx };
enum class Vendor { Any, Amd };
// What the system must save for a set to be usable.
enum class Group { Plain, Sse, Avx };

struct SetRow {
    const char* name;
    Register source = Register::None;
    int bit = 0;
    Group group = Group::Plain;
    Vendor vendor = Vendor::Any;
};

// By the number of the set.
constexpr SetRow kSets[] = {
    {"Unknown"},
    {"BMI1", Register::Leaf7Ebx, 3},
    {"BMI2", Register::Leaf7Ebx, 8},
    {"ABM", Register::ExtendedEcx, 5},
    {"TBM", Register::ExtendedEcx, 21},
    {"POPCNT", Register::Leaf1Ecx, 23},
    {"LZCNT", Register::ExtendedEcx, 5},
    {"RDRAND", Register::Leaf1Ecx, 30},
    {"RDSEED", Register::Leaf7Ebx, 18},
    {"MMX", Register::Leaf1Edx, 23},
    {"SSE", Register::Leaf1Edx, 25, Group::Sse},
    {"SSE2", Register::Leaf1Edx, 26, Group::Sse},
    {"SSE3", Register::Leaf1Ecx, 0, Group::Sse},
    {"SSSE3", Register::Leaf1Ecx, 9, Group::Sse},
    {"SSE4.1", Register::Leaf1Ecx, 19, Group::Sse},
    {"SSE4.2", Register::Leaf1Ecx, 20, Group::Sse},
    {"SSE4a", Register::ExtendedEcx, 6, Group::Sse, Vendor::Amd},
    {"XOP", Register::ExtendedEcx, 11, Group::Sse, Vendor::Amd},
    {"F16C", Register::Leaf1Ecx, 29, Group::Sse},
    {"AVX", Register::Leaf1Ecx, 28, Group::Avx},
    {"AVX2", Register::Leaf7Ebx, 5, Group::Avx},
    {"FMA3", Register::Leaf1Ecx, 12, Group::Avx},
    {"AVX512F", Register::Leaf7Ebx, 16, Group::Avx},
    {"AVX512PF", Register::Leaf7Ebx, 26, Group::Avx},
    {"AVX512ER", Register::Leaf7Ebx, 27, Group::Avx},
    {"AVX512CD", Register::Leaf7Ebx, 28, Group::Avx},
    {"AES", Register::Leaf1Ecx, 25},
    {"SHA", Register::Leaf7Ebx, 29},
};

constexpr const char* kNotKnown = "n/a";
constexpr std::uint64_t kSseAndAvxStates = 0b110;  // of XCR0

bool hasBit(std::uint32_t value, int bit)
{
    return (value >> bit & 1U) != 0;
}

void appendRegister(std::string& text, std::uint32_t value)
{
    char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    text.append(bytes, sizeof bytes);
}

std::string readVendor(const CpuLeaf& leaf0)
{
    std::string vendor;
    appendRegister(vendor, leaf0.ebx);
    appendRegister(vendor, leaf0.edx);
    appendRegister(vendor, leaf0.ecx);
    return vendor;
}

// The name is 48 bytes in three leaves, up to the first zero byte.
std::string readBrand(const std::vector<CpuLeaf>& extended)
{
    std::string brand;
    for (std::size_t leaf = 2; leaf <= 4; ++leaf) {
        appendRegister(brand, extended[leaf].eax);
        appendRegister(brand, extended[leaf].ebx);
        appendRegister(brand, extended[leaf].ecx);
        appendRegister(brand, extended[leaf].edx);
    }
    brand.resize(std::strlen(brand.c_str()));
    return brand;
}

// The registers in which sets have their bits, with 0 for those of leaves that are missing.
class SetRegisters {
public:
    explicit SetRegisters(const CpuLeaves& leaves)
        : mLeaf1Ecx(leaves.standard[1].ecx),
          mLeaf1Edx(leaves.standard[1].edx),
          mLeaf7Ebx(leaves.standard.size() > 7 ? leaves.standard[7].ebx : 0),
          mExtendedEcx(leaves.extended.size() > 1 ? leaves.extended[1].ecx : 0),
          mSavesAvx(hasBit(mLeaf1Ecx, 26) && hasBit(mLeaf1Ecx, 27) &&
                    (leaves.enabledStateMask & kSseAndAvxStates) == kSseAndAvxStates)
    {
    }

    bool has(const SetRow& row) const { return hasBit(get(row.source), row.bit); }

    bool isUsable(Group group) const
    {
        const bool savesSse = hasBit(mLeaf1Edx, 24);
        return group == Group::Plain || (savesSse && (group == Group::Sse || mSavesAvx));
    }

private:
    std::uint32_t get(Register source) const
    {
        switch (source) {
            case Register::Leaf1Ecx:
                return mLeaf1Ecx;
            case Register::Leaf1Edx:
                return mLeaf1Edx;
            case Register::Leaf7Ebx:
                return mLeaf7Ebx;
            case Register::ExtendedEcx:
                return mExtendedEcx;
            default:
                return 0;
        }
    }

    std::uint32_t mLeaf1Ecx;
    std::uint32_t mLeaf1Edx;
    std::uint32_t mLeaf7Ebx;
    std::uint32_t mExtendedEcx;
    bool mSavesAvx;
};

qzVariant listNames(const std::set<CPUInfo::InstructionSet>& sets)
{
    qzVariant::qzVariantListImpl names;
    for (const CPUInfo::InstructionSet set : sets) {
        names.push_back(qzVariant(CPUInfo::InstructionSetToString(set)));
    }
    std::sort(names.begin(), names.end());
    return qzVariant(std::move(names));
}

}  // namespace

qzSystemUtils::CPUInfo::CPUInfo() : CPUInfo(impl::readOwnLeaves()) {}

qzSystemUtils::CPUInfo::CPUInfo(const impl::CpuLeaves& leaves)
    : mVendor(kNotKnown), mBrand(kNotKnown)
{
    if (!leaves.standard.empty()) mVendor = readVendor(leaves.standard[0]);
    if (leaves.extended.size() >= 5) mBrand = text::trim(readBrand(leaves.extended));
    if (leaves.standard.size() < 2) return;
    mIsHypervisor = hasBit(leaves.standard[1].ecx, 31);
    mIsHyperThreaded = hasBit(leaves.standard[1].edx, 28);

    const bool isAmd = mVendor == "AuthenticAMD";
    const SetRegisters registers(leaves);
    for (std::size_t number = 0; number < std::size(kSets); ++number) {
        const SetRow& row = kSets[number];
        if (!registers.has(row) || (row.vendor == Vendor::Amd && !isAmd)) continue;
        auto& sets = registers.isUsable(row.group) ? mEnabledSets : mDisabledSets;
        sets.insert(static_cast<InstructionSet>(number));
    }
}

qzSystemUtils::CPUInfo::~CPUInfo() = default;

void qzSystemUtils::CPUInfo::clearCPUInfos()
{
    mVendor.clear();
    mBrand.clear();
    mEnabledSets.clear();
    mDisabledSets.clear();
}

bool qzSystemUtils::CPUInfo::isInstructionSetAvailable(InstructionSet set) const
{
    return mEnabledSets.contains(set);
}

bool qzSystemUtils::CPUInfo::isRunningOnVirtualMachine() const
{
    return mIsHypervisor;
}

std::string qzSystemUtils::CPUInfo::InstructionSetToString(InstructionSet set)
{
    const auto number = static_cast<std::size_t>(set);
    return number < std::size(kSets) ? kSets[number].name : "Unknown enum";
}

qzVariant::qzVariantMapImpl qzSystemUtils::CPUInfo::toVariantMap() const
{
    qzVariant::qzVariantMapImpl map;
    map["vendor"] = mVendor;
    map["brand"] = mBrand;
    map["ishypervisor"] = mIsHypervisor;
    map["ishyperthreaded"] = mIsHyperThreaded;
    map["instructionsets"] = listNames(mEnabledSets);
    map["disabledinstructionsets"] = listNames(mDisabledSets);
    return map;
}

}  // namespace qz
