// SPDX-License-Identifier: MIT
#pragma once

// The scan of UTF-8 by range tables, for files that are compiled for a level with table look-ups in
// vectors; see J. Keiser and D. Lemire, "Validating UTF-8 in less than one instruction per byte".
//
// Three half bytes decide whether two bytes may follow each other: both halves of the first byte
// and the high half of the second. Each of them selects a set of possible faults; a fault that is
// in all three sets has occurred. Two continuation bytes in a row count as a fault there. Where a
// lead byte two or three places earlier requires them, that fault is cleared.

#include <cstring>

#include "ByteVectors.h"
#include "Utf8Levels.h"

namespace qz::text {

namespace {

enum Fault : unsigned {
    TooShort = 1U << 0U,         // a lead byte, and then no continuation
    TooLong = 1U << 1U,          // a continuation after ASCII
    Overlong3 = 1U << 2U,        // E0 80 to E0 9F
    TooLarge = 1U << 3U,         // F4 90 and on
    Surrogate = 1U << 4U,        // ED A0 to ED BF
    Overlong2 = 1U << 5U,        // C0 and C1
    TooLarge1000 = 1U << 6U,     // F5 and on with 80 to 8F
    Overlong4 = 1U << 6U,        // F0 80 to F0 8F; no lead byte has both
    TwoContinuations = 1U << 7U  // right after a longer lead byte only
};
// Faults that don't depend on the low half of the first byte.
constexpr unsigned kAnyLow = TooShort | TooLong | TwoContinuations;
constexpr unsigned kBeyond = kAnyLow | TooLarge | TooLarge1000;

constexpr unsigned kContinued = TooLong | TwoContinuations | Overlong2;

alignas(16) constexpr std::uint8_t kFirstHigh[16] = {
    TooLong,
    TooLong,
    TooLong,
    TooLong,
    TooLong,
    TooLong,
    TooLong,
    TooLong,  // 0 to 7
    TwoContinuations,
    TwoContinuations,
    TwoContinuations,
    TwoContinuations,                                // 8 to B
    TooShort | Overlong2,                            // C
    TooShort,                                        // D
    TooShort | Overlong3 | Surrogate,                // E
    TooShort | TooLarge | TooLarge1000 | Overlong4,  // F
};
alignas(16) constexpr std::uint8_t kFirstLow[16] = {
    kAnyLow | Overlong2 | Overlong3 | Overlong4,  // 0
    kAnyLow | Overlong2,                          // 1
    kAnyLow,
    kAnyLow,             // 2, 3
    kAnyLow | TooLarge,  // 4
    kBeyond,
    kBeyond,
    kBeyond,
    kBeyond,
    kBeyond,
    kBeyond,
    kBeyond,
    kBeyond,              // 5 to C
    kBeyond | Surrogate,  // D
    kBeyond,
    kBeyond,  // E, F
};
alignas(16) constexpr std::uint8_t kSecondHigh[16] = {
    TooShort,
    TooShort,
    TooShort,
    TooShort,
    TooShort,
    TooShort,
    TooShort,
    TooShort,                                           // 0 to 7
    kContinued | Overlong3 | Overlong4 | TooLarge1000,  // 8
    kContinued | Overlong3 | TooLarge,                  // 9
    kContinued | Surrogate | TooLarge,
    kContinued | Surrogate | TooLarge,  // A, B
    TooShort,
    TooShort,
    TooShort,
    TooShort,  // C to F
};

/// Checks a text vector by vector, and stores what the check of the next vector needs.
template <typename Vector>
class Utf8Checker {
public:
    void takeAscii()
    {
        mFaults = mFaults | mUnfinished;
        mBefore = mUnfinished = Vector::fill(0);
    }

    void take(Vector bytes)
    {
        const Vector first = bytes.template earlier<1>(mBefore);
        const Vector pairFaults = first.highNibbles().lookUpIn(kFirstHigh) &
                                  (first & Vector::fill(0x0F)).lookUpIn(kFirstLow) &
                                  bytes.highNibbles().lookUpIn(kSecondHigh);
        // The high bit is set if the lead byte of a sequence of three or four is two places
        // earlier, or that of four is three places earlier: only there two continuation bytes in a
        // row are right.
        const Vector ofThree =
            bytes.template earlier<2>(mBefore).minusSaturated(Vector::fill(0xE0 - 0x80));
        const Vector ofFour =
            bytes.template earlier<3>(mBefore).minusSaturated(Vector::fill(0xF0 - 0x80));
        mFaults = mFaults | (((ofThree | ofFour) & Vector::fill(TwoContinuations)) ^ pairFaults);
        mBefore = bytes;
        mUnfinished = bytes.minusSaturated(getFinishedLimits());
    }

    /// Whether there was a fault so far. An incomplete sequence at the end is none.
    bool hasFault() const { return (mFaults == Vector::fill(0)).highBits() != kAll; }

private:
    static constexpr std::uint64_t kAll = (std::uint64_t(1) << Vector::kSize) - 1;

    /// The largest last three bytes of a vector that ends with a complete sequence.
    static Vector getFinishedLimits()
    {
        alignas(Vector::kSize) static constexpr Limits kLimits;
        return Vector::load(kLimits.bytes);
    }
    struct Limits {
        char bytes[Vector::kSize] = {};
        constexpr Limits()
        {
            for (char& byte : bytes)
                byte = static_cast<char>(0xFF);
            bytes[Vector::kSize - 3] = static_cast<char>(0xF0 - 1);
            bytes[Vector::kSize - 2] = static_cast<char>(0xE0 - 1);
            bytes[Vector::kSize - 1] = static_cast<char>(0xC0 - 1);
        }
    };

    Vector mFaults = Vector::fill(0);
    Vector mBefore = Vector::fill(0);
    Vector mUnfinished = Vector::fill(0);
};

/// Vectors that are checked together.
template <typename Vector>
struct Utf8Block {
    static constexpr std::size_t kVectors = 64 / Vector::kSize;
    static constexpr std::size_t kSize = 64;

    explicit Utf8Block(const char* bytes)
    {
        for (std::size_t i = 0; i < kVectors; ++i)
            vectors[i] = Vector::load(bytes + i * Vector::kSize);
    }
    bool isAscii() const
    {
        Vector all = vectors[0];
        for (std::size_t i = 1; i < kVectors; ++i)
            all = all | vectors[i];
        return all.highBits() == 0;
    }
    /// The number of bytes that begin a code point: all except the continuation bytes, -128 to -65.
    std::size_t countStarts() const
    {
        const Vector last = Vector::fill(-65);
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < kVectors; ++i)
            bits |= (vectors[i] > last).highBits() << i * Vector::kSize;
        return static_cast<std::size_t>(__builtin_popcountll(bits));
    }

    Vector vectors[kVectors];
};

/// Skips ASCII at the beginning of a text, except for the last 256 bytes of it.
template <typename Vector>
const char* skipAscii(const char* begin, const char* end)
{
    constexpr std::size_t kStep = 256;
    constexpr std::size_t kLine = 64;
    if (static_cast<std::size_t>(end - begin) < kStep + kLine) return begin;
    // Aligned, so that no vector crosses a cache line.
    if (!Utf8Block<Vector>(begin).isAscii()) return begin;
    begin += kLine - reinterpret_cast<std::uintptr_t>(begin) % kLine;
    for (; static_cast<std::size_t>(end - begin) >= kStep; begin += kStep) {
        Vector all = Vector::load(begin);
        for (std::size_t i = Vector::kSize; i < kStep; i += Vector::kSize)
            all = all | Vector::load(begin + i);
        if (all.highBits() != 0) break;
    }
    return begin;
}

/// Counts the code points of a text; `kNotUtf8` when it isn't well formed.
template <typename Vector>
std::size_t countUtf8ByBlocks(const char* begin, const char* end)
{
    using Block = Utf8Block<Vector>;
    const char* const ascii = skipAscii<Vector>(begin, end);
    auto count = static_cast<std::size_t>(ascii - begin);
    begin = ascii;
    Utf8Checker<Vector> checker;
    for (; static_cast<std::size_t>(end - begin) >= Block::kSize; begin += Block::kSize) {
        const Block block(begin);
        if (block.isAscii()) {
            checker.takeAscii();
            count += Block::kSize;
            continue;
        }
        for (const Vector& vector : block.vectors)
            checker.take(vector);
        if (checker.hasFault()) return kNotUtf8;
        count += block.countStarts();
    }
    // The rest is copied into a block that ends with at least one NUL, so that an incomplete
    // sequence at the end of the text is a fault.
    const auto rest = static_cast<std::size_t>(end - begin);
    char bytes[Block::kSize] = {};
    if (rest != 0) std::memcpy(bytes, begin, rest);
    const Block block(bytes);
    for (const Vector& vector : block.vectors)
        checker.take(vector);
    if (checker.hasFault()) return kNotUtf8;
    return count + block.countStarts() - (Block::kSize - rest);
}

}  // namespace

}  // namespace qz::text
