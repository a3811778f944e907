// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "FuzzInput.h"

namespace qz::fuzz {

/// A folder in memory that is removed at the end.
class MemoryFolder {
public:
    explicit MemoryFolder(const std::string& name) : mPath("/dev/shm/" + name + "-XXXXXX")
    {
        expectSame(::mkdtemp(mPath.data()) != nullptr, "no folder " + mPath);
    }
    ~MemoryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;

    const std::string& getPath() const { return mPath; }

private:
    std::string mPath;
};

}  // namespace qz::fuzz
