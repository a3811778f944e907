// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz::ext {

/// The step of a job that the system refused, and its reason. Made without arguments it stands for
/// a job in which nothing failed.
struct QZ_API SystemFailure {
    /// The call, followed by its object if it has one, for example "execve /usr/bin/none"; UTF-8.
    std::string step;
    /// The `errno` of the call; 0 if nothing failed.
    int error = 0;

    /// Whether a step failed.
    explicit operator bool() const { return error != 0; }
    /// The step and the reason, for example
    /// "chdir /none: System error : '(2) ENOENT No such file or directory'"; empty if nothing
    /// failed.
    std::string toString() const;
};

}  // namespace qz::ext
