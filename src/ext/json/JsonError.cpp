// SPDX-License-Identifier: MIT
#include <qz/ext/Json.h>

namespace qz::ext {

std::string JsonError::toString() const
{
    if (!*this) return {};
    if (place.line != 0)
        return "line " + std::to_string(place.line) + ", column " + std::to_string(place.column) +
               ": " + message;
    return path.empty() ? message : path + ": " + message;
}

}  // namespace qz::ext
