// SPDX-License-Identifier: MIT
#include "support/SmallDisk.h"

#include <fstream>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace qz::support {

namespace {

bool writeMap(const char* path, const std::string& content)
{
    std::ofstream stream(path);
    stream << content;
    return stream.flush().good();
}

}  // namespace

// A mount of one's own requires a user of one's own.
bool mountSmallDisk(const std::string& folder, const std::string& size)
{
    const std::string user = "0 " + std::to_string(::getuid()) + " 1";
    const std::string group = "0 " + std::to_string(::getgid()) + " 1";
    const std::string options = "size=" + size;
    return ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && writeMap("/proc/self/uid_map", user) &&
           writeMap("/proc/self/setgroups", "deny") && writeMap("/proc/self/gid_map", group) &&
           ::mount("none", folder.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

}  // namespace qz::support
