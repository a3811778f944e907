// SPDX-License-Identifier: MIT
#include "Checks.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>

#include <langinfo.h>
#include <locale.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <qz/SystemError.h>
#include <qz/ext/PrintableText.h>

namespace qzdoctor {

namespace {

using qz::ext::escaped;
using State = Finding::State;

std::string describe(int error)
{
    return qz::SystemError(error).toString();
}

// The first line of a file; empty if it can't be read.
std::string readLine(const char* path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return escaped(line);
}

// Why files can't be made in a folder; 0 if they can.
int findFolderError(const char* path)
{
    struct stat status = {};
    if (::stat(path, &status) != 0) return errno;
    if (!S_ISDIR(status.st_mode)) return ENOTDIR;
    return ::access(path, W_OK | X_OK) == 0 ? 0 : errno;
}

Finding checkLocale()
{
    const char* const locale = ::setlocale(LC_ALL, "");
    if (locale == nullptr)
        return {
            State::Missing, "locale",
            "LANG or an LC_ variable names a locale that isn't installed; texts beyond ASCII and "
            "file names aren't converted. Install it, or set LC_ALL=C.UTF-8"};
    const std::string charset = ::nl_langinfo(CODESET);
    if (charset == "UTF-8") return {State::Good, "locale", escaped(locale) + ", in UTF-8"};
    return {State::Note, "locale",
            "the character set is " + escaped(charset) +
                "; file names and messages that it can't hold are lost. Set LC_ALL=C.UTF-8"};
}

Finding checkLockFolder()
{
    constexpr const char* kFolder = "/var/lock";
    const int error = findFolderError(kFolder);
    if (error == 0) return {State::Good, kFolder, "writable"};
    return {State::Missing, kFolder,
            describe(error) +
                "; processes that log into one folder don't take turns, and may rotate at once"};
}

Finding checkDescriptors()
{
    constexpr rlim_t kEnough = 256;
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return {State::Missing, "descriptors", describe(errno) + "; the limit is unknown"};
    if (limit.rlim_cur == RLIM_INFINITY) return {State::Good, "descriptors", "no limit"};
    const std::string text = "a process may have " + std::to_string(limit.rlim_cur) + " open";
    if (limit.rlim_cur >= kEnough) return {State::Good, "descriptors", text};
    return {State::Missing, "descriptors",
            text + "; files, pipes and log lines fail when they are used up. Raise 'ulimit -n'"};
}

Finding checkTemporaryFolder()
{
    const char* const variable = std::getenv("TMPDIR");
    const bool isSet = variable != nullptr && *variable != '\0';
    const char* const folder = isSet ? variable : "/tmp";
    const std::string name = escaped(folder) + (isSet ? " (TMPDIR)" : " (TMPDIR isn't set)");
    if (const int error = findFolderError(folder))
        return {State::Missing, "temporary folder",
                name + ": " + describe(error) + "; swap files and lock files can't be made there"};
    struct statvfs space = {};
    constexpr unsigned long kEnoughMiB = 64;
    if (::statvfs(folder, &space) != 0) return {State::Good, "temporary folder", name};
    const unsigned long freeMiB = space.f_bavail / 1024 * space.f_frsize / 1024;
    const std::string text = name + ", " + std::to_string(freeMiB) + " MiB free";
    if (freeMiB >= kEnoughMiB) return {State::Good, "temporary folder", text};
    return {State::Missing, "temporary folder", text + "; buffers that swap to it fail soon"};
}

Finding checkProc()
{
    if (!readLine("/proc/self/status").empty()) return {State::Good, "/proc", "mounted"};
    return {State::Missing, "/proc",
            "it can't be read; figures of memory and processors are 0, and processes aren't found"};
}

Finding checkCores()
{
    rlimit limit = {};
    const bool isKnown = ::getrlimit(RLIMIT_CORE, &limit) == 0;
    const std::string pattern = readLine("/proc/sys/kernel/core_pattern");
    // The limit doesn't apply to a program that the kernel passes the core to.
    if (!pattern.empty() && pattern[0] == '|')
        return {State::Good, "cores", "a crash passes its core to " + pattern.substr(1)};
    if (isKnown && limit.rlim_cur != 0)
        return {State::Good, "cores", "a crash leaves its core as '" + pattern + "'"};
    return {
        State::Note, "cores",
        "a crash leaves no core; only its report in the log remains. Set 'ulimit -c unlimited'"};
}

Finding checkTracing()
{
    const std::string scope = readLine("/proc/sys/kernel/yama/ptrace_scope");
    if (scope.empty() || scope == "0")
        return {State::Good, "ptrace", "a debugger may attach to processes of the same user"};
    if (scope == "1")
        return {State::Note, "ptrace",
                "a debugger may start a program, but attach as root only (ptrace_scope 1)"};
    return {State::Note, "ptrace",
            "a debugger works for root only, or not at all (ptrace_scope " + scope + ")"};
}

Finding checkSystemLog()
{
    struct stat status = {};
    const bool isThere = ::stat("/dev/log", &status) == 0 && S_ISSOCK(status.st_mode);
    if (isThere) return {State::Good, "system log", "/dev/log is there"};
    return {State::Note, "system log", "there is no /dev/log; reports with a tag don't reach it"};
}

}  // namespace

std::vector<Finding> checkMachine()
{
    return {checkLocale(), checkLockFolder(), checkDescriptors(), checkTemporaryFolder(),
            checkProc(),   checkCores(),      checkTracing(),     checkSystemLog()};
}

}  // namespace qzdoctor
