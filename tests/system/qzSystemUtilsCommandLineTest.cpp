// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzSystemUtils.h>

#include "TestPaths.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::ChildResult;
using support::ProgramRun;
using support::ScratchFolder;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::string_literals;

namespace {

const std::string kProgram = QZ_TEST_PROGRAMS_DIR "/command_line";

// How the program prints its arguments.
std::string print(const std::vector<std::string>& arguments)
{
    std::string text;
    for (const std::string& argument : arguments)
        text += std::to_string(argument.size()) + ':' + argument + '\n';
    return text;
}

using Variables = std::map<std::string, std::optional<std::string>>;

Variables withStart(Variables more)
{
    more.insert({"START", ""});
    return more;
}

// What the program prints when the files of the folder stand for those of the process. The files
// "cmdline" and "exe" need not be there.
std::string printStandIn(const ScratchFolder& folder)
{
    const ProgramRun run{.program = kProgram,
                         .environment = withStart({{"CMDLINE", folder.getPath("cmdline")},
                                                   {"EXE", folder.getPath("exe")}})};
    const ChildResult result = support::runProgram(run);
    return result.getEnd() == "exit 0" ? result.out : result.getEnd() + result.err;
}

// Replaces the child by the program with an argument vector of any kind.
ChildResult execute(std::vector<const char*> arguments)
{
    arguments.push_back(nullptr);
    return support::runInChild([&] {
        ::setenv("START", "", /*overwrite=*/1);
        ::execv(kProgram.c_str(), const_cast<char* const*>(arguments.data()));
        return 127;
    });
}

std::string copyProgram(const ScratchFolder& folder, const std::string& name)
{
    std::ifstream program(kProgram, std::ios::binary);
    std::ostringstream content;
    content << program.rdbuf();
    const std::string path = folder.write(name, content.str());
    EXPECT_EQ(::chmod(path.c_str(), 0700), 0);
    return path;
}

}  // namespace

// --- The kernel's own

TEST(qzSystemUtilsCommandLine, GivesWhatTheProcessWasStartedWith)
{
    const std::vector<std::string> arguments{"a b", "", "\xC3\xA9", "line\nend", "", ""};
    const ChildResult result =
        support::runProgram({.program = kProgram,
                             .arguments = arguments,
                             .environment = withStart({{"LC_ALL", "C.UTF-8"}})});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, print({kProgram, "a b", "", "\xC3\xA9", "line\nend", "", ""}));
}

TEST(qzSystemUtilsCommandLine, GivesCommandLinesThatAreMuchLongerThanABlock)
{
    std::vector<std::string> arguments;
    for (std::size_t size = 0; size < 600; ++size)
        arguments.emplace_back(size, static_cast<char>('a' + size % 26));
    arguments.emplace_back(100000, 'x');
    const ChildResult result = support::runProgram(
        {.program = kProgram, .arguments = arguments, .environment = withStart({})});
    EXPECT_EQ(result.getEnd(), "exit 0");
    arguments.insert(arguments.begin(), kProgram);
    EXPECT_EQ(result.out, print(arguments));
}

TEST(qzSystemUtilsCommandLine, NamesTheProgramInAnEmptyArgumentVector)
{
    const ChildResult result = execute({});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, print({kProgram}));
}

TEST(qzSystemUtilsCommandLine, NamesTheProgramWhateverItsStarterCalledIt)
{
    EXPECT_EQ(execute({"somebody else", "a"}).out, print({kProgram, "a"}));
    EXPECT_EQ(execute({"", "a"}).out, print({kProgram, "a"}));
}

TEST(qzSystemUtilsCommandLine, ResolvesLinksToTheProgram)
{
    const ScratchFolder folder;
    const std::string link = folder.getPath("link");
    ASSERT_EQ(::symlink(kProgram.c_str(), link.c_str()), 0);
    const ChildResult result =
        support::runProgram({.program = link, .arguments = {"a"}, .environment = withStart({})});
    EXPECT_EQ(result.out, print({kProgram, "a"}));
}

TEST(qzSystemUtilsCommandLine, KeepsTheStartersWordForAProgramThatIsGone)
{
    const ScratchFolder folder;
    const std::string path = copyProgram(folder, "program");
    const ChildResult result = support::runProgram(
        {.program = path, .arguments = {"a"}, .environment = withStart({{"REMOVE", ""}})});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, print({path, "a"}));
}

TEST(qzSystemUtilsCommandLine, ReplacesWhatTheListHeldAndSaysNothing)
{
    const support::LibraryStart start;
    const support::LogCapture capture(LogLevelAll);
    std::vector<std::string> arguments(1000, "old");
    qzSystemUtils::ExtractCommandLineUtf8(arguments);
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file),
                              std::istreambuf_iterator<char>()};
    EXPECT_EQ(arguments.size(),
              static_cast<std::size_t>(std::count(content.begin(), content.end(), '\0')));
    EXPECT_THAT(capture.getLines(), IsEmpty());
}

TEST(qzSystemUtilsCommandLine, NamesTheProgramAloneWithoutAFreeDescriptor)
{
    std::vector<std::string> expected;
    qzSystemUtils::ExtractCommandLineUtf8(expected);
    ASSERT_FALSE(expected.empty());
    std::vector<std::string> arguments{"old", "older"};
    const support::DescriptorLimit noneLeft(0);
    qzSystemUtils::ExtractCommandLineUtf8(arguments);
    EXPECT_THAT(arguments, ElementsAre(expected.front()));
}

TEST(qzSystemUtilsCommandLine, KeepsNoDescriptor)
{
    const support::DescriptorLimit oneLeft(1);
    for (int i = 0; i < 3; ++i) {
        std::vector<std::string> arguments;
        qzSystemUtils::ExtractCommandLineUtf8(arguments);
        std::ifstream file("/proc/self/cmdline");
        EXPECT_TRUE(file.is_open()) << "at call " << i;
    }
}

TEST(qzSystemUtilsCommandLine, GivesEachThreadTheSame)
{
    const support::LibraryStart start;
    std::vector<std::string> expected;
    qzSystemUtils::ExtractCommandLineUtf8(expected);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&expected] {
            for (int call = 0; call < 20; ++call) {
                std::vector<std::string> arguments;
                qzSystemUtils::ExtractCommandLineUtf8(arguments);
                EXPECT_EQ(arguments, expected);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

// --- Character sets

TEST(qzSystemUtilsCommandLine, ConvertsArgumentsFromTheLocalCharacterSet)
{
    const support::EnvironmentLocale locale("en_US.ISO-8859-1");
    const ChildResult result = support::runProgram(
        {.program = kProgram, .arguments = {"caf\xE9"}, .environment = withStart({})});
    EXPECT_EQ(result.out, print({kProgram, "caf\xC3\xA9"}));
}

TEST(qzSystemUtilsCommandLine, LeavesThePathOfTheProgramUnconverted)
{
    const support::EnvironmentLocale locale("en_US.ISO-8859-1");
    const ScratchFolder folder;
    const std::string path = copyProgram(folder, "caf\xE9");
    const ChildResult result =
        support::runProgram({.program = path, .arguments = {"\xE9"}, .environment = withStart({})});
    EXPECT_EQ(result.out, print({path, "\xC3\xA9"}));
}

TEST(qzSystemUtilsCommandLine, KeepsThePlaceOfAnArgumentThatCantBeConverted)
{
    const ChildResult result =
        support::runProgram({.program = kProgram,
                             .arguments = {"a", "b\xFF", "c"},
                             .environment = withStart({{"LC_ALL", "C.UTF-8"}})});
    EXPECT_EQ(result.out, print({kProgram, "a", "", "c"}));
}

TEST(qzSystemUtilsCommandLine, CountsTheArgumentsBeforeTheStart)
{
    const ChildResult result = support::runProgram({.program = kProgram, .arguments = {"a", "b"}});
    EXPECT_EQ(result.out, print({kProgram, "", ""}));
}

// --- What the kernel seldom gives

struct ContentRow {
    const char* name;
    std::string content;
    std::vector<std::string> arguments;
};

class qzSystemUtilsCommandLineContent : public ::testing::TestWithParam<ContentRow> {};

TEST_P(qzSystemUtilsCommandLineContent, IsCutAsItsRow)
{
    const ScratchFolder folder;
    folder.write("cmdline", GetParam().content);
    const std::string log =
        GetParam().arguments.empty() ? "log: CRITICAL Fail to retrieve command line\n" : "";
    EXPECT_EQ(printStandIn(folder), print(GetParam().arguments) + log);
}

TEST_P(qzSystemUtilsCommandLineContent, HasTheProgramInFront)
{
    const ScratchFolder folder;
    folder.write("cmdline", GetParam().content);
    std::vector<std::string> expected = GetParam().arguments;
    if (expected.empty()) expected.emplace_back();
    expected.front() = folder.write("exe", "");
    EXPECT_EQ(printStandIn(folder), print(expected));
}

std::string letters(std::size_t size)
{
    return std::string(size, 'x');
}

const ContentRow kContentRows[] = {
    {"Empty", "", {}},
    {"OneZero", "\0"s, {""}},
    {"ThreeZeros", "\0\0\0"s, {"", "", ""}},
    {"EmptyInFront", "\0a\0"s, {"", "a"}},
    {"WithoutAZeroAtTheEnd", "a\0b"s, {"a", "b"}},
    {"WithoutAnyZero", "a", {"a"}},
    {"EndsAheadOfABlock", letters(4095) + "\0b\0"s, {letters(4095), "b"}},
    {"ZeroIsTheLastOfABlock", letters(4096) + "\0b\0"s, {letters(4096), "b"}},
    {"ZeroIsTheFirstOfABlock", letters(4097) + "\0b\0"s, {letters(4097), "b"}},
    {"OneBeyondABlock", letters(4098) + "\0b\0"s, {letters(4098), "b"}},
    {"FillsABlock", letters(4096) + "\0"s, {letters(4096)}},
    {"FillsABlockWithoutAZero", letters(4097), {letters(4097)}},
    {"EmptyAtTheEdgeOfABlock", letters(4095) + "\0\0\0a"s, {letters(4095), "", "", "a"}},
    {"OverManyBlocks", letters(50000) + "\0"s + letters(9000), {letters(50000), letters(9000)}},
    {"ManyZeros", std::string(9000, '\0'), std::vector<std::string>(9000)},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzSystemUtilsCommandLineContent, ::testing::ValuesIn(kContentRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzSystemUtilsCommandLine, NamesTheProgramAloneWithoutACommandLine)
{
    const ScratchFolder folder;
    const std::string program = folder.write("exe", "");
    EXPECT_EQ(printStandIn(folder), print({program}));
}

TEST(qzSystemUtilsCommandLine, NamesTheProgramAloneWhenTheCommandLineCantBeRead)
{
    const ScratchFolder folder;
    const std::string program = folder.write("exe", "");
    ASSERT_EQ(::mkdir(folder.getPath("cmdline").c_str(), 0700), 0);  // opens, but has no bytes
    EXPECT_EQ(printStandIn(folder), print({program}));
}

TEST(qzSystemUtilsCommandLine, ReportsWhenNothingCanBeFoundOut)
{
    const ScratchFolder folder;
    EXPECT_EQ(printStandIn(folder), "log: CRITICAL Fail to retrieve command line\n");
}

}  // namespace qz
