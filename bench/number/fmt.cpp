// SPDX-License-Identifier: MIT
#include <locale>

#include <fmt/format.h>

#include "rows.h"

namespace bench {

namespace {

class CommaGroups : public std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

struct Fmt {
    static const std::string& toString(const std::string& text) { return text; }
};

struct Padded : Fmt {
    static std::string write(int number) { return fmt::format("{:08}", number); }
};

struct Separators : Fmt {
    static std::string write(unsigned long number)
    {
        static const std::locale commas(std::locale::classic(), new CommaGroups);
        return fmt::format(commas, "{:L}", number);
    }
};

struct Size : Fmt {
    static constexpr unsigned long kExample = 1'503'238'554;
    static constexpr const char* kExampleText = "1.40G";
    static std::string write(unsigned long number)
    {
        static constexpr char kPrefixes[] = "kMGTPE";
        if (number < 1024) return fmt::format("{}", number);
        int prefix = -1;
        auto scaled = static_cast<double>(number);
        for (; scaled >= 1024; scaled /= 1024)
            ++prefix;
        return fmt::format("{:.2f}{}", scaled, kPrefixes[prefix]);
    }
};

struct Decimals : Fmt {
    static std::string write(double number) { return fmt::format("{:.2f}", number); }
};

struct Duration : Fmt {
    static constexpr long kExample = 93'784'005;
    static constexpr const char* kExampleText = "1d 2h 3m 4s 5ms";
    static std::string write(long number)
    {
        const long milliseconds = number % 1000;
        const long seconds = number / 1000 % 60;
        const long minutes = number / 60'000 % 60;
        const long hours = number / 3'600'000 % 24;
        const long days = number / 86'400'000;
        if (days > 0) {
            return fmt::format("{}d {}h {}m {}s {}ms", days, hours, minutes, seconds, milliseconds);
        }
        if (hours > 0)
            return fmt::format("{}h {}m {}s {}ms", hours, minutes, seconds, milliseconds);
        if (minutes > 0) return fmt::format("{}m {}s {}ms", minutes, seconds, milliseconds);
        if (seconds > 0) return fmt::format("{}s {}ms", seconds, milliseconds);
        return fmt::format("{}ms", milliseconds);
    }
};

struct Real : Fmt {
    static std::string write(double number) { return fmt::format("{:g}", number); }
};

const NumberCase<PaddedRow, Padded> kPadded("fmt");
const NumberCase<SeparatorRow, Separators> kSeparators("fmt");
const NotationCase<SizeRow, Size> kSize("fmt");
const NumberCase<DecimalsRow, Decimals> kDecimals("fmt");
const NotationCase<DurationRow, Duration> kDuration("fmt");
const NumberCase<RealRow, Real> kReal("fmt");

}  // namespace

}  // namespace bench
