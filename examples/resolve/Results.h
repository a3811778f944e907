// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/qzXRefResolverSearchPath.h>

namespace resolve {

/// A stale path, and what was found for it.
struct Result {
    std::string path;
    qz::qzXRefResolverSearchPath::tMatchResult match;

    bool isFound() const { return !match.path.empty(); }
};

/// The results as a framed table, for people: a byte that can't be shown in a line reads as "?".
std::string toTable(const std::vector<Result>& results);

/// A result as a line for programs: match, agreement, path and file, with tabs between them.
std::string toPlainLine(const Result& result);

}  // namespace resolve
