// SPDX-License-Identifier: MIT
// A child with one job, for the tests of processes. The job is the first argument:
//
//   exit CODE          ends with the code
//   signal NUMBER      ends by the signal's default action, without a core dump
//   core               ends by SIGSEGV, with a core dump where the system makes one
//   arguments ...      prints its arguments, argument 0 first, each in brackets
//   environment        prints its environment, a variable a line
//   folder             prints its working folder
//   nice               prints its nice value
//   sleep MS CODE      ends with the code after a time
//   wait-for PATH      ends when the file is there
//   ignore-term PATH   ignores SIGTERM, makes the file, and sleeps
//   hold PATH          makes the file, and sleeps
//   parent PATH        writes its parent's process id to the file, once the first parent has ended

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "support/Files.h"
#include "support/Waiting.h"

namespace {

void sleepMs(int timeMs)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(timeMs));
}

int endBySignal(int number)
{
    ::signal(number, SIG_DFL);
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_UNBLOCK, &all, nullptr);
    ::raise(number);
    return 99;
}

int dumpCore()
{
    rlimit limit = {};
    ::getrlimit(RLIMIT_CORE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_CORE, &limit);
    return endBySignal(SIGSEGV);
}

int holdOn(const std::string& path)
{
    qz::support::writeFile(path, "");
    sleepMs(120'000);
    return 0;
}

int writeParent(const std::string& path)
{
    const pid_t first = ::getppid();
    // Whoever has no parent left of those that could end has been taken over already.
    qz::support::waitUntil([first] { return ::getppid() != first; }, std::chrono::seconds(2));
    qz::support::writeFile(path + ".new", std::to_string(::getppid()));
    std::filesystem::rename(path + ".new", path);
    return 0;
}

int run(const std::string& job, const std::vector<std::string>& arguments)
{
    const std::string first = arguments.size() > 2 ? arguments[2] : "";
    if (job == "exit") return std::stoi(first);
    if (job == "signal") {
        const rlimit noCore{0, 0};
        ::setrlimit(RLIMIT_CORE, &noCore);
        return endBySignal(std::stoi(first));
    }
    if (job == "core") return ::chdir(first.c_str()) == 0 ? dumpCore() : 98;
    if (job == "arguments") {
        for (const std::string& argument : arguments)
            std::cout << '[' << argument << "]\n";
    } else if (job == "environment") {
        for (char** variable = ::environ; *variable != nullptr; ++variable)
            std::cout << *variable << '\n';
    } else if (job == "folder") {
        std::cout << std::filesystem::current_path().string();
    } else if (job == "nice") {
        std::cout << ::getpriority(PRIO_PROCESS, 0);
    } else if (job == "sleep") {
        sleepMs(std::stoi(first));
        return std::stoi(arguments.at(3));
    } else if (job == "wait-for") {
        return qz::support::waitUntil([&] { return std::filesystem::exists(first); }) ? 0 : 1;
    } else if (job == "ignore-term") {
        ::signal(SIGTERM, SIG_IGN);
        return holdOn(first);
    } else if (job == "hold") {
        return holdOn(first);
    } else if (job == "parent") {
        return writeParent(first);
    } else {
        return 98;
    }
    return 0;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const std::vector<std::string> texts(arguments, arguments + argumentCount);
    return run(texts.size() > 1 ? texts[1] : "", texts);
}
