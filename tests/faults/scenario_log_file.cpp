// SPDX-License-Identifier: MIT
// A log file that is installed over an earlier one, filled, rotated once and given up again, on the
// thread that reports.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "faults/Scenario.h"
#include "support/LibraryStart.h"

namespace {

namespace fs = std::filesystem;
using qz::qzLog;

constexpr int kAppend = 0;
constexpr int kKeepAll = -1;
constexpr long kRoomForALine = 110;

void prepare(const fs::path& folder)
{
    fs::remove_all(folder);
    fs::create_directories(folder);
    std::ofstream(folder / "app.log") << "from earlier\n";
}

// Two lines are more than a file may hold, and one isn't.
void report(int number)
{
    qz::logInfo("channel") << "line " << number << " of a log that is rotated when it is full";
}

void fill(const fs::path& folder)
{
    const qz::faults::Watch watch;
    qzLog& log = *qzLog::msInstance;
    log.installFileHandlerExUtf8((folder / "app.log").string(), kAppend, kRoomForALine, kKeepAll,
                                 qzLog::RotateNever);
    for (int i = 1; i <= 3; ++i)
        report(i);
    log.removeFileHandler();
}

std::string readAll(const fs::path& folder)
{
    std::string text;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        std::ifstream file(entry.path());
        text.append(std::istreambuf_iterator<char>(file), {});
    }
    return text;
}

// What the files hold in the end; what isn't there has gone to the console, or nowhere.
std::string write(const std::string& scratchFolder)
{
    const fs::path folder = fs::path(scratchFolder) / "log";
    prepare(folder);
    fill(folder);
    const std::string text = readAll(folder);
    std::string outcome = "in files:";
    for (const char* piece : {"from earlier", "line 1", "line 2", "line 3"}) {
        if (text.find(piece) != std::string::npos) outcome += std::string(" ") + piece + ",";
    }
    return outcome;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library(qz::LightInit);
    return qz::faults::runScenario(argumentCount, arguments, &write);
}
