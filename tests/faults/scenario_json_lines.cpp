// SPDX-License-Identifier: MIT
// Entries are written as JSON lines to a file in a missing folder, in two batches.

#include <filesystem>
#include <fstream>
#include <string>

#include <qz/ext/LogTools.h>
#include <qz/qzLog.h>

#include "faults/Scenario.h"
#include "support/LibraryStart.h"

namespace {

namespace fs = std::filesystem;

qz::qzLog::LogEntry makeEntry(const std::string& message)
{
    qz::qzLog::LogEntry entry;
    entry.message = message;
    entry.type = qz::qzLog::Info;
    entry.computeLogPrefix(true);
    return entry;
}

const char* takeEntry(qz::ext::LogOutlet& outlet, const qz::qzLog::LogEntry& entry)
{
    return outlet.take(entry) ? "taken" : "lost";
}

// How many whole lines the file has.
long countLines(const fs::path& path)
{
    std::ifstream file(path);
    std::string line;
    long count = 0;
    while (std::getline(file, line))
        count += line.front() == '{' && line.back() == '}' ? 1 : 0;
    return count;
}

std::string write(const std::string& scratchFolder)
{
    const fs::path folder = fs::path(scratchFolder) / "json";
    fs::remove_all(folder);
    const qz::qzLog::LogEntry first = makeEntry("first");
    const qz::qzLog::LogEntry second = makeEntry("second");
    std::string outcome;
    {
        const qz::faults::Watch watch;
        qz::ext::JsonLinesOutlet outlet((folder / "all.json").string());
        outcome = takeEntry(outlet, first);
        outlet.endBatch();
        outcome = outcome + ", " + takeEntry(outlet, second);
        outlet.endBatch();
    }
    return outcome + ", lines: " + std::to_string(countLines(folder / "all.json"));
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library(qz::LightInit);
    return qz::faults::runScenario(argumentCount, arguments, &write);
}
