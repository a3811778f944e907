// SPDX-License-Identifier: MIT
#include <qz/qzSimdConstants.h>

#include "SimdConstants.h"

// Constant-initialised throughout, so that every load-time object may use them.

namespace qz {

namespace {

constexpr std::uint32_t kOnes = 0xFFFFFFFF;

constexpr qzSimdFloats floats(float value)
{
    return {{value, value, value, value}};
}

constexpr qzSimdBits bits(std::uint32_t value)
{
    return {{value, value, value, value}};
}

// From lane 3 to lane 0, as the names read.
constexpr qzSimdBits mask(bool lane3, bool lane2, bool lane1, bool lane0)
{
    return {{lane0 ? kOnes : 0, lane1 ? kOnes : 0, lane2 ? kOnes : 0, lane3 ? kOnes : 0}};
}

}  // namespace

constinit const qzSimdFloats sSSEPi = floats(3.1415927F);
constinit const qzSimdFloats sSSEPi_Over_Two = floats(1.5707964F);
constinit const qzSimdFloats sSSEPi_Over_Four = floats(0.7853982F);
constinit const qzSimdFloats sSSEDelta = floats(0.01F);
constinit const qzSimdFloats sSSEFromPurcent = floats(0.01F);
constinit const qzSimdFloats sSSEToPurcent = floats(100.0F);
constinit const qzSimdFloats sSSEHalf = floats(0.5F);
constinit const qzSimdFloats sSSEAlmostOne = floats(0.95F);
constinit const qzSimdFloats sSSEOne = floats(1.0F);
constinit const qzSimdFloats sSSEMOne = floats(-1.0F);
constinit const qzSimdFloats sSSETwo = floats(2.0F);
constinit const qzSimdFloats sSSEMTwo = floats(-2.0F);
constinit const qzSimdFloats sSSEThree = floats(3.0F);
constinit const qzSimdFloats sSSEFour = floats(4.0F);
constinit const qzSimdFloats sSSETen = floats(10.0F);
constinit const qzSimdFloats sSSEMillion = floats(1000000.0F);
constinit const qzSimdFloats sSSEHalfWhite = floats(128.0F);
constinit const qzSimdFloats sSSEWhite = floats(255.0F);
constinit const qzSimdFloats sSSERed = floats(255.0F);
constinit const qzSimdFloats sSSE_255_Div = floats(0.003921569F);
constinit const qzSimdFloats sSSEPow = floats(8388608.0F);
constinit const qzSimdFloats sSSEReflecMagicNumber = floats(2.65F);

constinit const qzSimdBits sSSEZero = bits(0);
constinit const qzSimdBits sZeroI = bits(0);
constinit const qzSimdBits sSSEOneI = bits(1);
constinit const qzSimdBits sSSEThreeI = bits(3);
constinit const qzSimdBits sSSEHalfWhiteI = bits(128);
constinit const qzSimdBits sSSERedI = bits(255);
constinit const qzSimdBits sSSEFirst = bits(255);
constinit const qzSimdBits sSSESignBitMask = bits(0x80000000);
constinit const qzSimdBits sSSEMaskRound = bits(0x80000000);
constinit const qzSimdBits sSSEMaskRoundFloat = bits(0x80000000);
constinit const qzSimdBits sSSE_FLT_MAX = bits(0x5368D4A5);
constinit const qzSimdBits sSSE_MINUS_FLT_MAX = bits(0xD368D4A5);
constinit const qzSimdBits sSSE_MATH_FLT_MAX = bits(0x7F7FFFFF);
constinit const qzSimdBits sSSE_MATH_MINUS_FLT_MAX = bits(0xFF7FFFFF);
constinit const qzSimdBits sSSE_ALL_BIT_ONE = bits(kOnes);

constinit qzSimdBits sSSE_FF_FF_FF_FF = {};
constinit qzSimdBits sSSE_0_FF_FF_FF = {};
constinit qzSimdBits sSSE_FF_0_FF_FF = {};
constinit qzSimdBits sSSE_FF_FF_0_FF = {};
constinit qzSimdBits sSSE_FF_FF_FF_0 = {};
constinit qzSimdBits sSSE_FF_FF_0_0 = {};
constinit qzSimdBits sSSE_FF_0_0_0 = {};
constinit qzSimdBits sSSE_0_FF_0_0 = {};
constinit qzSimdBits sSSE_0_0_FF_0 = {};
constinit qzSimdBits sSSE_0_0_0_FF = {};

void setLaneMasks()
{
    sSSE_FF_FF_FF_FF = mask(true, true, true, true);
    sSSE_0_FF_FF_FF = mask(false, true, true, true);
    sSSE_FF_0_FF_FF = mask(true, false, true, true);
    sSSE_FF_FF_0_FF = mask(true, true, false, true);
    sSSE_FF_FF_FF_0 = mask(true, true, true, false);
    sSSE_FF_FF_0_0 = mask(true, true, false, false);
    sSSE_FF_0_0_0 = mask(true, false, false, false);
    sSSE_0_FF_0_0 = mask(false, true, false, false);
    sSSE_0_0_FF_0 = mask(false, false, true, false);
    sSSE_0_0_0_FF = mask(false, false, false, true);
}

constinit const qzSimdBits sMaskTable[16] = {
    mask(false, false, false, false), mask(false, false, false, true),
    mask(false, false, true, false),  mask(false, false, true, true),
    mask(false, true, false, false),  mask(false, true, false, true),
    mask(false, true, true, false),   mask(false, true, true, true),
    mask(true, false, false, false),  mask(true, false, false, true),
    mask(true, false, true, false),   mask(true, false, true, true),
    mask(true, true, false, false),   mask(true, true, false, true),
    mask(true, true, true, false),    mask(true, true, true, true),
};

constinit const std::uint64_t sOffset[8] = {0, 1, 2, 1, 3, 1, 2, 1};

}  // namespace qz
