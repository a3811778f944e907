// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "FileEntry.h"

namespace fingerprint {

/// Digests as texts, by the index of the folder and the path below it in UTF-8.
using Fingerprints = std::map<std::pair<std::size_t, std::string>, std::string>;

/// Writes the digests to a CSV file, which appears only when it is complete. An entry that could
/// not be read has an empty digest.
/// @param path in the character set of the system.
/// @return false, with the reason in `error`, when that is not possible.
bool writeCsv(const std::string& path, const std::vector<FileEntry>& entries, std::string& error);

/// Reads such a file.
/// @return nothing, with the reason in `error`, when that is not possible.
std::optional<Fingerprints> readCsv(const std::string& path, std::string& error);

}  // namespace fingerprint
