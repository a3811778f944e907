#pragma once

#include <string>
#include <vector>

#include "CsvFile.h"
#include "FileEntry.h"

namespace fingerprint {

/// Prints on standard output what differs from earlier fingerprints, a line for each file and one
/// for all. Files whose digest isn't known, now or then, count as unchanged.
void printDifferences(const std::vector<std::string>& folders,
                      const std::vector<FileEntry>& entries, Fingerprints earlier);

}  // namespace fingerprint
