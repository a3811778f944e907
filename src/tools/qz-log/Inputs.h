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

/// An argument of the command as a folder and the names in it. A file that the program names may
/// have a date before its extension from the begin on, or get one by a rotation.
struct Place {
    std::string folder;
    std::string nameStart;
    std::string nameEnd;
    std::string path;  ///< Of the one file as it was given; empty for all of a folder.
    std::string name;  ///< Its name.

    /// Whether a file is the one that was given, and not one with a date; true for all of a folder.
    bool names(const FoundFile& file) const
    {
        return path.empty() || file.path == folder + '/' + name;
    }
};

/// The place that an argument names.
Place makePlace(const std::string& path);

/// Lists the regular files of a place, but no hidden ones: the oldest first, and those of one time
/// by name.
/// @return false after a failure, with the reason in `errno`.
bool listFiles(const Place& place, std::vector<FoundFile>& files);

/// Whether a file begins as a log does: with a byte order mark, or with a line that has a prefix. A
/// file that can't be read counts as one, so that the failure is reported.
bool isLog(const std::string& path);

/// The files that the arguments of the command name, those of folders in their place, and those
/// with a date in the place of a name that is missing.
std::vector<std::string> findInputs(const std::vector<std::string>& arguments, Problems& problems);

}  // namespace qzlog
