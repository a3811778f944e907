#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz {

/// Helpers around numbers.
class QZ_API qzMathUtils {
public:
    qzMathUtils() = delete;

    /// Writes a number with a separator between each group of three digits: "1,234,567".
    ///
    /// The separator is the first byte of the one that the process's locale has at the first call,
    /// or "," where it has none; later changes of the locale have no effect.
    /// Threads: one at a time, as all calls share one buffer.
    static std::string FormatIntegerSeparator(unsigned long value);
};

}  // namespace qz
