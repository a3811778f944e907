// SPDX-License-Identifier: MIT
// The calls of the system.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "parents.h"

namespace bench {

namespace {

pid_t spawn(const Command& command, const posix_spawn_file_actions_t* actions)
{
    std::vector<char*> arguments;
    for (const std::string& text : command)
        arguments.push_back(const_cast<char*>(text.c_str()));
    arguments.push_back(nullptr);
    pid_t pid = -1;
    ::posix_spawn(&pid, arguments[0], actions, nullptr, arguments.data(), ::environ);
    return pid;
}

bool isGood(pid_t pid)
{
    int status = -1;
    return ::waitpid(pid, &status, 0) == pid && status == 0;
}

bool run(const Command& command)
{
    return isGood(spawn(command, nullptr));
}

std::string capture(const Command& command)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return {};
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    const pid_t pid = spawn(command, &actions);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    std::string output;
    std::vector<char> buffer(65536);
    ssize_t count = 0;
    while ((count = ::read(ends[0], buffer.data(), buffer.size())) > 0)
        output.append(buffer.data(), static_cast<std::size_t>(count));
    ::close(ends[0]);
    return isGood(pid) ? output : std::string();
}

const Peer<run, capture> kSystem("posix_spawn");

}  // namespace

}  // namespace bench
