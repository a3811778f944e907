// SPDX-License-Identifier: MIT
// Compiled into the programs that link the target qzSystem::asan_options.
//
// A full start of the library replaces the address sanitizer's handlers of faults, and a fault would
// only be reported in the log. These options leave faults to the sanitizer, whose report has more
// details. ASAN_OPTIONS has priority over them. Without the sanitizer nothing calls the function.

extern "C" const char* __asan_default_options() __attribute__((visibility("default"), used));

extern "C" const char* __asan_default_options()
{
    return "handle_segv=2:handle_sigbus=2:handle_sigfpe=2:handle_sigill=2";
}
