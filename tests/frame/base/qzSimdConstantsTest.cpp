// SPDX-License-Identifier: MIT
#include <qz/qzSimdConstants.h>

#include <cstring>
#include <string>
#include <vector>

#include <emmintrin.h>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"

namespace qz {

namespace {

static_assert(sizeof(qzSimdFloats) == 16 && alignof(qzSimdFloats) == 16);
static_assert(sizeof(qzSimdBits) == 16 && alignof(qzSimdBits) == 16);
static_assert(sizeof(sMaskTable) == 256 && sizeof(sOffset) == 64);

constexpr std::uint32_t kOnes = 0xFFFFFFFF;

}  // namespace

struct FloatRow {
    const char* name;
    const qzSimdFloats* vector;
    float value;
};

const FloatRow kFloatRows[] = {
    {"Pi", &sSSEPi, 3.1415927F},
    {"Pi_Over_Two", &sSSEPi_Over_Two, 1.5707964F},
    {"Pi_Over_Four", &sSSEPi_Over_Four, 0.7853982F},
    {"Delta", &sSSEDelta, 0.01F},
    {"FromPurcent", &sSSEFromPurcent, 0.01F},
    {"Half", &sSSEHalf, 0.5F},
    {"AlmostOne", &sSSEAlmostOne, 0.95F},
    {"One", &sSSEOne, 1.0F},
    {"MOne", &sSSEMOne, -1.0F},
    {"MTwo", &sSSEMTwo, -2.0F},
    {"255_Div", &sSSE_255_Div, 0.003921569F},
    {"Two", &sSSETwo, 2.0F},
    {"Three", &sSSEThree, 3.0F},
    {"Four", &sSSEFour, 4.0F},
    {"Ten", &sSSETen, 10.0F},
    {"ToPurcent", &sSSEToPurcent, 100.0F},
    {"HalfWhite", &sSSEHalfWhite, 128.0F},
    {"White", &sSSEWhite, 255.0F},
    {"Red", &sSSERed, 255.0F},
    {"Million", &sSSEMillion, 1000000.0F},
    {"Pow", &sSSEPow, 8388608.0F},
    {"ReflecMagicNumber", &sSSEReflecMagicNumber, 2.65F},
};

class qzSimdConstantsFloats : public ::testing::TestWithParam<FloatRow> {};

TEST_P(qzSimdConstantsFloats, FillAllLanes)
{
    alignas(16) float lanes[4];
    _mm_store_ps(lanes, *GetParam().vector);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(lanes[i], GetParam().value);
        EXPECT_EQ(GetParam().vector->lanes[i], GetParam().value);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, qzSimdConstantsFloats, ::testing::ValuesIn(kFloatRows),
                         [](const auto& row) { return std::string(row.param.name); });

struct BitsRow {
    const char* name;
    const qzSimdBits* vector;
    std::uint32_t bits;
};

const BitsRow kBitsRows[] = {
    {"Zero", &sSSEZero, 0},
    {"ZeroI", &sZeroI, 0},
    {"OneI", &sSSEOneI, 1},
    {"ThreeI", &sSSEThreeI, 3},
    {"HalfWhiteI", &sSSEHalfWhiteI, 128},
    {"RedI", &sSSERedI, 255},
    {"First", &sSSEFirst, 255},
    {"SignBitMask", &sSSESignBitMask, 0x80000000},
    {"MaskRound", &sSSEMaskRound, 0x80000000},
    {"MaskRoundFloat", &sSSEMaskRoundFloat, 0x80000000},
    {"FLT_MAX", &sSSE_FLT_MAX, 0x5368D4A5},
    {"MINUS_FLT_MAX", &sSSE_MINUS_FLT_MAX, 0xD368D4A5},
    {"MATH_FLT_MAX", &sSSE_MATH_FLT_MAX, 0x7F7FFFFF},
    {"MATH_MINUS_FLT_MAX", &sSSE_MATH_MINUS_FLT_MAX, 0xFF7FFFFF},
    {"ALL_BIT_ONE", &sSSE_ALL_BIT_ONE, kOnes},
};

class qzSimdConstantsBits : public ::testing::TestWithParam<BitsRow> {};

TEST_P(qzSimdConstantsBits, FillAllLanes)
{
    alignas(16) std::uint32_t lanes[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), *GetParam().vector);
    alignas(16) float floats[4];
    _mm_store_ps(floats, *GetParam().vector);
    EXPECT_EQ(std::memcmp(floats, lanes, sizeof lanes), 0);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(lanes[i], GetParam().bits);
        EXPECT_EQ(GetParam().vector->lanes[i], GetParam().bits);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, qzSimdConstantsBits, ::testing::ValuesIn(kBitsRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzSimdConstantsTest, HasEveryLaneMaskInItsTable)
{
    for (unsigned i = 0; i < 16; ++i) {
        for (unsigned lane = 0; lane < 4; ++lane) {
            EXPECT_EQ(sMaskTable[i].lanes[lane], (i >> lane & 1) != 0 ? kOnes : 0)
                << "entry " << i << ", lane " << lane;
        }
    }
}

TEST(qzSimdConstantsTest, HasTheOffsetOfTheLowestBit)
{
    const std::uint64_t offsets[] = {0, 1, 2, 1, 3, 1, 2, 1};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(sOffset[i], offsets[i]);
}

// The masks are what their names say from lane 3 to lane 0, from the first start on.
TEST(qzSimdConstantsTest, WritesTheLaneMasksAtTheFirstStart)
{
    const std::vector<std::string> names = {"FF_FF_FF_FF", "0_FF_FF_FF", "FF_0_FF_FF", "FF_FF_0_FF",
                                            "FF_FF_FF_0",  "FF_FF_0_0",  "FF_0_0_0",   "0_FF_0_0",
                                            "0_0_FF_0",    "0_0_0_FF"};
    const std::vector<std::string> lanes = {
        "ffffffff ffffffff ffffffff ffffffff", "ffffffff ffffffff ffffffff 00000000",
        "ffffffff ffffffff 00000000 ffffffff", "ffffffff 00000000 ffffffff ffffffff",
        "00000000 ffffffff ffffffff ffffffff", "00000000 00000000 ffffffff ffffffff",
        "00000000 00000000 00000000 ffffffff", "00000000 00000000 ffffffff 00000000",
        "00000000 ffffffff 00000000 00000000", "ffffffff 00000000 00000000 00000000"};
    std::string zero;
    std::string written;
    for (std::size_t i = 0; i < names.size(); ++i) {
        zero += names[i] + " 00000000 00000000 00000000 00000000\n";
        written += names[i] + " " + lanes[i] + "\n";
    }
    const support::ChildResult result = support::runProgram({.program = "lane_masks"});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "loaded\n" + zero + "started\n" + written + "stopped\n" + written +
                              "started again\n" + written);
}

}  // namespace qz
