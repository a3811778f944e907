// SPDX-License-Identifier: MIT
#pragma once

#include <sys/wait.h>

namespace qz::support {

/// Whether this process has a child, running or not waited for.
inline bool hasChildren()
{
    siginfo_t info = {};
    return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

}  // namespace qz::support
