// SPDX-License-Identifier: MIT
#include <iomanip>
#include <locale>
#include <sstream>

#include "rows.h"

namespace bench {

namespace {

class CommaGroups : public std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

struct Stream {
    static const std::string& toString(const std::string& text) { return text; }
};

struct Padded : Stream {
    static std::string write(int number)
    {
        std::ostringstream stream;
        stream << std::setfill('0') << std::setw(8) << number;
        return std::move(stream).str();
    }
};

struct Separators : Stream {
    static std::string write(unsigned long number)
    {
        static const std::locale commas(std::locale::classic(), new CommaGroups);
        std::ostringstream stream;
        stream.imbue(commas);
        stream << number;
        return std::move(stream).str();
    }
};

struct Size : Stream {
    static constexpr unsigned long kExample = 1'503'238'554;
    static constexpr const char* kExampleText = "1.40G";
    static std::string write(unsigned long number)
    {
        static constexpr char kPrefixes[] = "kMGTPE";
        std::ostringstream stream;
        if (number < 1024) {
            stream << number;
            return std::move(stream).str();
        }
        int prefix = -1;
        auto scaled = static_cast<double>(number);
        for (; scaled >= 1024; scaled /= 1024)
            ++prefix;
        stream << std::fixed << std::setprecision(2) << scaled << kPrefixes[prefix];
        return std::move(stream).str();
    }
};

struct Decimals : Stream {
    static std::string write(double number)
    {
        std::ostringstream stream;
        stream << std::fixed << std::setprecision(2) << number;
        return std::move(stream).str();
    }
};

struct Duration : Stream {
    static constexpr long kExample = 93'784'005;
    static constexpr const char* kExampleText = "1d 2h 3m 4s 5ms";
    static std::string write(long number)
    {
        std::ostringstream stream;
        if (number >= 86'400'000) stream << number / 86'400'000 << "d ";
        if (number >= 3'600'000) stream << number / 3'600'000 % 24 << "h ";
        if (number >= 60'000) stream << number / 60'000 % 60 << "m ";
        if (number >= 1000) stream << number / 1000 % 60 << "s ";
        stream << number % 1000 << "ms";
        return std::move(stream).str();
    }
};

struct Real : Stream {
    static std::string write(double number)
    {
        std::ostringstream stream;
        stream << number;
        return std::move(stream).str();
    }
};

const NumberCase<PaddedRow, Padded> kPadded("std streams");
const NumberCase<SeparatorRow, Separators> kSeparators("std streams");
const NotationCase<SizeRow, Size> kSize("std streams");
const NumberCase<DecimalsRow, Decimals> kDecimals("std streams");
const NotationCase<DurationRow, Duration> kDuration("std streams");
const NumberCase<RealRow, Real> kReal("std streams");

}  // namespace

}  // namespace bench
