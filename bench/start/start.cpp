// SPDX-License-Identifier: MIT
#include <spawn.h>
#include <sys/wait.h>

#include <qz/qzSystem.h>

#include "../support.h"

namespace bench {

namespace {

void measureLightStart(benchmark::State& state)
{
    for (auto _ : state) {
        qz::initializeQzSystem(qz::LightInit);
        qz::terminateQzSystem();
    }
}

void measureFullStart(benchmark::State& state)
{
    for (auto _ : state) {
        qz::initializeQzSystem(qz::FullInit);
        qz::terminateQzSystem();
    }
}

bool runProgram(std::string path)
{
    char* arguments[] = {path.data(), nullptr};
    char* environment[] = {nullptr};
    pid_t pid = 0;
    if (::posix_spawn(&pid, path.c_str(), nullptr, nullptr, arguments, environment) != 0)
        return false;
    int status = 0;
    return ::waitpid(pid, &status, 0) == pid && status == 0;
}

bool programsRun()
{
    return runProgram(BENCH_NOTHING "_qz") && runProgram(BENCH_NOTHING "_runtime") &&
           runProgram(BENCH_NOTHING "_bare");
}

void measureProgram(benchmark::State& state, const char* path)
{
    for (auto _ : state) {
        if (!runProgram(path)) state.SkipWithError("the program doesn't run");
    }
}

void measureWithLibrary(benchmark::State& state)
{
    measureProgram(state, BENCH_NOTHING "_qz");
}

void measureWithRuntime(benchmark::State& state)
{
    measureProgram(state, BENCH_NOTHING "_runtime");
}

void measureBare(benchmark::State& state)
{
    measureProgram(state, BENCH_NOTHING "_bare");
}

constexpr const char* kProgramRow = "a program that does nothing";
const Check kProgramsRun("the programs that do nothing", programsRun);
const Case kLight("light start and stop", "qz", measureLightStart);
const Case kFull("full start and stop", "qz", measureFullStart, Clock::Wall);
const Case kWithLibrary(kProgramRow, "qz", measureWithLibrary, Clock::Wall);
const Case kWithRuntime(kProgramRow, "C++ runtime alone", measureWithRuntime, Clock::Wall);
const Case kBare(kProgramRow, "bare", measureBare, Clock::Wall);

}  // namespace

}  // namespace bench
