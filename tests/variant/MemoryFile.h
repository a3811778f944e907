// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <string>

#include "support/Files.h"
#include "support/OutputCapture.h"

namespace qz {

/// A file without a disk under it, for tests that write thousands of them.
class MemoryFile {
public:
    MemoryFile() : mDescriptor(support::makeMemoryFile()) {}
    ~MemoryFile() { ::close(mDescriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string getPath() const { return "/proc/self/fd/" + std::to_string(mDescriptor); }
    void write(const std::string& content) const { support::writeFile(getPath(), content); }
    std::string read() const { return support::readWholeFile(mDescriptor); }

private:
    const int mDescriptor;
};

}  // namespace qz
