// SPDX-License-Identifier: MIT
#include "faults/Scenario.h"

#include <locale.h>

#include <filesystem>
#include <iostream>
#include <set>
#include <system_error>

#include <qz/qzLog.h>

#include "support/Allocations.h"
#include "support/Files.h"
#include "support/ScratchFolder.h"

// The preload library defines it.
extern "C" void qzFaultsWatch(int change) __attribute__((weak));

namespace qz::faults {

namespace {

const char* const kBadAlloc = "std::bad_alloc";

void printOutcome(const std::string& outcome)
{
    std::cout << "outcome: " << outcome << '\n';
}

// glibc takes a locale whose loading failed once for one that doesn't exist, as long as the process
// lives. While it is in use it is not loaded again.
class HeldLocale {
public:
    ~HeldLocale()
    {
        if (mLocale != nullptr) ::freelocale(mLocale);
    }

private:
    locale_t mLocale = ::newlocale(LC_ALL_MASK, "", nullptr);
};

void failAllocations(Work work, const std::string& folder)
{
    const std::string goodOutcome = work(folder);
    std::set<std::string> outcomes;
    std::string outcome;
    outcome.reserve(4096);  // taking an outcome over must not allocate
    const std::size_t count = support::failEachAllocation(
        [&] { outcome.assign(work(folder)); },
        [&](const support::AllocationFailure& failure) {
            outcomes.insert(failure.threwBadAlloc ? kBadAlloc : outcome);
            const std::string again = work(folder);
            if (again == goodOutcome) return;
            outcomes.insert("again, after " + std::to_string(failure.number) + ": " + again);
        });
    if (count == 0) printOutcome("no allocation");
    std::cout << kFailedAllocations << count << '\n';
    for (const std::string& line : outcomes)
        printOutcome(line);
}

}  // namespace

Watch::Watch()
{
    if (qzFaultsWatch != nullptr) qzFaultsWatch(1);
}

Watch::~Watch()
{
    if (qzFaultsWatch != nullptr) qzFaultsWatch(-1);
}

std::string watchStart(std::string (*body)())
{
    const Watch watch;
    try {
        return body();
    } catch (const std::system_error& error) {
        return std::string("not started: ") + error.what();
    }
}

std::string makeFreshPath(const std::string& folder)
{
    const support::AllocationPause ownWork;
    std::string path = folder + "/file";
    std::filesystem::remove(path);
    return path;
}

int runScenario(int argumentCount, char** arguments, Work work)
{
    const HeldLocale locale;
    // The log thread opens its converters when it starts, which is no part of the work.
    if (qzLog::msInstance != nullptr) qzLog::msInstance->flush();
    const support::ScratchFolder folder;
    const std::size_t descriptorsBefore = support::countOpenDescriptors();
    if (argumentCount == 2 && std::string(arguments[1]) == "--allocations") {
        failAllocations(work, folder.getPath());
    } else {
        printOutcome(work(folder.getPath()));
    }
    std::cout << "descriptors kept: " << support::countOpenDescriptors() - descriptorsBefore
              << '\n';
    return 0;
}

}  // namespace qz::faults
