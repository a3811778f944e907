// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzStringUtils.h>

namespace qz {

/// Writes a number of bytes as reports about memory show it, for example "1.5GB".
/// @tparam T `long` or `unsigned long`.
template <typename T>
std::string humanizeBytes(T bytes)
{
    return qzStringUtils::humanizeNumberGeneric<T>(
               bytes, /*significantDigits=*/3, /*maxDecimals=*/1, /*binaryPrefixes=*/true,
               /*largePrefixes=*/true, /*smallPrefixes=*/false) +
           "B";
}

}  // namespace qz
