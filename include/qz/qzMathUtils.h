// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz {

/// Functions for numbers.
class QZ_API qzMathUtils {
public:
    qzMathUtils() = delete;

    /// Writes a number with a separator between groups of three digits: "1,234,567".
    ///
    /// The separator is the first byte of the one in the process's locale at the first call, or ","
    /// if the locale has none. Later changes of the locale have no effect. If the locale's
    /// separator has several bytes, as in fr_FR.UTF-8, the text isn't UTF-8.
    /// Threads: any.
    static std::string FormatIntegerSeparator(unsigned long value);
};

}  // namespace qz
