// Compiled into the programs that link the target qzSystem::asan_options.
//
// A full start of the library takes the signals of faults over from the address sanitizer, and a
// fault would be reported in the log only. This leaves them to the sanitizer, whose report knows
// more. What ASAN_OPTIONS says comes ahead of it. In a program without the sanitizer nobody asks.

extern "C" const char* __asan_default_options() __attribute__((visibility("default"), used));

extern "C" const char* __asan_default_options()
{
    return "handle_segv=2:handle_sigbus=2:handle_sigfpe=2:handle_sigill=2";
}
