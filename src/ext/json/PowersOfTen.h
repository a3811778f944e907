// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// A table that the compiler makes.

namespace qz::ext {

/// For products of two numbers.
__extension__ using Wide = unsigned __int128;

/// The first 128 bits of a power of ten, rounded up.
struct Power {
    std::uint64_t high;
    std::uint64_t low;
};

/// The exponents that doubles need.
constexpr int kLeastPower = -292;
constexpr int kGreatestPower = 324;

/// The first 256 bits of a number, the highest one set, rounded down. The errors of all steps
/// together stay far below the bits that are used.
class LeadingBits {
public:
    constexpr void multiplyByTen()
    {
        std::uint64_t carry = 0;
        for (std::uint64_t& word : mWords) {
            const Wide product = Wide{word} * 10 + carry;
            word = static_cast<std::uint64_t>(product);
            carry = static_cast<std::uint64_t>(product >> 64U);
        }
        for (; carry != 0; carry /= 2)
            shiftDown(carry % 2);
    }
    constexpr void divideByTen()
    {
        std::uint64_t rest = 0;
        for (std::size_t i = mWords.size(); i-- != 0;) {
            const Wide dividend = Wide{rest} << 64U | mWords[i];
            mWords[i] = static_cast<std::uint64_t>(dividend / 10);
            rest = static_cast<std::uint64_t>(dividend % 10);
        }
        while (mWords.back() >> 63U == 0) {
            rest *= 2;
            shiftUp(rest / 10);
            rest %= 10;
        }
    }
    constexpr Power roundUp() const
    {
        Wide value = Wide{mWords[3]} << 64U | mWords[2];
        if ((mWords[1] | mWords[0]) != 0) ++value;
        return {static_cast<std::uint64_t>(value >> 64U), static_cast<std::uint64_t>(value)};
    }

private:
    constexpr void shiftDown(std::uint64_t topBit)
    {
        for (std::size_t i = 0; i != mWords.size(); ++i) {
            const std::uint64_t next = i + 1 != mWords.size() ? mWords[i + 1] : topBit;
            mWords[i] = mWords[i] >> 1U | next << 63U;
        }
    }
    constexpr void shiftUp(std::uint64_t lowestBit)
    {
        for (std::uint64_t& word : mWords) {
            const std::uint64_t next = word >> 63U;
            word = word << 1U | lowestBit;
            lowestBit = next;
        }
    }

    std::array<std::uint64_t, 4> mWords = {0, 0, 0, std::uint64_t{1} << 63U};  // the lowest first
};

/// From `kLeastPower` on.
using Powers = std::array<Power, kGreatestPower - kLeastPower + 1>;

/// Calculates all of them, from 1 on in both directions.
constexpr Powers makePowers()
{
    Powers powers{};
    LeadingBits up;
    for (int exponent = 0; exponent <= kGreatestPower; ++exponent, up.multiplyByTen())
        powers[static_cast<std::size_t>(exponent - kLeastPower)] = up.roundUp();
    LeadingBits down;
    for (int exponent = -1; exponent >= kLeastPower; --exponent) {
        down.divideByTen();
        powers[static_cast<std::size_t>(exponent - kLeastPower)] = down.roundUp();
    }
    return powers;
}

inline constexpr Powers kPowers = makePowers();

/// @param exponent from `kLeastPower` to `kGreatestPower`.
constexpr const Power& getPowerOfTen(int exponent)
{
    return kPowers[static_cast<std::size_t>(exponent - kLeastPower)];
}

static_assert(getPowerOfTen(0).high == 0x8000000000000000 && getPowerOfTen(0).low == 0);
static_assert(getPowerOfTen(-292).high == 0xFF77B1FCBEBCDC4F &&
              getPowerOfTen(-292).low == 0x25E8E89C13BB0F7B);
static_assert(getPowerOfTen(324).high == 0x9E19DB92B4E31BA9 &&
              getPowerOfTen(324).low == 0x6C07A2C26A8346D2);

}  // namespace qz::ext
