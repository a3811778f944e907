// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace qz::docs {

/// A whole program of a page or of a header.
struct Program {
    std::string name;  ///< The page and the number of the block, for example "guide-log.2".
    int (*run)();      ///< Its `main`.
};

/// All of them, in the order of the pages.
const std::vector<Program>& getPrograms();

}  // namespace qz::docs
