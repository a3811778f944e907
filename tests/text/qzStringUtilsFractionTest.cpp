// SPDX-License-Identifier: MIT
#include <climits>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

namespace qz {

namespace {

struct Fraction {
    long numerator;
    long denominator;

    bool operator==(const Fraction&) const = default;
    double getDistance(double value) const
    {
        return std::fabs(value - static_cast<double>(numerator) / static_cast<double>(denominator));
    }
};

std::ostream& operator<<(std::ostream& stream, const Fraction& fraction)
{
    return stream << fraction.numerator << " / " << fraction.denominator;
}

Fraction find(double value, long maxDenominator)
{
    Fraction found = {-99, -99};
    qzStringUtils::computeFractionnalRepresentation(value, found.numerator, found.denominator,
                                                    maxDenominator);
    return found;
}

}  // namespace

struct FractionRow {
    const char* name;
    double value;
    long maxDenominator;
    Fraction fraction;
};

const FractionRow kFractionRows[] = {
    {"Half", 0.5, 100, {1, 2}},
    {"PiTakesTheSemiconvergent", 3.14159265, 100, {311, 99}},
    {"PiTakesTheConvergent", 3.14159265, 110, {333, 106}},
    {"PiInSevenths", 3.14159265, 7, {22, 7}},
    {"PiInWholes", 3.14159265, 1, {3, 1}},
    {"PiInHalves", 3.14159265, 2, {3, 1}},
    {"Whole", 42.0, 100, {42, 1}},
    {"Zero", 0.0, 100, {0, 1}},
    {"Third", 1.0 / 3, 1000, {1, 3}},
    {"Tenth", 0.1, 1000, {1, 10}},
    {"BoundOnTheDenominator", 0.1, 10, {1, 10}},
    {"BoundBelowTheDenominator", 0.1, 9, {1, 9}},
    {"CloseToWhole", 1.0000000001, 1000, {1, 1}},
    {"TinyIsZero", 1e-12, 1000, {0, 1}},
    {"SemiconvergentOnlyIfCloser", 0.5, 3, {1, 2}},
    {"TieKeepsTheConvergent", 0.5, 1, {0, 1}},
    {"TieKeepsTheConvergentBesideAWhole", 2.5, 1, {2, 1}},
    {"LargestQuotient", 1 / 2147483647.0, 1000000000000, {1, 2147483647}},
    {"BeyondTheLargestQuotient", 1 / 2147483648.0, 1000000000000, {1, 1000000000000}},
    {"NegativeWhole", -3.0, 10, {-3, 1}},
    {"NegativeHalf", -0.5, 100, {1, -2}},
    {"LargeWhole", 0x1p62, 10, {1L << 62, 1}},
    {"NoBound", 0.75, LONG_MAX, {3, 4}},
    {"BoundOfZero", 0.75, 0, {1, 0}},
    {"NegativeBound", 0.75, -5, {1, 0}},
    {"BeyondInteger", 1e300, 100, {1, 0}},
    {"NegativeBeyondInteger", -0x1.8p63, 100, {1, 0}},
    {"Infinity", std::numeric_limits<double>::infinity(), 100, {1, 0}},
    {"NaN", std::numeric_limits<double>::quiet_NaN(), 100, {1, 0}},
};

class qzStringUtilsFraction : public ::testing::TestWithParam<FractionRow> {};

TEST_P(qzStringUtilsFraction, IsThatOfItsRow)
{
    EXPECT_EQ(find(GetParam().value, GetParam().maxDenominator), GetParam().fraction);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsFraction, ::testing::ValuesIn(kFractionRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsFractionTest, FindsEveryFractionOfSmallNumbersAgain)
{
    for (long denominator = 1; denominator <= 60; ++denominator) {
        for (long numerator = 0; numerator <= 130; ++numerator) {
            const double value = static_cast<double>(numerator) / static_cast<double>(denominator);
            const long divisor = std::gcd(numerator, denominator);
            const Fraction reduced = {numerator / divisor, denominator / divisor};
            EXPECT_EQ(find(value, 60), reduced) << numerator << " / " << denominator;
        }
    }
}

TEST(qzStringUtilsFractionTest, IsAsCloseAsTheBestOfAllWithinTheBound)
{
    constexpr unsigned kSeed = 5;
    std::mt19937_64 random(kSeed);
    for (int i = 0; i < 1500; ++i) {
        const double value = static_cast<double>(random() % 1000000007) / 100000003.0;
        const long bound = 1 + static_cast<long>(random() % 120);
        double best = value;
        for (long denominator = 1; denominator <= bound; ++denominator) {
            const Fraction nearest = {std::lround(value * static_cast<double>(denominator)),
                                      denominator};
            best = std::min(best, nearest.getDistance(value));
        }
        const Fraction found = find(value, bound);
        EXPECT_LE(found.denominator, bound) << "seed " << kSeed << ", " << value;
        EXPECT_LE(found.getDistance(value), best * (1 + 1e-9))
            << "seed " << kSeed << ", " << value << " within " << bound << ": " << found;
    }
}

TEST(qzStringUtilsFractionTest, EndsForAnyNumberAndBound)
{
    constexpr unsigned kSeed = 6;
    std::mt19937_64 random(kSeed);
    for (int i = 0; i < 5000; ++i) {
        const double value = std::ldexp(static_cast<double>(static_cast<long>(random())),
                                        static_cast<int>(random() % 300) - 200);
        const long bound = static_cast<long>(random() >> random() % 64);
        const Fraction found = find(value, bound);
        EXPECT_LE(found.denominator, std::max(bound, 0L)) << value << " within " << bound;
    }
}

}  // namespace qz
