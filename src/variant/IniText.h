// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include <qz/qzVariant.h>

namespace qz::variant {

/// The section whose keys are at the top level of the tree.
constexpr const char* kIniTopSection = "General";
/// Separates the parts of keys and of section names.
constexpr char kIniSeparator = '/';

/// A line of an ini file.
struct IniLine {
    enum Kind {
        Skipped,     ///< empty, or a comment
        Section,     ///< a header; `key` is the name
        Entry,       ///< `key` and `value`, both trimmed
        Unusable,    ///< without a "="
        WithoutKey,  ///< with nothing before the "="
    };

    Kind kind = Skipped;
    std::string_view key;
    std::string_view value;
};

/// Splits a line. The views are into `line`.
IniLine parseIniLine(std::string_view line);

/// Decodes the text after the "=".
qzVariant decodeIniValue(std::string_view text);

/// Appends the line of an entry, in the classic locale, as `decodeIniValue` reads it.
/// @return false for a type that has no text; nothing is appended.
bool appendIniLine(const std::string& key, const qzVariant& value, std::string& out);

}  // namespace qz::variant
