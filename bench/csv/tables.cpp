// SPDX-License-Identifier: MIT
#include "tables.h"

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <random>

namespace bench {

namespace {

constexpr unsigned kSeed = 20'264;
constexpr std::size_t kFileSize = 100'000'000;

using Random = std::mt19937;

std::string makeWord(Random& random)
{
    std::string word(3 + random() % 7, ' ');
    for (char& c : word)
        c = static_cast<char>('a' + random() % 26);
    return word;
}

std::string makePlace(Random& random)
{
    static const char* const places[] = {"Berlin",
                                         "K\xc3\xb6ln",
                                         "Paris",
                                         "Ath\xc3\xa8nes",
                                         "Troms\xc3\xb8",
                                         "Lisboa",
                                         "\xe6\x9d\xb1\xe4\xba\xac",
                                         "Roma"};
    return places[random() % std::size(places)];
}

std::string makeDate(Random& random)
{
    char text[32];
    std::snprintf(text, sizeof text, "2026-%02u-%02u %02u:%02u:%02u",
                  static_cast<unsigned>(1 + random() % 12),
                  static_cast<unsigned>(1 + random() % 28), static_cast<unsigned>(random() % 24),
                  static_cast<unsigned>(random() % 60), static_cast<unsigned>(random() % 60));
    return text;
}

std::string makeReal(Random& random, unsigned digits, unsigned limit)
{
    std::string text = std::to_string(random() % limit) + '.';
    for (; digits != 0; --digits)
        text += static_cast<char>('0' + random() % 10);
    return text;
}

// Some words; half of these texts hold what needs quotes.
std::string makeSentence(Random& random)
{
    static const char* const breaks[] = {", ", ", ", ", ", " \"so\" ", ",\n"};
    const std::string middle = random() % 2 == 0 ? breaks[random() % std::size(breaks)] : " ";
    return makeWord(random) + middle + makeWord(random);
}

std::vector<std::string> makeRow(Random& random, std::size_t index)
{
    return {std::to_string(100'000 + index),
            makeDate(random),
            makeWord(random),
            makeReal(random, 2, 1000),
            std::to_string(random() % 1000),
            makeSentence(random),
            makePlace(random),
            makeReal(random, 6, 1),
            "AB-" + std::to_string(1000 + random() % 9000),
            makeSentence(random)};
}

Table makeTable()
{
    Random random(kSeed);
    Table table;
    for (std::size_t index = 0; index != sized(10'000, 200); ++index)
        table.push_back(makeRow(random, index));
    return table;
}

void appendCell(std::string& text, const std::string& cell)
{
    if (cell.find_first_of(",\"\n\r") == std::string::npos) {
        text += cell;
        return;
    }
    text += '"';
    for (const char c : cell)
        text.append(c == '"' ? 2 : 1, c);
    text += '"';
}

// The table as it stands in a file, each row with a line feed after it.
const std::string& getTableText()
{
    static const std::string text = [] {
        std::string made;
        for (const auto& row : getTable()) {
            for (const std::string& cell : row) {
                if (&cell != &row.front()) made += ',';
                appendCell(made, cell);
            }
            made += '\n';
        }
        return made;
    }();
    return text;
}

}  // namespace

const Table& getTable()
{
    static const Table table = makeTable();
    return table;
}

std::size_t getTableCount()
{
    return sized(kFileSize / getTableText().size(), 10);
}

void writeTables(std::size_t count, const std::string& path)
{
    std::ofstream stream(path, std::ios::binary);
    while (count-- != 0)
        stream << getTableText();
}

const std::string& getTablesPath()
{
    static const ScratchFile file("tables.csv");
    static const bool isWritten = (writeTables(getTableCount(), file.getPath()), true);
    static_cast<void>(isWritten);
    return file.getPath();
}

void setTablesProcessed(benchmark::State& state)
{
    state.SetBytesProcessed(state.iterations() *
                            static_cast<std::int64_t>(getTableCount() * getTableText().size()));
}

}  // namespace bench
