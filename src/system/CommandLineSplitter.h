// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qz::system {

/// How the splitting of a command line ended.
enum class SplitEnd {
    EndOfText,
    QuoteInToken,  ///< a double quote in the midst of a plain token
    NotUtf8,       ///< malformed, cut short, or empty
};

/// Appends the tokens of a command line to empty outputs: the first one is the program. What was
/// finished before a failure stays. See `qzProcess::SplitCommandLine` for the grammar.
SplitEnd splitCommandLine(std::string_view commandLine, std::string& program,
                          std::vector<std::string>& arguments);

}  // namespace qz::system
