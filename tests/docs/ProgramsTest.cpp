// SPDX-License-Identifier: MIT
// The whole programs of the README, the guides and the headers run, and print what the pages say.
// They are built into this test; tools/doc_samples.py says how.

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "docs/Programs.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace qz::docs {

namespace {

using ::testing::ContainsRegex;

// What a program prints, as an extended regular expression. A program that isn't listed must only
// end with status 0.
const std::map<std::string, std::string> kOutputs = {
    {"README.1", "INFO\\(first\\) PID [0-9]+ .* : forty-two is 42\n$"},
    {"guide-buffers.1", "^5[0-9]{7} bytes, [0-9]+ of them in memory\n$"},
    {"guide-character-sets.1", "^[0-9]+ bytes\n$"},
    {"guide-config.1", "^8080\n$"},
    {"guide-containers.1", "[1-9][0-9]* processors.*\n.* : 1000000 roots\n$"},
    {"guide-devices.1", "^42 0.5 forty-two\n$"},
    {"guide-files.1", "^[0-9]+ rows, [0-9]+ bytes\n$"},
    {"guide-log.1",
     "^INFO PID [0-9]+ .* : ready after 12 ms\n"
     "WARNING\\(network\\) PID [0-9]+ .* : no answer: "
     "System error : '\\(110\\) ETIMEDOUT Connection timed out'\n$"},
    {"guide-log.2", "^1 warning\n$"},
    {"guide-start.1", "^[0-9]{4}-[0-9]{2}-[0-9]{2}"},
    {"guide-texts.1", "│ over three columns|and no others"},
    {"guide-threads.1", "INFO .* : hello from thread [0-9]+\n"},
    {"guide-values.1", "name: STRING north\n(.*\n)*m/s\n"},
};

class ProgramTest : public ::testing::TestWithParam<Program> {
protected:
    // Folders of the system, as the programs see them.
    ProgramTest()
    {
        for (const char* name : {"tmp", "var/tmp", "var/log/shop"})
            std::filesystem::create_directories(mFolder.getPath(name));
    }

    support::ScratchFolder mFolder;
};

TEST_P(ProgramTest, RunsAsThePageSays)
{
    const support::ChildResult result = support::runInChild([&] {
        if (::chdir(mFolder.getPath().c_str()) != 0) return 100;
        return GetParam().run();
    });
    EXPECT_EQ(result.getEnd(), "exit 0") << result.out << result.err;
    const auto expected = kOutputs.find(GetParam().name);
    if (expected == kOutputs.end()) return;
    EXPECT_THAT(result.out, ContainsRegex(expected->second));
}

std::string getTestName(const ::testing::TestParamInfo<Program>& row)
{
    std::string name = row.param.name;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '.' || c == '-' || c == '/'; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Pages, ProgramTest, ::testing::ValuesIn(getPrograms()), getTestName);

TEST(Programs, HaveTheNamesOfTheExpectedOutputs)
{
    for (const auto& expected : kOutputs) {
        const auto isIt = [&](const Program& program) { return program.name == expected.first; };
        EXPECT_TRUE(std::any_of(getPrograms().begin(), getPrograms().end(), isIt))
            << expected.first;
    }
}

}  // namespace

// gtest shows the parameter of a test that fails.
void PrintTo(const Program& program, std::ostream* out)
{
    *out << program.name;
}

}  // namespace qz::docs
