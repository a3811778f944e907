// SPDX-License-Identifier: MIT
// Counts how often a start is misjudged:
//
//   start_judgement KIND COUNT light|full [MEMORY_MB [BUSY]]
//
// KIND is missing (a program that isn't there), ends (one that ends at once), runs (one that runs
// on for a while) or detached (one that isn't there, started detached). This process holds that
// much memory, beside as many busy processes. Prints a line of figures; the exit code is 1 if any
// start was misjudged.

#include <algorithm>
#include <chrono>
#include <iostream>
#include <string>
#include <vector>

#include <qz/qzProcess.h>

#include "support/BusyProcesses.h"
#include "support/LibraryStart.h"

namespace {

using qz::qzProcess;
using Clock = std::chrono::steady_clock;

constexpr unsigned int kLongMs = 120'000;

bool isJudgedRight(const std::string& kind)
{
    if (kind == "detached") return !qzProcess::StartDetachedUtf8("/no/such/program", {}, "", false);
    qzProcess process;
    if (kind == "missing") {
        process.startProcess("/no/such/program", {}, false, qzProcess::PriorityInherit);
        return process.hasFailedToStart();
    }
    const bool runs = kind == "runs";
    process.startProcess(runs ? "/bin/sleep" : "/bin/true", {"0.05"}, false,
                         qzProcess::PriorityInherit);
    const bool hasStarted = !process.hasFailedToStart();
    return process.waitForFinished(kLongMs) && hasStarted && !process.hasCrashed() &&
           process.exitCode() == 0;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount < 4) return 2;
    const std::string kind = arguments[1];
    const int count = std::stoi(arguments[2]);
    const std::string type = arguments[3];
    const std::size_t memoryMb = argumentCount > 4 ? std::stoul(arguments[4]) : 0;
    const qz::support::BusyProcesses load(argumentCount > 5 ? std::stoi(arguments[5]) : 0);
    const std::vector<char> memory(memoryMb << 20, 'x');
    const qz::support::LibraryStart library(type == "full" ? qz::FullInit : qz::LightInit);

    int misjudged = 0;
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        const auto start = Clock::now();
        if (!isJudgedRight(kind)) ++misjudged;
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    std::cout << misjudged << " of " << count << " misjudged; median " << times.at(times.size() / 2)
              << " ms, longest " << times.back() << " ms\n";
    return misjudged == 0 ? 0 : 1;
}
