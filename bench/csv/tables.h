// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The table of the CSV rows, and what its contenders have in common.

#include <charconv>
#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "../support.h"

namespace bench {

using Table = std::vector<std::vector<std::string>>;

/// 10,000 rows of ten cells, numbers, dates and texts; one cell of ten needs quotes. The same in
/// each run.
const Table& getTable();

/// How often `getTable()` stands in a file of about 100 MB.
std::size_t getTableCount();

/// Writes the table `count` times over, by hand.
void writeTables(std::size_t count, const std::string& path);

/// A file of 100 MB, written when it is first asked for.
const std::string& getTablesPath();

/// How many rows a reader collects before their use, so that none needs memory for the whole
/// file.
constexpr std::size_t kBatchSize = 1024;

/// A cell whose type is guessed, by those who have no guess of their own.
using Guessed = std::variant<long, double, std::string>;

template <typename Number>
bool parseWhole(const char* begin, const char* end, Number& number)
{
    return std::from_chars(begin, end, number).ptr == end;
}

inline Guessed guess(const char* begin, const char* end)
{
    long integer = 0;
    if (parseWhole(begin, end, integer)) return integer;
    double real = 0;
    if (parseWhole(begin, end, real)) return real;
    return std::string(begin, end);
}

/// What a timed reader does with the rows of a batch.
struct KeepBatch {
    template <typename Rows>
    void operator()(Rows& rows) const
    {
        keep(rows);
    }
};

/// What a reader under test does with them: compares them with the table.
template <typename Format>
class CompareBatch {
public:
    template <typename Rows>
    void operator()(const Rows& rows)
    {
        for (const auto& row : rows)
            compare(row);
    }
    /// Tells whether the table came back as often as it was written.
    bool holds(std::size_t count) const { return mIsSame && mRow == count * getTable().size(); }

private:
    template <typename Row>
    void compare(const Row& row)
    {
        std::vector<std::string> texts;
        for (const auto& cell : row)
            texts.push_back(Format::toText(cell));
        mIsSame = mIsSame && texts == getTable()[mRow++ % getTable().size()];
    }

    std::size_t mRow = 0;
    bool mIsSame = true;
};

/// Counts the numbers among cells whose types were guessed.
template <typename Format>
class CountNumbers {
public:
    template <typename Rows>
    void operator()(const Rows& rows)
    {
        for (const auto& row : rows)
            for (const auto& cell : row)
                mCount += Format::isNumber(cell) ? 1 : 0;
    }
    /// Tells whether they are the four of each row.
    bool holds() const { return mCount == 4 * getTable().size(); }

private:
    std::size_t mCount = 0;
};

/// Notes how much a pass over the file moved.
void setTablesProcessed(benchmark::State& state);

/// The rows of a contender that reads. `Format` has `readTexts(path, use)` and
/// `readGuessed(path, use)`, which call `use` with batches of rows, and for the cells of these
/// `toText` and `isNumber`, all static.
template <typename Format>
class CsvReadRows {
public:
    explicit CsvReadRows(const char* name)
        : mCheck(name, readsWhatIsThere),
          mTexts("100 MB to rows of text cells", name, measureTexts),
          mGuessed("100 MB, types guessed", name, measureGuessed)
    {
    }

private:
    static bool readsWhatIsThere()
    {
        const ScratchFile file("check.csv");
        writeTables(2, file.getPath());
        CompareBatch<Format> comparison;
        Format::readTexts(file.getPath(), comparison);
        writeTables(1, file.getPath());
        CountNumbers<Format> numbers;
        Format::readGuessed(file.getPath(), numbers);
        return comparison.holds(2) && numbers.holds();
    }

    static void measureTexts(benchmark::State& state)
    {
        const std::string& path = getTablesPath();
        KeepBatch use;
        for (auto _ : state)
            Format::readTexts(path, use);
        setTablesProcessed(state);
    }

    static void measureGuessed(benchmark::State& state)
    {
        const std::string& path = getTablesPath();
        KeepBatch use;
        for (auto _ : state)
            Format::readGuessed(path, use);
        setTablesProcessed(state);
    }

    Check mCheck;
    Case mTexts;
    Case mGuessed;
};

/// The row of a contender that writes too. `Format` has besides `build(table)`, which gives the
/// table in its own texts, and `write(those, count, path)`.
template <typename Format>
class CsvWriteRows {
public:
    explicit CsvWriteRows(const char* name)
        : mCheck(name, readsWhatItWrote), mWrite("write 100 MB", name, measureWrite)
    {
    }

private:
    static bool readsWhatItWrote()
    {
        const ScratchFile file("check.csv");
        Format::write(Format::build(getTable()), 2, file.getPath());
        CompareBatch<Format> comparison;
        Format::readTexts(file.getPath(), comparison);
        return comparison.holds(2);
    }

    static void measureWrite(benchmark::State& state)
    {
        const ScratchFile file("write.csv");
        const auto& table = Format::build(getTable());
        for (auto _ : state)
            Format::write(table, getTableCount(), file.getPath());
        setTablesProcessed(state);
    }

    Check mCheck;
    Case mWrite;
};

}  // namespace bench
