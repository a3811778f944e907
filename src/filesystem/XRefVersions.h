#pragma once

#include <string>

namespace qz::filesystem {

/// Tells whether files of a key's kind may carry versions behind their names. Only the first three
/// bytes count, so that longer kinds may as well.
inline bool hasVersions(const std::string& key)
{
    for (const char* const kind : {"prt", "asm", "neu"})
        if (key.compare(0, 3, kind) == 0) return true;
    return false;
}

}  // namespace qz::filesystem
