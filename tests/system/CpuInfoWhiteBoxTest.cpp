// SPDX-License-Identifier: MIT
// Processors are described from tables, and once from the real one.

#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzSystemUtils.h>

#include "CpuInfoTestPeer.h"
#include "support/LibraryStart.h"
#include "system/SystemInformation.h"

namespace qz {

using impl::CpuLeaf;
using impl::CpuLeaves;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Peer = CpuInfoTestPeer;
using CPUInfo = qzSystemUtils::CPUInfo;
using Names = std::set<std::string>;

// Programs store these numbers.
static_assert(CPUInfo::InstructionSetUnknown == 0 && CPUInfo::InstructionSetBMI1 == 1 &&
              CPUInfo::InstructionSetBMI2 == 2 && CPUInfo::InstructionSetABM == 3 &&
              CPUInfo::InstructionSetTBM == 4 && CPUInfo::InstructionSetPOPCNT == 5 &&
              CPUInfo::InstructionSetLZCNT == 6 && CPUInfo::InstructionSetRDRAND == 7 &&
              CPUInfo::InstructionSetRDSEED == 8 && CPUInfo::InstructionSetMMX == 9 &&
              CPUInfo::InstructionSetSSE == 10 && CPUInfo::InstructionSetSSE2 == 11 &&
              CPUInfo::InstructionSetSSE3 == 12 && CPUInfo::InstructionSetSSSE3 == 13 &&
              CPUInfo::InstructionSetSSE4_1 == 14 && CPUInfo::InstructionSetSSE4_2 == 15 &&
              CPUInfo::InstructionSetSSE4a == 16 && CPUInfo::InstructionSetXOP == 17 &&
              CPUInfo::InstructionSetF16C == 18 && CPUInfo::InstructionSetAVX == 19 &&
              CPUInfo::InstructionSetAVX2 == 20 && CPUInfo::InstructionSetFMA3 == 21 &&
              CPUInfo::InstructionSetAVX512F == 22 && CPUInfo::InstructionSetAVX512PF == 23 &&
              CPUInfo::InstructionSetAVX512ER == 24 && CPUInfo::InstructionSetAVX512CD == 25 &&
              CPUInfo::InstructionSetAES == 26 && CPUInfo::InstructionSetSHA == 27);
static_assert(std::is_same_v<std::underlying_type_t<CPUInfo::InstructionSet>, int>);

constexpr std::uint32_t kFxsr = 1U << 24;              // leaf 1 EDX
constexpr std::uint32_t kXsave = 1U << 26 | 1U << 27;  // leaf 1 ECX, with OSXSAVE
constexpr std::uint32_t kSseAndAvx = 0b110;            // of the enabled states

std::uint32_t pack(const char* text)
{
    std::uint32_t value = 0;
    std::memcpy(&value, text, sizeof value);
    return value;
}

// A processor that has nothing but its name.
CpuLeaves makeProcessor(const std::string& vendor, std::size_t standard = 8,
                        std::size_t extended = 5)
{
    CpuLeaves leaves;
    leaves.standard.resize(standard);
    leaves.extended.resize(extended);
    if (standard > 0) {
        leaves.standard[0].ebx = pack(&vendor[0]);
        leaves.standard[0].edx = pack(&vendor[4]);
        leaves.standard[0].ecx = pack(&vendor[8]);
    }
    return leaves;
}

// One that has every bit of every register in which sets are described.
CpuLeaves makeFullProcessor(const std::string& vendor)
{
    CpuLeaves leaves = makeProcessor(vendor);
    leaves.standard[1].ecx = leaves.standard[1].edx = 0xFFFFFFFFU;
    leaves.standard[7].ebx = 0xFFFFFFFFU;
    leaves.extended[1].ecx = 0xFFFFFFFFU;
    leaves.enabledStateMask = kSseAndAvx;
    return leaves;
}

Names getNames(const std::set<CPUInfo::InstructionSet>& sets)
{
    Names names;
    for (const CPUInfo::InstructionSet set : sets) {
        names.insert(CPUInfo::InstructionSetToString(set));
    }
    return names;
}

const Names kPlain = {"BMI1",   "BMI2",   "ABM", "TBM", "POPCNT", "LZCNT",
                      "RDRAND", "RDSEED", "MMX", "AES", "SHA"};
const Names kSse = {"SSE", "SSE2", "SSE3", "SSSE3", "SSE4.1", "SSE4.2", "F16C"};
const Names kAmd = {"SSE4a", "XOP"};
const Names kAvx = {"AVX", "AVX2", "FMA3", "AVX512F", "AVX512PF", "AVX512ER", "AVX512CD"};

Names join(const std::vector<Names>& groups)
{
    Names all;
    for (const Names& group : groups)
        all.insert(group.begin(), group.end());
    return all;
}

}  // namespace

struct SetRow {
    const char* name;
    int number;
    char leaf;  // '1' and '7', 'x' for the extended one
    char reg;
    int bit;
    char group;  // p, s, a
    bool isAmdOnly = false;
};

const SetRow kSets[] = {
    {"BMI1", 1, '7', 'b', 3, 'p'},        {"BMI2", 2, '7', 'b', 8, 'p'},
    {"ABM", 3, 'x', 'c', 5, 'p'},         {"TBM", 4, 'x', 'c', 21, 'p'},
    {"POPCNT", 5, '1', 'c', 23, 'p'},     {"LZCNT", 6, 'x', 'c', 5, 'p'},
    {"RDRAND", 7, '1', 'c', 30, 'p'},     {"RDSEED", 8, '7', 'b', 18, 'p'},
    {"MMX", 9, '1', 'd', 23, 'p'},        {"SSE", 10, '1', 'd', 25, 's'},
    {"SSE2", 11, '1', 'd', 26, 's'},      {"SSE3", 12, '1', 'c', 0, 's'},
    {"SSSE3", 13, '1', 'c', 9, 's'},      {"SSE4.1", 14, '1', 'c', 19, 's'},
    {"SSE4.2", 15, '1', 'c', 20, 's'},    {"SSE4a", 16, 'x', 'c', 6, 's', true},
    {"XOP", 17, 'x', 'c', 11, 's', true}, {"F16C", 18, '1', 'c', 29, 's'},
    {"AVX", 19, '1', 'c', 28, 'a'},       {"AVX2", 20, '7', 'b', 5, 'a'},
    {"FMA3", 21, '1', 'c', 12, 'a'},      {"AVX512F", 22, '7', 'b', 16, 'a'},
    {"AVX512PF", 23, '7', 'b', 26, 'a'},  {"AVX512ER", 24, '7', 'b', 27, 'a'},
    {"AVX512CD", 25, '7', 'b', 28, 'a'},  {"AES", 26, '1', 'c', 25, 'p'},
    {"SHA", 27, '7', 'b', 29, 'p'},
};

class CpuInstructionSet : public ::testing::TestWithParam<SetRow> {
protected:
    // A processor with the set's bit alone, and what must be there for it to be usable or not.
    static CPUInfo describe(const std::string& vendor, bool hasFxsr, bool savesAvx)
    {
        CpuLeaves leaves = makeProcessor(vendor);
        if (hasFxsr) leaves.standard[1].edx |= kFxsr;
        if (savesAvx) {
            leaves.standard[1].ecx |= kXsave;
            leaves.enabledStateMask = kSseAndAvx;
        }
        CpuLeaf& leaf = GetParam().leaf == '1'   ? leaves.standard[1]
                        : GetParam().leaf == '7' ? leaves.standard[7]
                                                 : leaves.extended[1];
        std::uint32_t& reg = GetParam().reg == 'b'   ? leaf.ebx
                             : GetParam().reg == 'c' ? leaf.ecx
                                                     : leaf.edx;
        reg |= 1U << GetParam().bit;
        return Peer::make(leaves);
    }
    static bool has(const std::set<CPUInfo::InstructionSet>& sets)
    {
        return sets.count(static_cast<CPUInfo::InstructionSet>(GetParam().number)) != 0;
    }
};

TEST_P(CpuInstructionSet, HasItsNumberAndName)
{
    EXPECT_EQ(
        CPUInfo::InstructionSetToString(static_cast<CPUInfo::InstructionSet>(GetParam().number)),
        GetParam().name);
}

TEST_P(CpuInstructionSet, IsReadFromItsBit)
{
    const CPUInfo cpu = describe("AuthenticAMD", /*hasFxsr=*/true, /*savesAvx=*/true);
    EXPECT_TRUE(has(Peer::getEnabled(cpu)));
    EXPECT_FALSE(has(Peer::getDisabled(cpu)));
    EXPECT_TRUE(
        cpu.isInstructionSetAvailable(static_cast<CPUInfo::InstructionSet>(GetParam().number)));
    const std::size_t sameBit = GetParam().bit == 5 && GetParam().leaf == 'x' ? 2 : 1;
    EXPECT_EQ(Peer::getEnabled(cpu).size(), sameBit);
}

TEST_P(CpuInstructionSet, IsOnProcessorsOfOneVendorOnly)
{
    const CPUInfo cpu = describe("GenuineIntel", /*hasFxsr=*/true, /*savesAvx=*/true);
    EXPECT_EQ(has(Peer::getEnabled(cpu)), !GetParam().isAmdOnly);
    EXPECT_FALSE(has(Peer::getDisabled(cpu)));
}

TEST_P(CpuInstructionSet, IsDisabledWithoutTheSystemsHelp)
{
    const CPUInfo noAvx = describe("AuthenticAMD", /*hasFxsr=*/true, /*savesAvx=*/false);
    EXPECT_EQ(has(Peer::getDisabled(noAvx)), GetParam().group == 'a');
    EXPECT_EQ(has(Peer::getEnabled(noAvx)), GetParam().group != 'a');
    const CPUInfo noSse = describe("AuthenticAMD", /*hasFxsr=*/false, /*savesAvx=*/true);
    EXPECT_EQ(has(Peer::getDisabled(noSse)), GetParam().group != 'p');
    EXPECT_EQ(has(Peer::getEnabled(noSse)), GetParam().group == 'p');
}

INSTANTIATE_TEST_SUITE_P(Rows, CpuInstructionSet, ::testing::ValuesIn(kSets), [](const auto& row) {
    std::string name = row.param.name;
    std::erase(name, '.');
    return name;
});

TEST(CpuInfoTest, NamesTheOtherNumbers)
{
    const auto getName = [](int number) {
        return CPUInfo::InstructionSetToString(static_cast<CPUInfo::InstructionSet>(number));
    };
    EXPECT_EQ(getName(0), "Unknown");
    EXPECT_EQ(getName(28), "Unknown enum");
    EXPECT_EQ(getName(-1), "Unknown enum");
}

// --- Whole processors ------------------------------------------------------------------------

TEST(CpuInfoTest, DescribesAnAmdProcessor)
{
    const CPUInfo cpu = Peer::make(makeFullProcessor("AuthenticAMD"));
    EXPECT_EQ(Peer::getVendor(cpu), "AuthenticAMD");
    EXPECT_EQ(getNames(Peer::getEnabled(cpu)), join({kPlain, kSse, kAmd, kAvx}));
    EXPECT_THAT(Peer::getDisabled(cpu), IsEmpty());
    EXPECT_TRUE(cpu.isRunningOnVirtualMachine());
    EXPECT_TRUE(Peer::isHyperThreaded(cpu));
}

TEST(CpuInfoTest, ReadsEachFlagFromItsBitAlone)
{
    CpuLeaves leaves = makeProcessor("GenuineIntel");
    leaves.standard[1].ecx = 1U << 31;
    EXPECT_TRUE(Peer::make(leaves).isRunningOnVirtualMachine());
    EXPECT_FALSE(Peer::isHyperThreaded(Peer::make(leaves)));
    leaves.standard[1].ecx = ~(1U << 31);
    leaves.standard[1].edx = ~(1U << 28);
    EXPECT_FALSE(Peer::make(leaves).isRunningOnVirtualMachine());
    EXPECT_FALSE(Peer::isHyperThreaded(Peer::make(leaves)));
    leaves.standard[1].edx = 1U << 28;
    EXPECT_TRUE(Peer::isHyperThreaded(Peer::make(leaves)));
}

TEST(CpuInfoTest, KnowsAmdByItsWholeNameOnly)
{
    const CPUInfo cpu = Peer::make(makeFullProcessor("AuthenticAMd"));
    EXPECT_EQ(getNames(Peer::getEnabled(cpu)), join({kPlain, kSse, kAvx}));
}

struct AvxRow {
    const char* name;
    std::uint32_t missing;  // of leaf 1 ECX
    std::uint64_t states;
    bool isUsable;
};

class CpuAvxGroup : public ::testing::TestWithParam<AvxRow> {};

TEST_P(CpuAvxGroup, NeedsXsaveAndItsStates)
{
    CpuLeaves leaves = makeFullProcessor("GenuineIntel");
    leaves.standard[1].ecx &= ~GetParam().missing;
    leaves.enabledStateMask = GetParam().states;
    const CPUInfo cpu = Peer::make(leaves);
    EXPECT_EQ(getNames(Peer::getDisabled(cpu)), GetParam().isUsable ? Names{} : kAvx);
    EXPECT_EQ(cpu.isInstructionSetAvailable(CPUInfo::InstructionSetAVX), GetParam().isUsable);
    EXPECT_TRUE(cpu.isInstructionSetAvailable(CPUInfo::InstructionSetSSE4_2));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CpuAvxGroup,
    ::testing::Values(AvxRow{"AllThere", 0, 6, true}, AvxRow{"MoreStates", 0, 0xE7, true},
                      AvxRow{"NoXsave", 1U << 26, 6, false},
                      AvxRow{"NoOsxsave", 1U << 27, 6, false}, AvxRow{"NoSseState", 0, 4, false},
                      AvxRow{"NoAvxState", 0, 2, false}, AvxRow{"NoState", 0, 0, false}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(CpuInfoTest, DoesWithoutLeafSeven)
{
    CpuLeaves leaves = makeFullProcessor("GenuineIntel");
    leaves.standard.resize(7);
    const CPUInfo cpu = Peer::make(leaves);
    EXPECT_FALSE(cpu.isInstructionSetAvailable(CPUInfo::InstructionSetAVX2));
    EXPECT_FALSE(cpu.isInstructionSetAvailable(CPUInfo::InstructionSetBMI1));
    EXPECT_TRUE(cpu.isInstructionSetAvailable(CPUInfo::InstructionSetAVX));
}

TEST(CpuInfoTest, DoesWithoutExtendedLeaves)
{
    CpuLeaves leaves = makeFullProcessor("GenuineIntel");
    leaves.extended.resize(1);
    const CPUInfo cpu = Peer::make(leaves);
    EXPECT_EQ(Peer::getBrand(cpu), "n/a");
    EXPECT_FALSE(cpu.isInstructionSetAvailable(CPUInfo::InstructionSetLZCNT));
    EXPECT_TRUE(cpu.isInstructionSetAvailable(CPUInfo::InstructionSetAVX2));
}

TEST(CpuInfoTest, DoesWithTheVendorAlone)
{
    CpuLeaves leaves = makeFullProcessor("GenuineIntel");
    leaves.standard.resize(1);
    const CPUInfo cpu = Peer::make(leaves);
    EXPECT_EQ(Peer::getVendor(cpu), "GenuineIntel");
    EXPECT_THAT(Peer::getEnabled(cpu), IsEmpty());
    EXPECT_FALSE(cpu.isRunningOnVirtualMachine());
}

TEST(CpuInfoTest, KnowsNothingWithoutLeaves)
{
    const CPUInfo cpu = Peer::make(CpuLeaves());
    EXPECT_EQ(Peer::getVendor(cpu), "n/a");
    EXPECT_EQ(Peer::getBrand(cpu), "n/a");
    EXPECT_THAT(Peer::getEnabled(cpu), IsEmpty());
    EXPECT_FALSE(Peer::isHyperThreaded(cpu));
}

TEST(CpuInfoTest, ReadsTheBrandUpToItsEndWithoutBlanks)
{
    CpuLeaves leaves = makeProcessor("GenuineIntel");
    const char text[49] = "  \tA Processor\v 1.0 GHz \n\0 of another time     ";
    for (std::size_t i = 0; i < 3; ++i) {
        CpuLeaf& leaf = leaves.extended[2 + i];
        leaf.eax = pack(&text[16 * i]);
        leaf.ebx = pack(&text[16 * i + 4]);
        leaf.ecx = pack(&text[16 * i + 8]);
        leaf.edx = pack(&text[16 * i + 12]);
    }
    EXPECT_EQ(Peer::getBrand(Peer::make(leaves)), "A Processor\v 1.0 GHz");
    leaves.extended.resize(4);
    EXPECT_EQ(Peer::getBrand(Peer::make(leaves)), "n/a");
}

TEST(CpuInfoTest, ForgetsNamesAndSets)
{
    CpuLeaves leaves = makeFullProcessor("AuthenticAMD");
    leaves.extended[2].eax = pack("Name");
    leaves.enabledStateMask = 0;
    CPUInfo cpu = Peer::make(leaves);
    ASSERT_EQ(Peer::getBrand(cpu), "Name");
    ASSERT_FALSE(Peer::getEnabled(cpu).empty());
    ASSERT_FALSE(Peer::getDisabled(cpu).empty());
    cpu.clearCPUInfos();
    EXPECT_EQ(Peer::getVendor(cpu), "");
    EXPECT_EQ(Peer::getBrand(cpu), "");
    EXPECT_THAT(Peer::getEnabled(cpu), IsEmpty());
    EXPECT_THAT(Peer::getDisabled(cpu), IsEmpty());
    EXPECT_TRUE(cpu.isRunningOnVirtualMachine());
}

TEST(CpuInfoTest, DescribesItselfAsAMap)
{
    CpuLeaves leaves = makeProcessor("GenuineIntel");
    leaves.standard[1].edx = kFxsr | 1U << 23 | 1U << 25 | 1U << 28;
    leaves.standard[1].ecx = 1U << 28 | 1U << 25 | 1U << 19 | 1U << 12;
    leaves.standard[7].ebx = 1U << 16;
    qzVariant::qzVariantMapImpl map = Peer::make(leaves).toVariantMap();
    EXPECT_EQ(map.size(), 6U);
    EXPECT_EQ(map["vendor"], qzVariant("GenuineIntel"));
    EXPECT_EQ(map["brand"], qzVariant(""));
    EXPECT_EQ(map["ishypervisor"], qzVariant(false));
    EXPECT_EQ(map["ishyperthreaded"], qzVariant(true));
    ASSERT_NE(map["instructionsets"].getList(), nullptr);
    EXPECT_THAT(
        *map["instructionsets"].getList(),
        ElementsAre(qzVariant("AES"), qzVariant("MMX"), qzVariant("SSE"), qzVariant("SSE4.1")))
        << "not in the order of their numbers";
    EXPECT_THAT(*map["disabledinstructionsets"].getList(),
                ElementsAre(qzVariant("AVX"), qzVariant("AVX512F"), qzVariant("FMA3")));
}

// --- Reading ---------------------------------------------------------------------------------

// A processor whose leaves differ, with `last` and `lastExtended` as the last ones.
CpuLeaf makeLeaf(std::uint32_t leaf, std::uint32_t last, std::uint32_t lastExtended)
{
    CpuLeaf result;
    result.eax = leaf == 0 ? last : leaf == 0x80000000U ? lastExtended : 0x40414243U + leaf;
    result.ebx = 0x50515253U + leaf;
    result.ecx = 0x60616263U + leaf;
    result.edx = 0x70717273U + leaf;
    return result;
}

TEST(CpuLeavesTest, CountsAsManyLeavesAsTheProcessorSays)
{
    const CpuLeaves leaves =
        impl::readLeaves([](std::uint32_t leaf) { return makeLeaf(leaf, 3, 0x80000002U); });
    EXPECT_EQ(leaves.standard.size(), 4U);
    EXPECT_EQ(leaves.extended.size(), 3U);
}

TEST(CpuLeavesTest, ReadsNoLeafTwiceAndNoneThatNobodyNeeds)
{
    std::vector<std::uint32_t> calls;
    impl::readLeaves([&](std::uint32_t leaf) {
        calls.push_back(leaf);
        return makeLeaf(leaf, 9, 0x80000008U);
    });
    EXPECT_THAT(calls, ElementsAre(0, 1, 7, 0x80000000U, 0x80000001U, 0x80000002U, 0x80000003U,
                                   0x80000004U));
}

TEST(CpuLeavesTest, DescribesProcessorsAsIfAllLeavesWereRead)
{
    for (std::uint32_t last = 0; last <= 10; ++last) {
        for (std::uint32_t lastExtended = 0x80000000U; lastExtended <= 0x80000006U;
             ++lastExtended) {
            CpuLeaves all;
            for (std::uint32_t leaf = 0; leaf <= last; ++leaf) {
                all.standard.push_back(makeLeaf(leaf, last, lastExtended));
            }
            for (std::uint32_t leaf = 0x80000000U; leaf <= lastExtended; ++leaf) {
                all.extended.push_back(makeLeaf(leaf, last, lastExtended));
            }
            CpuLeaves used = impl::readLeaves(
                [&](std::uint32_t leaf) { return makeLeaf(leaf, last, lastExtended); });
            used.enabledStateMask = all.enabledStateMask = kSseAndAvx;
            EXPECT_TRUE(Peer::make(used).toVariantMap() == Peer::make(all).toVariantMap())
                << last << ", " << lastExtended;
        }
    }
}

TEST(CpuLeavesTest, ReadsNoLeafForANegativeCount)
{
    const CpuLeaves leaves = impl::readLeaves([](std::uint32_t) {
        CpuLeaf result;
        result.eax = 0x80000000U;
        return result;
    });
    EXPECT_THAT(leaves.standard, IsEmpty());
    EXPECT_EQ(leaves.extended.size(), 1U);
}

TEST(CpuLeavesTest, NeedsNoMemoryForANumberThatNoProcessorHas)
{
    const CpuLeaves leaves = impl::readLeaves(
        [](std::uint32_t leaf) { return makeLeaf(leaf, 0x7FFFFFFFU, 0xFFFFFFFFU); });
    EXPECT_EQ(leaves.standard.size(), 256U);
    EXPECT_EQ(leaves.extended.size(), 256U);
}

TEST(CpuLeavesTest, ReadsNoExtendedLeafWithoutTheirMark)
{
    const CpuLeaves leaves = impl::readLeaves([](std::uint32_t) { return CpuLeaf(); });
    EXPECT_EQ(leaves.standard.size(), 1U);
    EXPECT_THAT(leaves.extended, IsEmpty());
}

TEST(CpuInfoTest, AgreesWithTheKernelAboutThisProcessor)
{
    std::map<std::string, std::string> lines;  // of the first processor
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line) && !line.empty();) {
        const std::size_t colon = line.find(':');
        const std::string key = line.substr(0, line.find_first_of("\t:"));
        lines[key] = colon + 2 < line.size() ? line.substr(colon + 2) : "";
    }
    std::istringstream words(lines["flags"]);
    const Names flags{std::istream_iterator<std::string>(words), {}};
    const std::map<std::string, CPUInfo::InstructionSet> sets = {
        {"sse2", CPUInfo::InstructionSetSSE2},       {"ssse3", CPUInfo::InstructionSetSSSE3},
        {"sse4_1", CPUInfo::InstructionSetSSE4_1},   {"sse4_2", CPUInfo::InstructionSetSSE4_2},
        {"popcnt", CPUInfo::InstructionSetPOPCNT},   {"avx", CPUInfo::InstructionSetAVX},
        {"avx2", CPUInfo::InstructionSetAVX2},       {"fma", CPUInfo::InstructionSetFMA3},
        {"avx512f", CPUInfo::InstructionSetAVX512F}, {"bmi1", CPUInfo::InstructionSetBMI1},
        {"bmi2", CPUInfo::InstructionSetBMI2},       {"aes", CPUInfo::InstructionSetAES},
        {"rdrand", CPUInfo::InstructionSetRDRAND},   {"abm", CPUInfo::InstructionSetABM},
        {"f16c", CPUInfo::InstructionSetF16C},       {"sha_ni", CPUInfo::InstructionSetSHA},
    };
    const CPUInfo cpu;
    EXPECT_EQ(Peer::getVendor(cpu), lines["vendor_id"]);
    EXPECT_EQ(Peer::getBrand(cpu), lines["model name"]);
    EXPECT_EQ(cpu.isRunningOnVirtualMachine(), flags.count("hypervisor") != 0);
    EXPECT_EQ(Peer::isHyperThreaded(cpu), flags.count("ht") != 0);
    for (const auto& [flag, set] : sets) {
        EXPECT_EQ(cpu.isInstructionSetAvailable(set), flags.count(flag) != 0) << flag;
    }
}

// --- Layout ----------------------------------------------------------------------------------

TEST(CpuInfoTest, KeepsTheOrderOfItsFields)
{
    const CPUInfo cpu;
    EXPECT_THAT(Peer::getOffsets(cpu), ElementsAre(0, 32, 64, 112, 160, 161));
    EXPECT_EQ(sizeof cpu, 168U);
}

TEST(SystemInformationTest, KeepsTheOrderOfItsFields)
{
    const SystemInformation block;
    EXPECT_THAT(
        (Offsets{findOffset(block, block.displayDevices), findOffset(block, block.cpu),
                 findOffset(block, block.osText), findOffset(block, block.queryResults),
                 findOffset(block, block.libraryVersions), findOffset(block, block.ramBytes),
                 findOffset(block, block.idealThreadCount), findOffset(block, block.isQueryDone)}),
        ::testing::Truly([](const Offsets& offsets) {
            return std::is_sorted(offsets.begin(), offsets.end()) && offsets[0] == 0 &&
                   offsets[1] == 24 && offsets[2] == 192;
        }));
    EXPECT_EQ(block.osText, "Unknown OS");
}

TEST(SystemInformationTest, ExistsFromTheStartToTheStop)
{
    EXPECT_EQ(gSystemInformation, nullptr);
    {
        const support::LibraryStart library(LightInit);
        const SystemInformation* const block = gSystemInformation;
        ASSERT_NE(block, nullptr);
        qzSystemUtils::InitializeSystemUtils();
        EXPECT_EQ(gSystemInformation, block) << "a second call keeps it";
    }
    EXPECT_EQ(gSystemInformation, nullptr);
}

class SystemInformationUseTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary{LightInit};
};

TEST_F(SystemInformationUseTest, IsReadAndNotRefreshed)
{
    gSystemInformation->idealThreadCount = 77;
    gSystemInformation->ramBytes = 7;
    gSystemInformation->osText = "a system ";
    EXPECT_EQ(qzSystemUtils::GetIdealThreadCount(), 77U);
    EXPECT_EQ(qzSystemUtils::GetRamQuantityInBytes(), 7U);
    EXPECT_EQ(qzSystemUtils::GetOSInfo(), "a system ");
    EXPECT_EQ(&qzSystemUtils::GetCPUInfo(), &gSystemInformation->cpu);
    EXPECT_EQ(&qzSystemUtils::GetThirdPartyLibVersionInfo(), &gSystemInformation->libraryVersions);
}

TEST_F(SystemInformationUseTest, HasTheSecondQueryResultForTrue)
{
    auto& results = gSystemInformation->queryResults;
    EXPECT_EQ(&qzSystemUtils::GetWmicInfo(false), &results[0]);
    EXPECT_EQ(&qzSystemUtils::GetWmicInfo(true), &results[1]);
}

TEST_F(SystemInformationUseTest, EmptiesBothQueryResultsAtTheFirstCallOnly)
{
    for (const bool second : {false, true}) {
        gSystemInformation->isQueryDone = false;
        for (auto& result : gSystemInformation->queryResults)
            result["old"] = 1;
        qzSystemUtils::GetWmicInfo(second)["new"] = 2;
        EXPECT_TRUE(gSystemInformation->isQueryDone);
        EXPECT_EQ(qzSystemUtils::GetWmicInfo(!second).size(), 0U);
        EXPECT_EQ(qzSystemUtils::GetWmicInfo(second).size(), 1U);
    }
}

TEST_F(SystemInformationUseTest, ListsItsDisplayDevicesInTheReport)
{
    EXPECT_EQ(&qzSystemUtils::GetDirectXDevices(), &gSystemInformation->displayDevices);
    qzSystemUtils::DirectXDeviceInfo device;
    device.description = "first";
    gSystemInformation->displayDevices.push_back(device);
    device.description = "second";
    gSystemInformation->displayDevices.push_back(device);
    qzVariant::qzVariantMapImpl report;
    qzSystemUtils::GenerateHardwareReport(report, /*detailed=*/false);
    const qzVariant::qzVariantListImpl* const devices = report["DirectX Devices"].getList();
    ASSERT_NE(devices, nullptr);
    ASSERT_EQ(devices->size(), 2U);
    EXPECT_EQ(devices->back(), qzVariant(device.toVariantMap()));
}

}  // namespace qz
