// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace qz::ext {

/// Reads random bytes from the device files, for systems that refuse `getrandom`. They are there
/// only after the system has collected enough randomness, which the call waits for.
/// @param step receives the call that failed.
/// @return false if a file is missing or is something else, with the reason in `errno`.
bool readRandomDevice(unsigned char* bytes, std::size_t size, const char*& step);

}  // namespace qz::ext
