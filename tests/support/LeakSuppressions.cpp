// SPDX-License-Identifier: MIT
// A source of every test binary and program, not of the support library: only the sanitizer calls
// these functions, and for that a linker would not take them out of a library.

// setlocale and newlocale of glibc (seen in 2.36) leak the text that they make from LOCPATH, with
// which tests find their locales.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_options();
extern "C" const char* __tsan_default_options();

extern "C" const char* __lsan_default_suppressions()
{
    return "leak:argz_add_sep\n";
}

// Tests compare the standard error of programs.
extern "C" const char* __lsan_default_options()
{
    return "print_suppressions=0";
}

// The library's signal handler calls functions that are not signal-safe, on purpose.
extern "C" const char* __tsan_default_options()
{
    return "report_signal_unsafe=0";
}
