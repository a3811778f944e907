// SPDX-License-Identifier: MIT
#include <qz/qzCsvFileReader.h>
#include <qz/qzCsvStream.h>
#include <qz/qzIoDeviceFileStream.h>

#include "tables.h"

namespace bench {

namespace {

struct QzCsv {
    template <typename Use>
    static void readTexts(const std::string& path, Use& use)
    {
        read(path, /*typeGuess=*/false, use);
    }
    template <typename Use>
    static void readGuessed(const std::string& path, Use& use)
    {
        read(path, /*typeGuess=*/true, use);
    }
    template <typename Use>
    static void read(const std::string& path, bool typeGuess, Use& use)
    {
        startLibrary();
        qz::qzCsvFileReader reader(typeGuess);
        reader.setFileName(path);
        bool finished = false;
        bool isGood = reader.parseFirst(finished, kBatchSize);
        while (isGood) {
            use(reader.getTable());
            if (finished) break;
            isGood = reader.parseNext(finished, /*clearTable=*/true, kBatchSize);
        }
    }
    static const std::string& toText(const qz::qzVariant& cell) { return *cell.getString(); }
    static bool isNumber(const qz::qzVariant& cell)
    {
        return cell.getType() != qz::qzVariant::STRING;
    }

    static const Table& build(const Table& table) { return table; }
    static void write(const Table& table, std::size_t count, const std::string& path)
    {
        startLibrary();
        qz::qzIoDeviceFileStream file(path, qz::qzIoDevice::DataWayWrite, /*truncate=*/true);
        qz::qzCsvStream stream(&file, ',', '"', "\n");
        for (; count != 0; --count) {
            for (const auto& row : table) {
                for (const std::string& cell : row)
                    stream.writeCell(cell);
                stream.endRow();
            }
        }
    }
};

CsvReadRows<QzCsv> gRead("qz");
CsvWriteRows<QzCsv> gWrite("qz");

// How the time grows with the file.
void measureTenth(benchmark::State& state)
{
    const ScratchFile file("growth.csv");
    writeTables(getTableCount() / 10, file.getPath());
    KeepBatch use;
    for (auto _ : state)
        QzCsv::readTexts(file.getPath(), use);
}

const Case gTenth("10 MB to rows of text cells", "qz", measureTenth);

}  // namespace

}  // namespace bench
