// SPDX-License-Identifier: MIT
// A watchdog with a limit of 0 ends the process. An exit handler prints the outcome.

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <system_error>

#include <qz/MemoryWatchDog.h>

#include "faults/Scenario.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace {

std::optional<qz::faults::Watch> gWatch;
std::optional<qz::support::LogCapture> gCapture;
std::size_t gDescriptorsBefore = 0;

// Runs on the watchdog's thread, unless there is none.
void printOutcome()
{
    if (!gWatch) return;
    gWatch.reset();
    const std::size_t reports = gCapture->getMessages().size();
    const std::size_t keptDescriptors = qz::support::countOpenDescriptors() - gDescriptorsBefore;
    std::cout << "outcome: reports " << reports << ", ended\n"
              << "descriptors kept: " << keptDescriptors << std::endl;
}

std::string work(const std::string& /*folder*/)
{
    gCapture.emplace();
    gDescriptorsBefore = qz::support::countOpenDescriptors();
    gWatch.emplace();
    std::string outcome;
    try {
        std::atexit(&printOutcome);
        const qz::MemoryWatchDog watchDog("low", /*thresholdMiB=*/0, /*exitCode=*/0);
        for (;;)
            ::pause();
    } catch (const std::system_error& error) {
        outcome = std::string("not started: ") + error.what();
    }
    gWatch.reset();
    return outcome;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library(qz::FullInit);
    return qz::faults::runScenario(argumentCount, arguments, &work);
}
