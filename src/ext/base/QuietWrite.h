// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include <sys/types.h>

namespace qz::ext {

/// Calls `write` without a SIGPIPE, which an output without a reader would otherwise send to this
/// thread. @return the result of `write`, with its `errno`.
ssize_t writeQuietly(int descriptor, std::string_view bytes);

}  // namespace qz::ext
