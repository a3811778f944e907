// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>

namespace qzlog {

/// Reads a time such as "2026-11-14", "2026-11-14 20:17", "2026-11-14T20:17:56+01:00", in local
/// time without an offset. @return milliseconds since the epoch; nothing for any other text.
std::optional<long> parseTimeArgument(std::string_view text);

}  // namespace qzlog
