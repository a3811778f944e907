// SPDX-License-Identifier: MIT
#include <Poco/DateTimeFormatter.h>
#include <Poco/NumberFormatter.h>
#include <Poco/Timespan.h>

#include "rows.h"

namespace bench {

namespace {

struct Poco {
    static const std::string& toString(const std::string& text) { return text; }
};

// Its separators aren't here: it puts one before numbers of whole groups, such as these.

struct Padded : Poco {
    static std::string write(int number) { return ::Poco::NumberFormatter::format0(number, 8); }
};

struct Decimals : Poco {
    static std::string write(double number) { return ::Poco::NumberFormatter::format(number, 2); }
};

// It has no way to leave out the days and hours of a short time.
struct Duration : Poco {
    static constexpr long kExample = 93'784'005;
    static constexpr const char* kExampleText = "1d 02h 03m 04s 005ms";
    static std::string write(long number)
    {
        const ::Poco::Timespan span(number * ::Poco::Timespan::MILLISECONDS);
        return ::Poco::DateTimeFormatter::format(span, "%dd %Hh %Mm %Ss %ims");
    }
};

const NumberCase<PaddedRow, Padded> kPadded("POCO");
const NumberCase<DecimalsRow, Decimals> kDecimals("POCO");
const NotationCase<DurationRow, Duration> kDuration("POCO");

}  // namespace

}  // namespace bench
