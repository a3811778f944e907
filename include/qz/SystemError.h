#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz {

/// An error number of the operating system, and the one form in which reports show it.
///
/// Threads: a plain value; `toString` asks `strerror`, with that call's thread rules.
class QZ_API SystemError {
public:
    /// Makes the error 0. It does not look at `errno`: hand `errno` over where it is meant.
    SystemError() = default;
    /// Makes the error of the number `code`.
    // Conversion is the wish: an errno may be streamed as SystemError(errno) or passed as it is.
    SystemError(int code) : mCode(code) {}  // NOLINT(google-explicit-constructor)

    /// The text "System error : '(number) NAME words of the system'", on one line.
    ///
    /// The name is "UNKNOWN_ENUM" for a number without one, which 95 is too.
    std::string toString() const;

private:
    int mCode = 0;
};

}  // namespace qz
