// SPDX-License-Identifier: MIT
// Reads only, so it has no row of writing.

#include <boost/algorithm/string/replace.hpp>
#include <boost/tokenizer.hpp>

#include <algorithm>
#include <fstream>

#include "tables.h"

namespace bench {

namespace {

using Separator = boost::escaped_list_separator<char>;
using Tokenizer = boost::tokenizer<Separator>;

std::string makeTextCell(const std::string& token)
{
    return token;
}

Guessed makeGuessedCell(const std::string& token)
{
    return guess(token.data(), token.data() + token.size());
}

// A line, with those after it as long as quotes are open.
bool getRecord(std::istream& stream, std::string& record)
{
    if (!std::getline(stream, record)) return false;
    std::string more;
    while (std::count(record.begin(), record.end(), '"') % 2 != 0 && std::getline(stream, more))
        record += '\n' + more;
    return true;
}

// The tokenizer knows a quote within quotes by a backslash only.
void escapeQuotes(std::string& record)
{
    if (record.find('"') == std::string::npos) return;
    boost::replace_all(record, "\\", "\\\\");
    boost::replace_all(record, "\"\"", "\\\"");
}

template <typename Cell, Cell (*MakeCell)(const std::string&), typename Use>
void read(const std::string& path, Use& use)
{
    std::ifstream stream(path, std::ios::binary);
    std::vector<std::vector<Cell>> rows;
    std::string record;
    while (getRecord(stream, record)) {
        escapeQuotes(record);
        auto& row = rows.emplace_back();
        const std::size_t before = rows.size() - 1;
        if (before != 0) row.reserve(rows[before - 1].size());
        for (const std::string& token : Tokenizer(record, Separator()))
            row.push_back(MakeCell(token));
        if (rows.size() < kBatchSize) continue;
        use(rows);
        rows.clear();
    }
    use(rows);
}

struct BoostCsv {
    template <typename Use>
    static void readTexts(const std::string& path, Use& use)
    {
        read<std::string, makeTextCell>(path, use);
    }
    template <typename Use>
    static void readGuessed(const std::string& path, Use& use)
    {
        read<Guessed, makeGuessedCell>(path, use);
    }
    static const std::string& toText(const std::string& cell) { return cell; }
    static bool isNumber(const Guessed& cell) { return cell.index() != 2; }
};

CsvReadRows<BoostCsv> gRead("boost");

}  // namespace

}  // namespace bench
