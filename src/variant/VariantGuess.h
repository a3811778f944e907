// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include <qz/qzVariant.h>

namespace qz::variant {

/// Guesses the type of a text, as `BuildFromString` does.
qzVariant guess(std::string_view text);

}  // namespace qz::variant
