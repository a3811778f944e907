// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/ext/CrashReport.h>
#include <qz/qzSystem.h>

#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz::ext {

/// Runs tests/programs/crashes.cpp with its files in a folder of its own, and reads what is left
/// there.
class CrashTest : public ::testing::Test {
protected:
    /// Starts the program with its steps. Only a hang reaches the limit.
    support::ChildResult run(const std::vector<std::string>& steps)
    {
        support::ProgramRun program;
        program.program = "crashes";
        program.arguments = {mFolder.getPath()};
        program.arguments.insert(program.arguments.end(), steps.begin(), steps.end());
        program.environment = mEnvironment;
        return support::runProgram(program);
    }

    /// The names of the reports in the folder.
    std::vector<std::string> listFiles() const
    {
        std::vector<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(mFolder.getPath())) {
            if (entry.path().extension() == ".qzcrash") files.push_back(entry.path().string());
        }
        return files;
    }

    /// The one report in the folder; empty if there is not exactly one.
    CrashReport readOnlyFile() const
    {
        CrashReport report;
        const std::vector<std::string> files = listFiles();
        EXPECT_EQ(files.size(), 1U);
        if (files.size() != 1) return report;
        SystemFailure failure;
        EXPECT_TRUE(readCrashReport(files[0], report, &failure)) << failure.toString();
        return report;
    }

    /// Whether an entry of the report has this text in it.
    static bool hasEntry(const CrashReport& report, const std::string& text)
    {
        for (const std::string& entry : report.entries) {
            if (entry.find(text) != std::string::npos) return true;
        }
        return false;
    }

    const support::LibraryStart mLibrary;
    const support::ScratchFolder mFolder;
    std::map<std::string, std::optional<std::string>> mEnvironment;
};

}  // namespace qz::ext
