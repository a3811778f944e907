#pragma once

#include <string>
#include <vector>

#include <qz/qzCancelInterface.h>

#include "FileEntry.h"
#include "Problems.h"

namespace fingerprint {

/// Finds the regular files below the folders: those of a folder by name, and then those of its
/// folders. Links are not followed. What can't be read or named is reported.
std::vector<FileEntry> findFiles(const std::vector<std::string>& folders,
                                 const qz::qzCancelInterfaceReadOnly& cancel, Problems& problems);

}  // namespace fingerprint
