// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <sys/stat.h>

#include "LogFile.h"
#include "Problems.h"

namespace qzlog {

/// A file that was found in a folder.
struct FoundFile {
    std::string path;
    FileIdentity identity;
    timespec changed;  ///< The time of the last change of its content.
    bool isEmpty;      ///< Whether it has no content yet.
};

/// Lists the regular files of a folder whose names begin and end as given, but no hidden ones: the
/// oldest first, and those of one time by name.
/// @return false after a failure, with the reason in `errno`.
bool listFolder(const std::string& folder, const std::string& nameStart, const std::string& nameEnd,
                std::vector<FoundFile>& files);

/// Whether a file begins as a log does: with a byte order mark, or with a line that has a prefix. A
/// file that can't be read counts as one, so that the failure is reported.
bool isLog(const std::string& path);

/// The files that the arguments of the command name, those of folders in their place.
std::vector<std::string> findInputs(const std::vector<std::string>& arguments, Problems& problems);

}  // namespace qzlog
