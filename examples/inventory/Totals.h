// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

#include <qz/qzCsvFileReader.h>

#include "CsvFiles.h"

namespace inventory {

/// Reads the list back, and adds up its files by their types.
class Totals {
public:
    /// Adds the rows of a CSV file.
    /// @return false, with the reason in `error`, when it isn't what was written.
    bool addFile(const CsvFile& file, std::string& error);
    /// The files that were added up.
    unsigned long getFileCount() const { return mAll.files; }
    /// The totals as a framed table.
    std::string toTable() const;

private:
    struct Total {
        unsigned long files = 0;
        unsigned long bytes = 0;
        unsigned long texts = 0;  // the files that are UTF-8
    };

    bool addRow(const qz::qzCsvFileReader::Row& row);

    std::map<std::string, Total> mByType;
    Total mAll;
};

}  // namespace inventory
