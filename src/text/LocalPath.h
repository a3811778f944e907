// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzStringUtils.h>

namespace qz::text {

/// Converts a path to the local character set, for a call of the system.
///
/// The system must never get the path of another file: where the local set lacks a character,
/// `convertCharset` takes a similar one or "?".
/// @return empty, which names nothing, if the local set can't hold the path without loss.
std::string toLocal(const std::string& path);

/// Converts a path that came from the system to UTF-8. @return empty on failure.
inline std::string fromLocal(const std::string& localPath)
{
    return qzStringUtils::convertCharset(localPath, qzStringUtils::CharSetLocal,
                                         qzStringUtils::CharSetUtf8);
}

/// Ends a path where it ends for the system: at its first zero byte.
inline std::string endAtZeroByte(const std::string& path)
{
    return path.c_str();  // NOLINT(readability-redundant-string-cstr): up to the zero byte
}

}  // namespace qz::text
