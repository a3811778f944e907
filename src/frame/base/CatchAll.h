// SPDX-License-Identifier: MIT
#pragma once

#include <cxxabi.h>

namespace qz {

/// Calls `work`, and `handle` within the handler of any exception that leaves it. The end of the
/// thread by a cancellation or by `pthread_exit`, which no handler may stop, goes on.
///
/// That end has no object: the reference that catches it is null, which the sanitizer of undefined
/// behaviour reports, also where this function is inlined.
template <typename Work, typename Handle>
__attribute__((noinline, no_sanitize("null"))) void catchAll(const Work& work, const Handle& handle)
{
    try {
        work();
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        handle();
    }
}

}  // namespace qz
