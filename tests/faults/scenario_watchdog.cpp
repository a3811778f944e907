// SPDX-License-Identifier: MIT
// A watchdog with a high limit of memory is started, switched off and on, and ended.

#include <string>

#include <qz/MemoryWatchDog.h>

#include "faults/Scenario.h"
#include "support/LibraryStart.h"

namespace {

constexpr unsigned long kHighMiB = 1UL << 40;

std::string watch()
{
    qz::MemoryWatchDog watchDog("high", kHighMiB, 1);
    std::string outcome = watchDog.isMonitoringEnabled() ? "on" : "not on";
    watchDog.setMonitoringEnabled(false);
    outcome += watchDog.isMonitoringEnabled() ? ", still on" : ", off";
    watchDog.setMonitoringEnabled(true);
    return outcome + (watchDog.isMonitoringEnabled() ? ", on" : ", not on again");
}

std::string work(const std::string& /*folder*/)
{
    return qz::faults::watchStart(&watch);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library(qz::FullInit);
    return qz::faults::runScenario(argumentCount, arguments, &work);
}
