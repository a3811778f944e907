// SPDX-License-Identifier: MIT
// Several processes on one log file; see programs/log_sharing.cpp and programs/log_first_lines.cpp.

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzDirUtils.h>

#include "log/LogLines.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::ChildResult;
using support::runProgram;
using support::ScratchFolder;

namespace {

constexpr int kProcesses = 4;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long kLines = 10000;
constexpr int kRounds = 50;
#else
constexpr long kLines = 100000;
constexpr int kRounds = 300;
#endif
constexpr long kFileSize = 400000;
constexpr long kMostOfALine = 100;

std::vector<std::string> listLogs(const std::string& folder)
{
    const support::LibraryStart library;
    std::vector<std::string> names;
    const std::vector<std::string> extensions = {".txt"};
    qzDirUtils::GlobFileAndFolderUtf8(folder, nullptr, &names, &extensions,
                                      qzDirUtils::GlobBareNames);
    return names;
}

}  // namespace

TEST(LogFileProcessesTest, FindEachLineOnceAndWholeOverAllRotations)
{
    const ScratchFolder folder;
    folder.write("shared", std::string(64, '\0'));
    std::vector<ChildResult> results(kProcesses);
    std::vector<std::thread> starters;
    for (int process = 0; process < kProcesses; ++process) {
        starters.emplace_back([&, process] {
            results[static_cast<std::size_t>(process)] =
                runProgram({.program = "log_sharing",
                            .arguments = {folder.getPath(), std::to_string(process),
                                          std::to_string(kProcesses), std::to_string(kLines),
                                          std::to_string(kFileSize)},
                            .environment = {{"TZ", "UTC0"}, {"LC_ALL", "C"}}});
        });
    }
    for (std::thread& starter : starters)
        starter.join();
    for (const ChildResult& result : results)
        ASSERT_EQ(result.getEnd(), "exit 0") << result.err << result.out;

    std::vector<std::vector<int>> found(kProcesses, std::vector<int>(kLines));
    const std::vector<std::string> names = listLogs(folder.getPath());
    EXPECT_GE(names.size(), 2U);
    for (const std::string& name : names) {
        const std::string content = folder.read(name);
        ASSERT_EQ(content.compare(0, 3, kByteOrderMark), 0) << name;
        EXPECT_EQ(content.rfind(kByteOrderMark), 0U) << name;
        // A file that was left had grown beyond the size, and by one line only: a whole batch is
        // written under the lock.
        const long size = static_cast<long>(content.size());
        EXPECT_TRUE(name == "log.txt" || size > kFileSize) << name << ' ' << size;
        EXPECT_LE(size, kFileSize + kMostOfALine) << name;
        for (const std::string& message : takeMessages(content.substr(3))) {
            int process = -1;
            long line = -1;
            ASSERT_EQ(std::sscanf(message.c_str(), "%d %ld", &process, &line), 2) << message;
            ++found.at(static_cast<std::size_t>(process)).at(static_cast<std::size_t>(line));
        }
    }
    for (std::size_t process = 0; process < kProcesses; ++process) {
        for (std::size_t line = 0; line < kLines; ++line)
            ASSERT_EQ(found[process][line], 1) << process << ' ' << line;
    }
}

// Not all of them share a lock for the folder: a process without a log thread has none.
TEST(LogFileProcessesTest, WriteOneByteOrderMarkIfTheyBeginAFileAtTheSameMoment)
{
    const ScratchFolder folder;
    const ChildResult result =
        runProgram({.program = "log_first_lines",
                    .arguments = {folder.getPath(), "4", std::to_string(kRounds)},
                    .timeoutSec = 1200});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "rounds " + std::to_string(kRounds) + '\n');
}

}  // namespace qz
