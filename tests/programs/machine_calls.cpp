// SPDX-License-Identifier: MIT
// Prints what the library says of a machine whose system calls answer oddly, or, with the argument
// "fail", not at all.

#include <dlfcn.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>

#include <qz/qzSystemUtils.h>

#include "support/LibraryStart.h"

namespace {

bool gFails = false;
std::size_t gUserNameSize = 0;
std::size_t gComputerNameSize = 0;

}  // namespace

extern "C" {

int uname(utsname* system)
{
    if (gFails) return -1;
    *system = {};
    std::strcpy(system->release, "r");
    return 0;
}

// Fills the buffer, without a zero byte.
int gethostname(char* name, std::size_t size) noexcept
{
    gComputerNameSize = size;
    if (gFails) return -1;
    std::memset(name, 'h', size);
    return 0;
}

int getlogin_r(char* name, std::size_t size)
{
    gUserNameSize = size;
    if (gFails) return ENXIO;
    std::memcpy(name, "abcde\xE9", 7);
    return 0;
}

// A sanitizer calls it before anything else runs, so it can't be instrumented.
__attribute__((no_sanitize("thread", "address", "undefined"))) long sysconf(int name) noexcept
{
    using Call = long (*)(int);
    const bool isAboutTheMachine =
        name == _SC_NPROCESSORS_ONLN || name == _SC_PHYS_PAGES || name == _SC_PAGESIZE;
    if (gFails && isAboutTheMachine) return -1;
    return reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "sysconf"))(name);
}

}  // extern "C"

int main(int argumentCount, char** /*arguments*/)
{
    using qz::qzSystemUtils;
    gFails = argumentCount > 1;
    const qz::support::LibraryStart library;
    std::cout << '[' << qzSystemUtils::GetOSInfo() << "]\n"
              << '[' << qzSystemUtils::GetCurrentUserNameUtf8() << "] of " << gUserNameSize << '\n'
              << qzSystemUtils::GetLocalComputerName().size() << " of " << gComputerNameSize
              << '\n';
    if (gFails) {
        std::cout << qzSystemUtils::GetRamQuantityInBytes() << " bytes, "
                  << qzSystemUtils::GetIdealThreadCount() << " threads\n";
    }
    return 0;
}
