// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz {

/// An error number of the operating system, with the text that reports show.
///
/// @code
/// if (::unlink(path) != 0) logWarning() << "Not removed: " << SystemError(errno);
/// @endcode
///
/// Threads: a plain value; `toString` calls `strerror`, with the thread rules of that function.
class QZ_API SystemError {
public:
    /// Makes the error 0. It does not read `errno`.
    SystemError() = default;
    /// Makes the error of the number `code`.
    // A conversion is intended: an errno may be streamed as SystemError(errno) or passed as it is.
    SystemError(int code) : mCode(code) {}  // NOLINT(google-explicit-constructor)

    /// The text "System error : '(number) NAME description'", on one line.
    ///
    /// The description is in the language and the character set of the process's locale, so the
    /// text isn't UTF-8 in every locale. The name is "UNKNOWN_ENUM" for a number without a name,
    /// and for 95.
    std::string toString() const;

private:
    int mCode = 0;
};

}  // namespace qz
