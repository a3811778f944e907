// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "CsvFile.h"
#include "FolderWalk.h"

namespace fingerprint {

/// Prints on standard output what differs from earlier fingerprints, a line for each file and one
/// for all. Files whose digest isn't known, now or then, count as unchanged, and so do files of
/// earlier in folders that can't be read now.
void printDifferences(const std::vector<std::string>& folders, const FoundFiles& files,
                      Fingerprints earlier);

}  // namespace fingerprint
