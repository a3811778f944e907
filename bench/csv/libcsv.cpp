// SPDX-License-Identifier: MIT
#include <csv.h>

#include <cstdio>
#include <memory>
#include <utility>

#include "tables.h"

namespace bench {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

std::string makeTextCell(const char* data, std::size_t size)
{
    return {data, size};
}

Guessed makeGuessedCell(const char* data, std::size_t size)
{
    return guess(data, data + size);
}

// What the callbacks of the parser fill.
template <typename Cell, Cell (*MakeCell)(const char*, std::size_t), typename Use>
struct Collector {
    using Row = std::vector<Cell>;

    explicit Collector(Use& user) : use(user) {}

    static void takeCell(void* data, std::size_t size, void* self)
    {
        auto& row = static_cast<Collector*>(self)->row;
        row.push_back(MakeCell(static_cast<const char*>(data), size));
    }
    static void takeRow(int /*end*/, void* self)
    {
        auto& collector = *static_cast<Collector*>(self);
        const std::size_t width = collector.row.size();
        collector.rows.push_back(std::exchange(collector.row, Row()));
        collector.row.reserve(width);
        if (collector.rows.size() == kBatchSize) collector.handOver();
    }
    void handOver()
    {
        use(rows);
        rows.clear();
    }

    Use& use;
    std::vector<Row> rows;
    Row row;
};

template <typename Collector>
void parse(const std::string& path, Collector& collector)
{
    csv_parser parser;
    csv_init(&parser, 0);
    const File file(std::fopen(path.c_str(), "rb"), std::fclose);
    std::vector<char> block(std::size_t{1} << 20U);
    while (const std::size_t size = std::fread(block.data(), 1, block.size(), file.get()))
        csv_parse(&parser, block.data(), size, Collector::takeCell, Collector::takeRow, &collector);
    csv_fini(&parser, Collector::takeCell, Collector::takeRow, &collector);
    csv_free(&parser);
    collector.handOver();
}

struct LibCsv {
    template <typename Use>
    static void readTexts(const std::string& path, Use& use)
    {
        Collector<std::string, makeTextCell, Use> collector(use);
        parse(path, collector);
    }
    template <typename Use>
    static void readGuessed(const std::string& path, Use& use)
    {
        Collector<Guessed, makeGuessedCell, Use> collector(use);
        parse(path, collector);
    }
    static const std::string& toText(const std::string& cell) { return cell; }
    static bool isNumber(const Guessed& cell) { return cell.index() != 2; }

    static const Table& build(const Table& table) { return table; }
    static void write(const Table& table, std::size_t count, const std::string& path)
    {
        const File file(std::fopen(path.c_str(), "wb"), std::fclose);
        for (; count != 0; --count)
            for (const auto& row : table)
                writeRow(row, file.get());
    }
    static void writeRow(const std::vector<std::string>& row, std::FILE* file)
    {
        for (const std::string& cell : row) {
            if (&cell != &row.front()) std::fputc(',', file);
            csv_fwrite(file, cell.data(), cell.size());
        }
        std::fputc('\n', file);
    }
};

CsvReadRows<LibCsv> gRead("libcsv");
CsvWriteRows<LibCsv> gWrite("libcsv");

}  // namespace

}  // namespace bench
