// SPDX-License-Identifier: MIT
#include <qz/qzMathUtils.h>
#include <qz/qzStringUtils.h>
#include <qz/qzVariant.h>

#include "rows.h"

namespace bench {

namespace {

struct Library {
    static const std::string& toString(const std::string& text) { return text; }
};

struct Padded : Library {
    static std::string write(int number) { return qz::qzStringUtils::fromInt(number, 8); }
};

struct Separators : Library {
    static std::string write(unsigned long number)
    {
        return qz::qzMathUtils::FormatIntegerSeparator(number);
    }
};

struct Size : Library {
    static constexpr unsigned long kExample = 1'503'238'554;
    static constexpr const char* kExampleText = "1.4G";
    static std::string write(unsigned long number)
    {
        return qz::qzStringUtils::humanizeNumberGeneric<unsigned long>(
            number, /*significantDigits=*/3, /*maxDecimals=*/2, /*binaryPrefixes=*/true,
            /*largePrefixes=*/true, /*smallPrefixes=*/false);
    }
};

struct Decimals : Library {
    static std::string write(double number)
    {
        return qz::qzStringUtils::roundNumber(number, /*step=*/1, /*extraDecimals=*/2,
                                              /*showPlus=*/false, /*maxDecimals=*/2);
    }
};

struct Duration : Library {
    static constexpr long kExample = 93'784'005;
    static constexpr const char* kExampleText = "1d 2h 3m 4s 5ms";
    static std::string write(long number)
    {
        return qz::qzStringUtils::humanizeDuration<long>(number, /*detail=*/0,
                                                         /*showMilliseconds=*/false);
    }
};

struct Real : Library {
    static std::string write(double number) { return qz::qzVariant(number).toString(); }
};

const NumberCase<PaddedRow, Padded> kPadded("qz");
const NumberCase<SeparatorRow, Separators> kSeparators("qz");
const NotationCase<SizeRow, Size> kSize("qz");
const NumberCase<DecimalsRow, Decimals> kDecimals("qz");
const NotationCase<DurationRow, Duration> kDuration("qz");
const NumberCase<RealRow, Real> kReal("qz");

}  // namespace

}  // namespace bench
