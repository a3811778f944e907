// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

namespace qz::ext {

/// Calls again what a signal has interrupted. @return the result of the last call.
template <typename Call>
auto restart(const Call& call)
{
    decltype(call()) result;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

}  // namespace qz::ext
