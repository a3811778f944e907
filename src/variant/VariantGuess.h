#pragma once

#include <string_view>

#include <qz/qzVariant.h>

namespace qz::variant {

/// Makes a variant of the type that a text seems to be of, as `BuildFromString` does.
qzVariant guess(std::string_view text);

}  // namespace qz::variant
