#pragma once

#include <string>
#include <string_view>

#include <qz/qzVariant.h>

namespace qz::variant {

/// What a line of an ini file is.
struct IniLine {
    enum Kind {
        Skipped,     ///< empty, or a comment
        Section,     ///< a header; `key` is the name
        Entry,       ///< `key` and `value`, both trimmed
        Unusable,    ///< without a "="
        WithoutKey,  ///< without anything ahead of the "="
    };

    Kind kind = Skipped;
    std::string_view key;
    std::string_view value;
};

/// Takes a line apart. The views lie in `line`.
IniLine parseIniLine(std::string_view line);

/// The value that a text stands for behind the "=".
qzVariant decodeIniValue(std::string_view text);

/// Appends the line of an entry. @return false for a type that has no text; nothing is appended.
bool appendIniLine(const std::string& key, const qzVariant& value, std::string& out);

}  // namespace qz::variant
