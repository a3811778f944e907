// Part of every test binary and program, not of the support library: only the sanitizer asks for
// it, and a linker takes no library member for that.

// setlocale and newlocale of glibc (seen in 2.36) lose the text that they make of LOCPATH, by which
// tests find their locales.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_options();
extern "C" const char* __tsan_default_options();

extern "C" const char* __lsan_default_suppressions()
{
    return "leak:argz_add_sep\n";
}

// Tests read what a program says on its standard error stream.
extern "C" const char* __lsan_default_options()
{
    return "print_suppressions=0";
}

// The library's handler of signals isn't meant to be safe in a signal handler.
extern "C" const char* __tsan_default_options()
{
    return "report_signal_unsafe=0";
}
