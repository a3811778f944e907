#pragma once

#include <string_view>

namespace qz::filesystem {

/// Gives how many bytes of an entry's folder agree with a path's folder, both with their bytes in
/// reverse order, so that it counts from the back of the folders.
///
/// Only whole names count, with one exception that callers rely on: when all of the path's folder
/// is used up within a name of the entry's, all of it counts.
inline std::size_t computeAgreement(std::string_view entry, std::string_view xref)
{
    std::size_t agree = 0;
    std::size_t i = 0;
    while (i != entry.size() && i != xref.size() && entry[i] == xref[i]) {
        if (entry[i] == '/') agree = i;
        ++i;
    }
    if (i == entry.size()) return i == xref.size() || xref[i] == '/' ? i : agree;
    return i == xref.size() ? i : agree;
}

}  // namespace qz::filesystem
