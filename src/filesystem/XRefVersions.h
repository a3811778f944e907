#pragma once

#include <string>
#include <string_view>

namespace qz::filesystem {

/// Tells whether files of a key's kind may carry versions behind their names. Only the first three
/// bytes count, so that longer kinds may as well.
inline bool hasVersions(const std::string& key)
{
    const std::string_view kind = std::string_view(key).substr(0, 3);
    return kind == "prt" || kind == "asm" || kind == "neu";
}

}  // namespace qz::filesystem
