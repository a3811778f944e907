// SPDX-License-Identifier: MIT
#include "ShortestReal.h"

#include <cstddef>
#include <cstring>

#include "PowersOfTen.h"

// The method is that of Raffaello Giulietti, "The Schubfach way to render doubles" (2021).
//
// All decimal numbers between the middles to both neighbours of a real read back as that real. Let
// 10^k be the largest power of ten that isn't longer than this interval: then at least one multiple
// of 10^k lies in it, and at most one of 10^(k+1). If there is one of 10^(k+1), it is the shortest;
// else it is one of the two multiples of 10^k around the real, and if both lie inside, the nearer.
//
// So the real and the middles are divided by 10^k. Since they are only compared with integers, it
// is enough to know their integer part, two bits more, and whether anything follows. For that 128
// bits of 10^-k will do, as the paper proves.

namespace qz::ext {

namespace {

constexpr int kMantissaBits = 52;
constexpr int kExponentBias = 1023 + kMantissaBits;
constexpr std::uint64_t kHiddenBit = std::uint64_t{1} << kMantissaBits;

// floor(log2(10^exponent))
constexpr int getBinaryExponent(int exponent)
{
    return exponent * 1741647 >> 19;
}

// floor(log10(2^exponent)), or of three quarters of it.
constexpr int getDecimalExponent(int exponent, bool isThreeQuarters)
{
    return (exponent * 1262611 - (isThreeQuarters ? 524031 : 0)) >> 22;
}

// The integer part of power * number / 2^128, with a 1 as its last bit if anything follows.
std::uint64_t multiply(const Power& power, std::uint64_t number)
{
    const Wide low = Wide{power.low} * number;
    const Wide product = Wide{power.high} * number + static_cast<std::uint64_t>(low >> 64U);
    // The power was rounded up, so a product just above an integer is that integer.
    const bool isInexact = static_cast<std::uint64_t>(product) > 1;
    return static_cast<std::uint64_t>(product >> 64U) | (isInexact ? 1U : 0U);
}

// The numbers that read back as a real, in quarters of a unit.
struct Interval {
    bool contains(std::uint64_t quarters) const { return first <= quarters && quarters <= last; }

    std::uint64_t first;
    std::uint64_t last;
};

// For value = mantissa * 2^exponent.
Decimal findShortest(std::uint64_t mantissa, int exponent, bool isLowerNeighbourCloser)
{
    const int unit = getDecimalExponent(exponent, isLowerNeighbourCloser);
    const Power& power = getPowerOfTen(-unit);
    const int shift = exponent + getBinaryExponent(-unit) + 1;
    const auto toUnits = [&](std::uint64_t number) { return multiply(power, number << shift); };
    const std::uint64_t quarters = toUnits(4 * mantissa);
    // A number in the middle between two reals reads as the one whose mantissa is even.
    const std::uint64_t excluded = mantissa % 2;
    const Interval interval = {toUnits(4 * mantissa - (isLowerNeighbourCloser ? 1 : 2)) + excluded,
                               toUnits(4 * mantissa + 2) - excluded};

    const std::uint64_t whole = quarters / 4;
    const std::uint64_t tens = whole / 10;
    if (interval.contains(40 * tens)) return {tens, unit + 1};
    if (interval.contains(40 * (tens + 1))) return {tens + 1, unit + 1};
    // The nearer one lies inside, if the interval is symmetric. Without a comparison, because the
    // processor would guess its result, and be wrong every second time.
    const std::uint64_t nearer = (quarters + 1 + whole % 2) / 4;
    if (isLowerNeighbourCloser && !interval.contains(4 * nearer)) return {whole + 1, unit};
    return {nearer, unit};
}

}  // namespace

Decimal findShortest(double value)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const std::uint64_t fraction = bits % kHiddenBit;
    const auto biased = static_cast<int>(bits >> static_cast<unsigned int>(kMantissaBits));
    if (biased == 0) return findShortest(fraction, 1 - kExponentBias, false);
    return findShortest(kHiddenBit | fraction, biased - kExponentBias, fraction == 0 && biased > 1);
}

}  // namespace qz::ext
