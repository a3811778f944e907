// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fingerprint {

/// A digest of 128 bits.
struct Digest {
    std::uint64_t high = 0;
    std::uint64_t low = 0;
};

/// A file below one of the folders.
struct FileEntry {
    std::size_t folder = 0;  ///< Index into the folders.
    std::string path;        ///< Below the folder, in the character set of the system.
    std::optional<Digest> digest = {};
    unsigned long bytes = 0;
    int error = 0;  ///< Why there is no digest; 0 if it wasn't read.
};

/// A folder below one of the folders, or that one itself.
struct FolderEntry {
    std::size_t folder = 0;  ///< Index into the folders.
    std::string path;        ///< Below the folder; empty for that one itself.
};

/// The path that the system knows.
std::string joinPath(const std::string& folder, const std::string& path);

/// The digest as 32 digits, the form of `xxhsum -H2`; empty without one.
std::string toText(const std::optional<Digest>& digest);

/// A name of the system in UTF-8; empty if it can't be converted.
std::string toUtf8(const std::string& localName);

}  // namespace fingerprint
