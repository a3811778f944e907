// SPDX-License-Identifier: MIT
#include <qz/qzStringUtils.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace qz {

namespace {

// Holds the product of two 64-bit numbers.
__extension__ using Wide = __int128;

struct Fraction {
    long numerator;
    long denominator;

    double getDistance(double value) const
    {
        return std::fabs(value - static_cast<double>(numerator) / static_cast<double>(denominator));
    }
};

// The last convergent within the bound, and the one before it.
struct Convergents {
    Fraction previous = {0, 1};
    Fraction current = {1, 0};
};

bool fits(Wide value)
{
    return value >= std::numeric_limits<long>::min() && value <= std::numeric_limits<long>::max();
}

/// Calculates `factor` * `newer` + `older`. Fails if the denominator is greater than
/// `maxDenominator` or if a number doesn't fit into 64 bits.
bool combine(long factor, const Fraction& newer, const Fraction& older, long maxDenominator,
             Fraction& combined)
{
    const Wide denominator = static_cast<Wide>(factor) * newer.denominator + older.denominator;
    const Wide numerator = static_cast<Wide>(factor) * newer.numerator + older.numerator;
    if (denominator > maxDenominator || !fits(denominator) || !fits(numerator)) return false;
    combined = {static_cast<long>(numerator), static_cast<long>(denominator)};
    return true;
}

Convergents findConvergents(double value, long maxDenominator)
{
    constexpr double kMostFactor = 2147483647.0;
    Convergents found;
    double x = value;
    while (std::fabs(x) < 0x1p63) {
        const long a = static_cast<long>(x);
        Fraction candidate = {};
        if (!combine(a, found.current, found.previous, maxDenominator, candidate)) break;
        found = {found.current, candidate};
        const double rest = x - static_cast<double>(a);
        if (rest == 0) break;
        x = 1 / rest;
        if (x > kMostFactor) break;
    }
    return found;
}

// The best fraction between the last convergent within the bound and the first one beyond it.
bool findSemiconvergent(const Convergents& found, long maxDenominator, Fraction& semiconvergent)
{
    if (found.current.denominator == 0) return false;
    const Wide factor = (static_cast<Wide>(maxDenominator) - found.previous.denominator) /
                        found.current.denominator;
    return fits(factor) && combine(static_cast<long>(factor), found.current, found.previous,
                                   maxDenominator, semiconvergent);
}

}  // namespace

void qzStringUtils::computeFractionnalRepresentation(double value, long& numerator,
                                                     long& denominator, long maxDenominator)
{
    const Convergents found = findConvergents(value, maxDenominator);
    Fraction best = found.current;
    Fraction semiconvergent = {};
    if (findSemiconvergent(found, maxDenominator, semiconvergent) &&
        semiconvergent.getDistance(value) < best.getDistance(value)) {
        best = semiconvergent;
    }
    numerator = best.numerator;
    denominator = best.denominator;
}

}  // namespace qz
