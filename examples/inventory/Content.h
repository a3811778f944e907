// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzCancelInterface.h>

namespace inventory {

enum class Content {
    Utf8,        ///< All of it is UTF-8, as of an empty file too.
    Other,       ///< Some of it isn't.
    Unreadable,  ///< It could not be read to its end; `errno` has the reason.
    Unknown,     ///< Cancelled before that was known.
};

/// Reads a regular file for as long as it is UTF-8.
Content readContent(const std::string& path, const qz::qzCancelInterface& cancel);

}  // namespace inventory
