// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The numbers of these rows, and a class that measures a contender in one of them. A contender is
/// a class with a static function `write`, which gives the text of a number in whatever form suits
/// it best, and `toString`, which copies that.

#include <cstddef>
#include <string>
#include <vector>

#include "../support.h"

namespace bench {

/// The same numbers in each run, all of a row's magnitudes in no order.
constexpr std::size_t kNumberCount = 1024;

/// 1 to 8 digits, to be padded with zeros to 8.
struct PaddedRow {
    static constexpr const char* kName = "integer, zero padded";
    using Number = int;
    static const std::vector<Number>& getNumbers();
    static std::string getExpected(Number number);
};

/// 12 digits, to be grouped by commas.
struct SeparatorRow {
    static constexpr const char* kName = "12 digits with separators";
    using Number = unsigned long;
    static const std::vector<Number>& getNumbers();
    static std::string getExpected(Number number);
};

/// Bytes up to some 100 T, to be written with a binary prefix.
struct SizeRow {
    static constexpr const char* kName = "humanised size";
    using Number = unsigned long;
    static const std::vector<Number>& getNumbers();
};

/// Up to a million of either sign, to be written with two decimals.
struct DecimalsRow {
    static constexpr const char* kName = "two decimals";
    using Number = double;
    static const std::vector<Number>& getNumbers();
    static std::string getExpected(Number number);
};

/// Milliseconds up to some weeks, to be split into days, hours, minutes, seconds and milliseconds.
struct DurationRow {
    static constexpr const char* kName = "duration";
    using Number = long;
    static const std::vector<Number>& getNumbers();
};

/// Of all magnitudes that are written without an exponent and some more, for six digits.
struct RealRow {
    static constexpr const char* kName = "double, 6 digits";
    using Number = double;
    static const std::vector<Number>& getNumbers();
    static std::string getExpected(Number number);
};

/// One contender in a row where all write the same text.
template <typename Row, typename Contender>
class NumberCase {
public:
    explicit NumberCase(const char* name)
        : mCheck(Row::kName, writesRightly), mCase(Row::kName, name, measure)
    {
    }

    static void measure(benchmark::State& state)
    {
        const auto& numbers = Row::getNumbers();
        std::size_t i = 0;
        for (auto _ : state) {
            auto text = Contender::write(numbers[i++ % kNumberCount]);
            keep(text);
        }
        state.SetItemsProcessed(state.iterations());
    }

private:
    static bool writesRightly()
    {
        for (const auto number : Row::getNumbers()) {
            if (!isSameText(Contender::toString(Contender::write(number)),
                            Row::getExpected(number))) {
                return false;
            }
        }
        return true;
    }

    Check mCheck;
    Case mCase;
};

/// One contender in a row where each has a notation of its own: `kExample` and `kExampleText` show
/// it.
template <typename Row, typename Contender>
class NotationCase {
public:
    explicit NotationCase(const char* name)
        : mCheck(Row::kName, writesRightly),
          mCase(Row::kName, name, NumberCase<Row, Contender>::measure)
    {
    }

private:
    static bool writesRightly()
    {
        return isSameText(Contender::toString(Contender::write(Contender::kExample)),
                          Contender::kExampleText);
    }

    Check mCheck;
    Case mCase;
};

}  // namespace bench
