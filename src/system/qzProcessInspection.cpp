// SPDX-License-Identifier: MIT
#include <climits>
#include <cstring>
#include <utility>

#include <unistd.h>

#include <qz/qzProcess.h>

#include "ProcessState.h"
#include "frame/base/FileDescriptor.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

constexpr std::size_t kCommandLineSize = 10'240;

// Reads once, up to `size` bytes. @return false if the file can't be opened.
bool readHead(const std::string& path, std::size_t size, std::string& head)
{
    head.clear();
    const FileDescriptor file = FileDescriptor::Open(path.c_str(), O_RDONLY);
    if (!file.isOpen()) return false;
    head.resize(size);
    const ssize_t got = file.read(head.data(), size);
    head.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return true;
}

std::string toProgram(const std::string& executableHead)
{
    return text::fromLocal(text::endAtZeroByte(executableHead));
}

std::vector<std::string> readEnvironment()
{
    std::vector<std::string> variables;
    if (::environ == nullptr) return variables;
    for (char** variable = ::environ; *variable != nullptr; ++variable)
        variables.push_back(text::fromLocal(*variable));
    return variables;
}

// Each argument ends with a zero byte; one that is empty ends the list.
std::vector<std::string> splitArguments(const std::string& block)
{
    std::vector<std::string> arguments;
    for (std::size_t start = 0; start < block.size() && block[start] != '\0';) {
        std::string argument(block, start, block.find('\0', start) - start);
        start += argument.size() + 1;
        arguments.push_back(text::fromLocal(argument));
    }
    return arguments;
}

}  // namespace

bool qzProcess::GetCurrentProcess(qzProcess& process)
{
    process.updateProcessState();
    Impl& impl = *process.mImpl;
    if (impl.state == Running) return false;
    char folder[PATH_MAX];
    if (::getcwd(folder, sizeof folder) == nullptr) return false;
    // Compatibility: this opens the executable and doesn't read the link to it.
    std::string executableHead;
    if (!readHead("/proc/self/exe", PATH_MAX, executableHead)) return false;
    std::string commandLine;
    readHead("/proc/self/cmdline", kCommandLineSize, commandLine);

    std::vector<std::string> environment = readEnvironment();
    std::vector<std::string> arguments = splitArguments(commandLine);
    std::string program = toProgram(executableHead);
    impl.workingDirectory = text::fromLocal(folder);
    if (!executableHead.empty()) impl.program = std::move(program);
    impl.environment = std::move(environment);
    if (!commandLine.empty()) impl.arguments = std::move(arguments);
    impl.state = Running;
    impl.setPid(::getpid());
    impl.started = true;
    impl.currentProcess = true;
    impl.crashed = false;
    impl.killed = false;
    impl.parentProcess = false;
    return true;
}

void qzProcess::GetParentProcess(qzProcess& process)
{
    Impl& impl = *process.mImpl;
    impl.crashed = false;
    impl.started = false;
    impl.detached = false;
    impl.currentProcess = false;
    impl.waitOnDestroy = false;
    impl.state = Finished;
    impl.exitCode = 0;
    impl.setPid(::getppid());
    impl.parentProcess = true;
    if (impl.pid != 0) {
        std::string executableHead;
        readHead("/proc/" + std::to_string(impl.pid) + "/exe", PATH_MAX, executableHead);
        if (!executableHead.empty()) impl.program = toProgram(executableHead);
    }
    impl.arguments.clear();
    impl.started = true;
    impl.state = Running;
    process.updateProcessState();
}

}  // namespace qz
