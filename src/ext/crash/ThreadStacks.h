// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>
#include <ucontext.h>

namespace qz::ext::crash {

/// Gives an alternate signal stack to each thread of the process that has none.
/// @param signal the kit's signal, whose handler calls `takeStack`.
/// @return false if a thread has no stack, because it blocks the signal or waits for it, wasn't
///     scheduled within 5 seconds, or there is no memory.
bool coverThreads(int signal);

/// On a thread that `coverThreads` has sent its signal to: takes the stack when the handler
/// returns. @param value that of the signal.
void takeStack(sigval value, ucontext_t& context);

}  // namespace qz::ext::crash
