// SPDX-License-Identifier: MIT
#include "SignalRun.h"

#include <unistd.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <regex>
#include <sstream>

#include "support/ChildProcess.h"

namespace qz {

namespace {

// Gives a line of the log as "TYPE message", with "SELF" for the process, "MAIN" for its main
// thread and "PARENT" for its parent, and "#" for a size. Any other line stays as it is.
std::string simplifyLogLine(const std::string& line, const RunIds& ids)
{
    const std::size_t end = line.find(" : ");
    if (line.empty() || line[0] < 'A' || line[0] > 'Z' || end == std::string::npos) return line;
    std::string text = line.substr(0, line.find(' ')) + line.substr(end + 2);
    // Three significant digits, and one decimal at most.
    const std::regex ram("used RAM ([0-9]{1,3}|1[0-9]{3}|[0-9]{1,2}\\.[0-9])[kMG]B");
    text = std::regex_replace(text, ram, "used RAM #B");
    text = std::regex_replace(text, std::regex("PPID " + ids.parent + "\\b"), "PPID PARENT");
    text = std::regex_replace(text, std::regex("TID " + ids.pid + "\\b"), "TID MAIN");
    return std::regex_replace(text, std::regex("PID " + ids.pid + "\\b"), "PID SELF");
}

// The environment with options for the sanitizers' runtimes, whose own handlers would stand in for
// the default actions of the system.
std::map<std::string, std::optional<std::string>> getEnvironmentWithoutOtherHandlers()
{
    std::map<std::string, std::optional<std::string>> environment;
    for (const char* const name : {"ASAN_OPTIONS", "TSAN_OPTIONS"}) {
        const char* const options = std::getenv(name);
        environment[name] = std::string(options != nullptr ? options : "") +
                            ":handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0"
                            ":handle_abort=0";
    }
    return environment;
}

}  // namespace

void sortLines(const std::string& text, const RunIds& ids, SignalRun& run)
{
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line.rfind("[ids", 0) == 0) continue;
        const bool isTrace = line.rfind("\t ", 0) == 0;
        (isTrace ? run.trace : run.lines).push_back(isTrace ? line : simplifyLogLine(line, ids));
    }
}

SignalRun runSignals(std::vector<std::string> steps)
{
    steps.insert(steps.begin(), "ids");
    const support::ChildResult result =
        support::runProgram({.program = "signals",
                             .arguments = steps,
                             .environment = getEnvironmentWithoutOtherHandlers(),
                             .timeoutSec = 120});
    SignalRun run;
    run.end = result.getEnd();
    std::smatch found;
    std::regex_search(result.out, found, std::regex("\\[ids ([0-9]+) [0-9]+ ([0-9]+) "));
    std::string text = result.out;
    for (std::size_t at = 0; (at = text.find("[runtime_error Got", at)) != std::string::npos; ++at)
        text.replace(at, 15, "EXCEPTION : ");  // to be simplified like a line of the log
    sortLines(text, {found[1], found[2]}, run);
    return run;
}

std::string makeOrigin(const std::string& from, const std::string& uid, const std::string& thread)
{
    return ", from PID " + from + ", PID SELF TID " + thread +
           ", PPID PARENT, used RAM #B, sent by UID " + uid;
}

std::string getUid()
{
    return std::to_string(::getuid());
}

std::string makeText(const std::string& signalText)
{
    return "Got signal " + signalText + " (SI_TKILL )" + makeOrigin("SELF", getUid());
}

std::string makeInfo(const std::string& signalText)
{
    return "INFO " + makeText(signalText);
}

std::string hideAddress(const std::string& line)
{
    const std::string text =
        std::regex_replace(line, std::regex("from PID [-A-Z0-9]+"), "from PID #");
    return std::regex_replace(text, std::regex("by UID [0-9]+"), "by UID #");
}

std::string fillIn(const std::string& pattern, const std::string& number)
{
    return std::regex_replace(pattern, std::regex("#"), number);
}

}  // namespace qz
