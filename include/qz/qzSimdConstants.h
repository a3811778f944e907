// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <qz/qzExport.h>

/// @file
/// Constants for vector code. Each has four lanes of 32 bits and is aligned to 16 bytes; lane 0
/// comes first in memory.
///
/// They must not be changed. All but the ten lane masks have their values from load on. The lane
/// masks are written by the first start of the library; read them only after it.

namespace qz {

namespace impl {

/// The compiler's own type of `__m128`.
using FloatVector = float __attribute__((vector_size(16), may_alias));
/// The compiler's own type of `__m128i`.
using IntegerVector = long long __attribute__((vector_size(16), may_alias));

}  // namespace impl

/// Four floats. Converts to `__m128`.
struct alignas(16) qzSimdFloats {
    float lanes[4];  ///< The values, lane 0 first.

    /// The lanes as an `__m128`.
    operator impl::FloatVector() const  // NOLINT(google-explicit-constructor)
    {
        return *reinterpret_cast<const impl::FloatVector*>(lanes);
    }
};

/// Four integers or masks. Converts to `__m128i` and `__m128`.
struct alignas(16) qzSimdBits {
    std::uint32_t lanes[4];  ///< The bits, lane 0 first.

    /// The lanes as an `__m128i`.
    operator impl::IntegerVector() const  // NOLINT(google-explicit-constructor)
    {
        return *reinterpret_cast<const impl::IntegerVector*>(lanes);
    }
    /// The same bits as an `__m128`.
    operator impl::FloatVector() const  // NOLINT(google-explicit-constructor)
    {
        return *reinterpret_cast<const impl::FloatVector*>(lanes);
    }
};

/// @name Floats, the same in all lanes
/// @{
extern QZ_API const qzSimdFloats sSSEPi;                 ///< 3.1415927
extern QZ_API const qzSimdFloats sSSEPi_Over_Two;        ///< 1.5707964
extern QZ_API const qzSimdFloats sSSEPi_Over_Four;       ///< 0.7853982
extern QZ_API const qzSimdFloats sSSEDelta;              ///< 0.01
extern QZ_API const qzSimdFloats sSSEFromPurcent;        ///< 0.01
extern QZ_API const qzSimdFloats sSSEToPurcent;          ///< 100
extern QZ_API const qzSimdFloats sSSEHalf;               ///< 0.5
extern QZ_API const qzSimdFloats sSSEAlmostOne;          ///< 0.95
extern QZ_API const qzSimdFloats sSSEOne;                ///< 1
extern QZ_API const qzSimdFloats sSSEMOne;               ///< -1
extern QZ_API const qzSimdFloats sSSETwo;                ///< 2
extern QZ_API const qzSimdFloats sSSEMTwo;               ///< -2
extern QZ_API const qzSimdFloats sSSEThree;              ///< 3
extern QZ_API const qzSimdFloats sSSEFour;               ///< 4
extern QZ_API const qzSimdFloats sSSETen;                ///< 10
extern QZ_API const qzSimdFloats sSSEMillion;            ///< 1000000
extern QZ_API const qzSimdFloats sSSEHalfWhite;          ///< 128
extern QZ_API const qzSimdFloats sSSEWhite;              ///< 255
extern QZ_API const qzSimdFloats sSSERed;                ///< 255
extern QZ_API const qzSimdFloats sSSE_255_Div;           ///< 0.003921569, one 255th
extern QZ_API const qzSimdFloats sSSEPow;                ///< 8388608, 2^23
extern QZ_API const qzSimdFloats sSSEReflecMagicNumber;  ///< 2.65
/// @}

/// @name Integers and bits of floats, the same in all lanes
/// @{
extern QZ_API const qzSimdBits sSSEZero;                 ///< 0
extern QZ_API const qzSimdBits sZeroI;                   ///< 0
extern QZ_API const qzSimdBits sSSEOneI;                 ///< 1
extern QZ_API const qzSimdBits sSSEThreeI;               ///< 3
extern QZ_API const qzSimdBits sSSEHalfWhiteI;           ///< 128
extern QZ_API const qzSimdBits sSSERedI;                 ///< 255
extern QZ_API const qzSimdBits sSSEFirst;                ///< 255, the lowest byte
extern QZ_API const qzSimdBits sSSESignBitMask;          ///< The sign of a float.
extern QZ_API const qzSimdBits sSSEMaskRound;            ///< The sign of a float.
extern QZ_API const qzSimdBits sSSEMaskRoundFloat;       ///< The sign of a float.
extern QZ_API const qzSimdBits sSSE_FLT_MAX;             ///< About 1e12, not the largest float.
extern QZ_API const qzSimdBits sSSE_MINUS_FLT_MAX;       ///< The negative of that.
extern QZ_API const qzSimdBits sSSE_MATH_FLT_MAX;        ///< The largest float.
extern QZ_API const qzSimdBits sSSE_MATH_MINUS_FLT_MAX;  ///< The least float.
extern QZ_API const qzSimdBits sSSE_ALL_BIT_ONE;         ///< All bits set.
/// @}

/// @name Lane masks
/// The names list lanes 3, 2, 1 and 0: FF is a lane with all bits set, 0 a lane without. All masks
/// are zero before the first start of the library, and keep their values after a stop.
/// @{
extern QZ_API qzSimdBits sSSE_FF_FF_FF_FF;  ///< All lanes.
extern QZ_API qzSimdBits sSSE_0_FF_FF_FF;   ///< All but lane 3.
extern QZ_API qzSimdBits sSSE_FF_0_FF_FF;   ///< All but lane 2.
extern QZ_API qzSimdBits sSSE_FF_FF_0_FF;   ///< All but lane 1.
extern QZ_API qzSimdBits sSSE_FF_FF_FF_0;   ///< All but lane 0.
extern QZ_API qzSimdBits sSSE_FF_FF_0_0;    ///< The upper two lanes.
extern QZ_API qzSimdBits sSSE_FF_0_0_0;     ///< Lane 3.
extern QZ_API qzSimdBits sSSE_0_FF_0_0;     ///< Lane 2.
extern QZ_API qzSimdBits sSSE_0_0_FF_0;     ///< Lane 1.
extern QZ_API qzSimdBits sSSE_0_0_0_FF;     ///< Lane 0.
/// @}

/// All sixteen lane masks: in entry i lane k has all bits set if bit k of i is.
extern QZ_API const qzSimdBits sMaskTable[16];

/// One more than the index of the lowest set bit of an entry's own index; 0 for entry 0.
extern QZ_API const std::uint64_t sOffset[8];

}  // namespace qz
