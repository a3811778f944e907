// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace qz::support {

/// An empty folder of its own under the temporary folder, removed with all its content at the end.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& getPath() const { return mPath; }
    /// The path of an entry, which need not exist.
    std::string getPath(const std::string& name) const;
    /// Makes or replaces a file and gives its path.
    std::string write(const std::string& name, const std::string& content) const;
    /// The content of a file of the folder.
    std::string read(const std::string& name) const;

private:
    std::string mPath;
};

}  // namespace qz::support
