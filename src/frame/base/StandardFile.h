// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <memory>

namespace qz {

struct CloseStandardFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// Owns a file of the C library; null if it couldn't be opened.
using StandardFile = std::unique_ptr<std::FILE, CloseStandardFile>;

}  // namespace qz
