// SPDX-License-Identifier: MIT
// Prints each file that the library closes without the flag close-on-exec: another thread may start
// a program while the file is open, which would inherit it.
//
// The first argument is a folder for files.

#include <dlfcn.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <string>
#include <vector>

#include <qz/ext/SafeFiles.h>
#include <qz/ext/SecureRandom.h>
#include <qz/qzDirUtils.h>
#include <qz/qzLockFile.h>
#include <qz/qzProcess.h>
#include <qz/qzSystem.h>
#include <qz/qzSystemUtils.h>

#include "support/RefusedCalls.h"

namespace {

const char* gWork = nullptr;
int gClosedFiles = 0;

void check(int descriptor)
{
    ++gClosedFiles;
    if (gWork == nullptr) return;  // an instrumented program closes files of its own at its end
    if (descriptor > 2 && ::fcntl(descriptor, F_GETFD) == 0)
        std::cout << gWork << ": not close-on-exec\n";
}

template <typename Body>
void run(const char* work, const Body& body)
{
    gWork = work;
    gClosedFiles = 0;
    body();
    gWork = nullptr;
    if (gClosedFiles == 0) std::cout << work << ": closes no file\n";
}

}  // namespace

extern "C" int close(int descriptor)
{
    static const auto realClose = reinterpret_cast<int (*)(int)>(::dlsym(RTLD_NEXT, "close"));
    check(descriptor);
    return realClose(descriptor);
}

extern "C" int fclose(FILE* file)
{
    static const auto realClose = reinterpret_cast<int (*)(FILE*)>(::dlsym(RTLD_NEXT, "fclose"));
    check(::fileno(file));
    return realClose(file);
}

int main(int /*argumentCount*/, char** arguments)
{
    using namespace qz;
    const std::string folder = arguments[1];
    initializeQzSystem(LightInit);
    std::vector<std::string> commandLine;
    qzProcess process;
    qzLockFile lock;
    unsigned long resident = 0;
    unsigned long peak = 0;
    run("used RAM", [] { qzSystemUtils::GetUsedRamQuantityInBytes(qzSystemUtils::RamResident); });
    run("command line", [&] { qzSystemUtils::ExtractCommandLineUtf8(commandLine); });
    run("temporary file", [&] { qzDirUtils::GetTempFileUtf8(folder, "x"); });
    run("inspection", [&] { qzProcess::GetCurrentProcess(process); });
    run("parent", [&] { qzProcess::GetParentProcess(process); });
    run("memory", [&] { process.getMemoryStatistics(resident, peak); });
    run("lock", [&] {
        lock.takeLockUtf8(folder + "/lock", nullptr, qzLockFile::LockExclusive, nullptr);
        lock.releaseLock(true, nullptr);
    });
    run("copy",
        [&] { qzDirUtils::CopyFileUtf8("/proc/self/exe", folder + "/copy", true, nullptr); });
    run("saved ini file", [&] {
        ext::saveIniFileAtomically(folder + "/ini", {{"a", 1}}, /*merge=*/false);
    });
    run("merged ini file", [&] {
        ext::saveIniFileAtomically(folder + "/ini", {{"b", 2}}, /*merge=*/true);
    });
    run("checked copy", [&] { ext::copyFileChecked(folder + "/ini", folder + "/checked"); });
    qzDirUtils::MkpathUtf8(folder + "/tree/branch");
    run("removed tree", [&] { ext::removeTreeNoFollow(folder + "/tree"); });
    support::refuseSystemCall(SYS_getrandom, ENOSYS);
    run("random device", [] { ext::SecureRandom::MakeName(); });
    terminateQzSystem();
    std::cout << "end\n";
    return 0;
}
