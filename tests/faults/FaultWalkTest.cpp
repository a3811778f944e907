// SPDX-License-Identifier: MIT
// Runs each scenario with each of its system calls, and each of its allocations, failing once.

#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/SystemError.h>

#include "TestPaths.h"
#include "faults/FaultTables.h"
#include "faults/Scenario.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace qz::faults {

using support::ChildResult;
using support::ScratchFolder;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsSubsetOf;
using ::testing::IsSupersetOf;

std::string describe(int error)
{
    return SystemError(error).toString();
}

// Shown when a test fails.
void PrintTo(const FaultTable& table, std::ostream* out)
{
    *out << table.name;
}

namespace {

using Outcomes = std::set<std::string>;

const std::string kSystemLocale = "C.UTF-8";  // each machine has it

std::vector<FaultTable> getFaultTables()
{
    return {
        getStartStopFaults(),     getThreadsFaults(),      getPoolFaults(),
        getCharsetFaults(),       getLogDispatchFaults(),  getLogFileFaults(),
        getFileDeviceFaults(),    getFilesFaults(),        getTraversalFaults(),
        getResolverFaults(),      getDataStreamFaults(),   getFilterChainFaults(),
        getBuffersFaults(),       getIniFileFaults(),      getCsvFaults(),
        getProcessesFaults(),     getChildProcessFaults(), getPipesFaults(),
        getLockFilesFaults(),     getFileLockFaults(),     getPipeChannelFaults(),
        getCheckedStreamFaults(), getSecureRandomFaults(), getSafeFilesFaults(),
        getRemoveTreeFaults(),    getWatcherFaults(),      getWatchdogFaults(),
        getWatchdogExitFaults(),  getJsonLinesFaults(),
    };
}

struct Fault {
    std::string call = {};
    long occurrence = 0;
    int error = 0;
};

// The environment under which a scenario runs with the preload library.
std::map<std::string, std::optional<std::string>> makeEnvironment(const FaultTable& scenario)
{
    const char* asanOptions = std::getenv("ASAN_OPTIONS");
    const std::string ahead = asanOptions != nullptr ? std::string(asanOptions) + ":" : "";
    std::map<std::string, std::optional<std::string>> environment = {
        {"LC_ALL", scenario.locale},
        {"TZ", "UTC0"},
        // It takes a library before its own for a mistake.
        {"ASAN_OPTIONS", ahead + "verify_asan_link_order=0"}};
    // Only where it's needed: glibc leaks a text that it makes from it, and to look up who has
    // leaked takes a sanitizer longer than the whole run.
    if (scenario.locale != kSystemLocale) environment["LOCPATH"] = QZ_TEST_LOCPATH;
    return environment;
}

// Runs a scenario with a temporary folder of its own: one that ends by `exit` doesn't remove its
// folder.
ChildResult runInScratchFolder(support::ProgramRun run)
{
    const ScratchFolder folder;
    run.environment["TMPDIR"] = folder.getPath();
    return runProgram(run);
}

ChildResult runScenario(const FaultTable& scenario, const std::string& argument)
{
    support::ProgramRun run;
    run.program = std::string(QZ_TEST_SCENARIOS_DIR "/scenario_") + scenario.name;
    run.environment = makeEnvironment(scenario);
    run.arguments = {argument};
    return runInScratchFolder(run);
}

ChildResult runWithFault(const FaultTable& scenario, const Fault& fault,
                         const std::string& countsPath)
{
    support::ProgramRun run;
    run.program = std::string(QZ_TEST_SCENARIOS_DIR "/scenario_") + scenario.name;
    run.environment = makeEnvironment(scenario);
    // By its name, as blanks separate the libraries of LD_PRELOAD.
    const std::filesystem::path library = QZ_TEST_FAULTS_LIBRARY;
    run.environment["LD_LIBRARY_PATH"] = library.parent_path();
    run.environment["LD_PRELOAD"] = library.filename();
    run.environment["QZ_FAULT_CALL"] = fault.call;
    run.environment["QZ_FAULT_OCCURRENCE"] = std::to_string(fault.occurrence);
    run.environment["QZ_FAULT_ERRNO"] = std::to_string(fault.error);
    run.environment["QZ_FAULT_COUNTS"] = countsPath;
    return runInScratchFolder(run);
}

// The outcomes that a run printed; a run that crashed or kept a descriptor reads differently.
Outcomes takeOutcomes(const ChildResult& result)
{
    Outcomes outcomes;
    std::istringstream lines(result.out);
    std::string line;
    std::string last;
    const std::string mark = "outcome: ";
    while (std::getline(lines, line)) {
        if (line.rfind(mark, 0) == 0) outcomes.insert(line.substr(mark.size()));
        last = line;
    }
    if (result.getEnd() != "exit 0") outcomes.insert(result.getEnd() + ' ' + result.err);
    if (last != "descriptors kept: 0") outcomes.insert(last);
    return outcomes;
}

std::map<std::string, long> countCalls(const FaultTable& scenario)
{
    const ScratchFolder folder;
    runWithFault(scenario, Fault(), folder.getPath("counts"));
    std::map<std::string, long> counts;
    std::istringstream lines(folder.read("counts"));
    std::string call;
    long count = 0;
    while (lines >> call >> count)
        counts[call] = count;
    return counts;
}

class FaultWalk : public ::testing::TestWithParam<FaultTable> {};

TEST_P(FaultWalk, FindsTheGoodOutcomeWithoutAFault)
{
    EXPECT_THAT(takeOutcomes(runWithFault(GetParam(), Fault(), "/dev/null")),
                ElementsAre(GetParam().goodOutcome));
}

TEST_P(FaultWalk, KnowsEachCallOfTheScenario)
{
    std::set<std::string> calls;
    for (const auto& [call, count] : countCalls(GetParam())) {
        calls.insert(call);
    }
    std::set<std::string> known;
    for (const CallRow& row : GetParam().calls) {
        known.insert(row.call);
    }
    EXPECT_THAT(calls, IsSubsetOf(known));
}

TEST_P(FaultWalk, FindsTheOutcomesOfItsTableWhenACallFails)
{
    std::map<std::string, long> counts = countCalls(GetParam());
    long faults = 0;
    for (const CallRow& row : GetParam().calls) {
        Outcomes outcomes;
        for (long occurrence = 1; occurrence <= counts[row.call]; ++occurrence) {
            const Fault fault{row.call, occurrence, row.error};
            outcomes.merge(takeOutcomes(runWithFault(GetParam(), fault, "/dev/null")));
            ++faults;
        }
        const Outcomes required(row.must.begin(), row.must.end());
        Outcomes allowed = required;
        allowed.insert(row.may.begin(), row.may.end());
        EXPECT_THAT(outcomes, IsSupersetOf(required)) << row.call;
        EXPECT_THAT(outcomes, IsSubsetOf(allowed)) << row.call;
    }
    RecordProperty("count", std::to_string(faults));
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultWalk, ::testing::ValuesIn(getFaultTables()),
                         [](const auto& row) { return std::string(row.param.name); });

// What a log object's destructor can't allocate ends the process, so that scenario is not here.
std::vector<FaultTable> getTablesOfAllocations()
{
    std::vector<FaultTable> tables;
    for (const FaultTable& table : getFaultTables()) {
        if (!table.allocations.empty()) tables.push_back(table);
    }
    return tables;
}

class AllocationWalk : public ::testing::TestWithParam<FaultTable> {};

// A sanitizer keeps the malloc family from failing, so that some outcomes stay away under it.
TEST_P(AllocationWalk, FindsOutcomesOfItsTableOnly)
{
    const ChildResult result = runScenario(GetParam(), "--allocations");
    const Outcomes outcomes = takeOutcomes(result);
    EXPECT_THAT(outcomes, IsSubsetOf(GetParam().allocations));
    EXPECT_THAT(outcomes, Contains("std::bad_alloc"));
    const std::size_t count = result.out.find(kFailedAllocations);
    ASSERT_NE(count, std::string::npos);
    RecordProperty("count", std::stoi(result.out.substr(count + kFailedAllocations.size())));
}

INSTANTIATE_TEST_SUITE_P(Scenarios, AllocationWalk, ::testing::ValuesIn(getTablesOfAllocations()),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace

}  // namespace qz::faults
