// SPDX-License-Identifier: MIT
// Reports of several kinds on their way to the console, the system log and a custom handler.

#include <chrono>
#include <iostream>
#include <list>
#include <string>
#include <thread>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystemUtils.h>

#include "faults/Scenario.h"
#include "support/LibraryStart.h"

namespace {

using qz::qzLog;

// What the handler saw. It allocates nothing, so that no failure is its own.
struct Seen {
    int entries = 0;
    int dated = 0;  // with the time of their construction
    int timed = 0;  // with a local time in their prefix
};

void look(std::list<qzLog::LogEntry>& batch, void* data)
{
    auto* seen = static_cast<Seen*>(data);
    for (const qzLog::LogEntry& entry : batch) {
        ++seen->entries;
        seen->dated += entry.timeMs != 0 ? 1 : 0;
        seen->timed += entry.prefix.find("+0000 ") != std::string::npos ? 1 : 0;
    }
}

// One road each: the plain one, by the system log, with a thread id, and switched off.
void report()
{
    qz::logInfo("channel") << "a report of some length, so that its text is allocated " << 1;
    // Writer and log thread both make the time's text: which of the two fails is not left to
    // chance.
    qzLog::msInstance->flush();
    qz::logWarning(nullptr, "faults") << "a report that goes to the system log too: " << 2.5;
    qz::logDebug("channel") << "a report that carries the thread and is long as well " << 3UL;
    qz::logTrace("channel") << "switched off";
}

struct Handler {
    explicit Handler(Seen& seen) { qzLog::msInstance->installCustomHandler(&look, &seen); }
    ~Handler() { qzLog::msInstance->installCustomHandler(nullptr, nullptr); }
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;
};

// The log makes the text of a time once a second; a run is to see one second only.
void awaitRoomInTheSecond()
{
    while (qz::qzSystemUtils::GetMSecElapsedSinceEpoch() % 1000 > 900) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

std::string dispatch(const std::string& /*folder*/)
{
    Seen seen;
    awaitRoomInTheSecond();
    {
        const qz::faults::Watch watch;
        const Handler handler(seen);
        report();
    }
    const bool isConsoleGood = std::cout.good();
    std::cout.clear();
    return "entries " + std::to_string(seen.entries) + ", dated " + std::to_string(seen.dated) +
           ", timed " + std::to_string(seen.timed) +
           (isConsoleGood ? ", console good" : ", console bad");
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library(qz::FullInit);
    qzLog::msInstance->setLogLevel(qz::LogLevelDebug);
    qzLog::msInstance->flush();  // the log's thread has come up, and a sanitizer knows it
    return qz::faults::runScenario(argumentCount, arguments, &dispatch);
}
