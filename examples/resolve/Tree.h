// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzXRefResolverSearchPath.h>

namespace resolve {

/// A folder tree as it was when it was indexed.
class Tree {
public:
    /// Indexes what is below a folder. Folders below it that can't be read are left out, and links
    /// to folders are followed.
    /// @param maxFiles the number of files that is too many.
    /// @return false, with the reason in `error`, when that is not possible.
    bool index(const std::string& root, unsigned long maxFiles, std::string& error);

    /// Finds the file that a path means.
    qz::qzXRefResolverSearchPath::tMatchResult find(const std::string& path) const;

private:
    qz::qzXRefResolverSearchPath mFiles;
};

}  // namespace resolve
