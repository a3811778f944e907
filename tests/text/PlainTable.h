// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace qz {

/// A framed table by the plain steps, on rows that can be indexed.
struct PlainTable {
    struct Cell {
        std::string text;
        bool isFused = false;
    };

    static std::string draw(std::vector<std::vector<Cell>> rows, const std::string& title);

    /// The code points of a well-formed text.
    static std::size_t count(const std::string& text);
};

}  // namespace qz
