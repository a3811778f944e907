// SPDX-License-Identifier: MIT
#include "Totals.h"

#include <qz/AsciiTableBuilder.h>

#include "FileEntry.h"

namespace inventory {

namespace {

using qz::qzVariant;

constexpr unsigned long kRowsPerBatch = 1024;

bool isRow(const qz::qzCsvFileReader::Row& row)
{
    return row.size() == kColumnNames.size() && row[ColumnPath].getType() == qzVariant::STRING &&
           row[ColumnSize].getType() == qzVariant::INTEGER &&
           row[ColumnModified].getType() == qzVariant::INTEGER &&
           row[ColumnType].getType() == qzVariant::STRING &&
           row[ColumnContent].getType() == qzVariant::STRING;
}

}  // namespace

bool Totals::addFile(const CsvFile& file, std::string& error)
{
    qz::qzCsvFileReader reader(/*typeGuess=*/true);
    reader.setFileName(file.path);
    error = "cannot read '" + file.path + "' back: ";
    // Has to be asked here: a file that isn't open parses as an empty one.
    if (!reader.getLastError().empty()) {
        error += reader.getLastError();
        return false;
    }
    bool isFinished = false;
    bool isOk = reader.parseFirst(isFinished, 1);  // the headers
    unsigned long rows = 0;
    while (isOk && !isFinished) {
        isOk = reader.parseNext(isFinished, /*clearTable=*/true, kRowsPerBatch);
        for (const qz::qzCsvFileReader::Row& row : reader.getTable()) {
            ++rows;
            if (addRow(row)) continue;
            error += "row " + std::to_string(rows) + " is damaged";
            return false;
        }
    }
    if (!isOk) {
        error += reader.getLastError();
        return false;
    }
    error += std::to_string(rows) + " rows instead of " + std::to_string(file.rows);
    return rows == file.rows;
}

bool Totals::addRow(const qz::qzCsvFileReader::Row& row)
{
    if (!isRow(row)) return false;
    const auto size = static_cast<unsigned long>(row[ColumnSize].toInteger());
    const bool isText = *row[ColumnContent].getString() == "UTF-8";
    for (Total* const total : {&mAll, &mByType[*row[ColumnType].getString()]}) {
        ++total->files;
        total->bytes += size;
        total->texts += isText ? 1 : 0;
    }
    return true;
}

std::string Totals::toTable() const
{
    using qz::AsciiTableBuilder;
    AsciiTableBuilder table("Inventory");
    table << "Type"
          << "Files"
          << "Bytes"
          << "UTF-8" << AsciiTableBuilder::EndOfRow{};
    for (const auto& [type, total] : mByType)
        table << type << total.files << total.bytes << total.texts << AsciiTableBuilder::EndOfRow{};
    table << "all" << mAll.files << mAll.bytes << mAll.texts;
    return table.toString();
}

}  // namespace inventory
