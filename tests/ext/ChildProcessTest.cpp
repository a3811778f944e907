// SPDX-License-Identifier: MIT
#include <malloc.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ext/ChildProcess.h>

#include "TestPaths.h"
#include "ext/ChildRuns.h"
#include "support/ChildProcess.h"
#include "support/Children.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "support/Limits.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

namespace qz::ext {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

const char* const kChildProgram = QZ_TEST_PROGRAMS_DIR "/child";

// 0 with a sanitizer, which has an allocator of its own.
std::size_t countBytesInUse()
{
    const struct mallinfo2 memory = ::mallinfo2();
    return memory.uordblks + memory.hblkhd;
}

// After each test there is no zombie and no descriptor more than before.
class ChildProcessTest : public ::testing::Test {
protected:
    ~ChildProcessTest() override
    {
        EXPECT_FALSE(support::hasChildren());
        EXPECT_EQ(support::countOpenDescriptors(), mDescriptors);
    }

    std::string runFile(const std::string& name, const std::string& content, mode_t mode)
    {
        const std::string path = mFolder.write(name, content);
        ::chmod(path.c_str(), mode);
        return describe(ChildProcess::Run(program(path)));
    }

    const std::size_t mDescriptors = support::countOpenDescriptors();
    const support::ScratchFolder mFolder;
};

TEST_F(ChildProcessTest, KnowsEveryExitStatus)
{
    for (int status = 0; status <= 255; ++status) {
        const ChildResult result = ChildProcess::Run(shell("exit " + std::to_string(status)));
        EXPECT_EQ(describe(result), "exit " + std::to_string(status));
        EXPECT_EQ(result.isSuccess(), status == 0);
    }
}

TEST_F(ChildProcessTest, KnowsEverySignal)
{
    for (const int number :
         {SIGHUP,    SIGINT,  SIGQUIT, SIGILL,  SIGTRAP, SIGABRT,  SIGBUS,    SIGFPE,  SIGKILL,
          SIGUSR1,   SIGSEGV, SIGUSR2, SIGPIPE, SIGALRM, SIGTERM,  SIGSTKFLT, SIGXCPU, SIGXFSZ,
          SIGVTALRM, SIGPROF, SIGIO,   SIGPWR,  SIGSYS,  SIGRTMIN, SIGRTMAX}) {
        const ChildResult result =
            ChildProcess::Run(program(kChildProgram, {"signal", std::to_string(number)}));
        EXPECT_EQ(describe(result), "signal " + std::to_string(number));
        EXPECT_EQ(result.ends[0].exitStatus, -1);
        EXPECT_FALSE(result.isSuccess());
    }
}

TEST_F(ChildProcessTest, ReportsTheUseOfResources)
{
    const ChildResult result =
        ChildProcess::Run(shell("i=0; while [ $i -lt 100000 ]; do i=$((i+1)); done"));
    ASSERT_EQ(describe(result), "exit 0");
    EXPECT_GT(result.ends[0].userSec + result.ends[0].systemSec, 0);
    EXPECT_GT(result.ends[0].peakResidentBytes, 500'000);
}

TEST_F(ChildProcessTest, KnowsWhetherThereIsACoreDump)
{
    // Whether the system makes one here.
    const pid_t reference = ::fork();
    if (reference == 0) {
        ::execl(kChildProgram, "child", "core", mFolder.getPath().c_str(), nullptr);
        ::_exit(1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(reference, &status, 0), reference);
    const ChildResult result =
        ChildProcess::Run(program(kChildProgram, {"core", mFolder.getPath()}));
    EXPECT_EQ(describe(result), "signal " + std::to_string(SIGSEGV));
    EXPECT_EQ(result.ends[0].hasDumpedCore, WCOREDUMP(status) != 0);
}

TEST_F(ChildProcessTest, IsAnEmptyResultWithoutAStart)
{
    ChildProcess process;
    EXPECT_EQ(describe(process.communicate()), "nothing");
    EXPECT_FALSE(process.communicate().isSuccess());
    EXPECT_FALSE(process.isRunning());
    EXPECT_THAT(process.getPids(), IsEmpty());
    EXPECT_FALSE(process.sendSignal(0));
}

TEST_F(ChildProcessTest, RefusesAStartWithoutAProgram)
{
    EXPECT_EQ(describe(ChildProcess::Run(ChildOptions())),
              "start, errno " + std::to_string(EINVAL));
}

TEST_F(ChildProcessTest, RefusesASecondStartBeforeTheFirstIsOver)
{
    ChildProcess process;
    ASSERT_TRUE(process.start(shell("exit 3")));
    SystemFailure failure;
    EXPECT_FALSE(process.start(shell("exit 4"), &failure));
    EXPECT_EQ(failure.step, "start");
    EXPECT_EQ(failure.error, EBUSY);
    EXPECT_EQ(describe(process.communicate()), "exit 3");
    ASSERT_TRUE(process.start(shell("exit 4")));
    EXPECT_EQ(describe(process.communicate()), "exit 4");
}

TEST_F(ChildProcessTest, NamesTheStepAndTheReasonOfAFailedStart)
{
    // A folder that may not be searched would be another reason.
    const support::EnvironmentVariable path("PATH", "/usr/bin:/bin");
    EXPECT_EQ(describe(ChildProcess::Run(program("/no/such/program"))),
              "execve /no/such/program, errno " + std::to_string(ENOENT));
    EXPECT_EQ(describe(ChildProcess::Run(program("no-such-program-in-path"))),
              "execve no-such-program-in-path, errno " + std::to_string(ENOENT));
    EXPECT_EQ(describe(ChildProcess::Run(program(""))), "execve , errno " + std::to_string(ENOENT));
    EXPECT_EQ(describe(ChildProcess::Run(program("/bin/sh/none"))),
              "execve /bin/sh/none, errno " + std::to_string(ENOTDIR));
    EXPECT_EQ(describe(ChildProcess::Run(program(mFolder.getPath()))),
              "execve " + mFolder.getPath() + ", errno " + std::to_string(EACCES));
    EXPECT_EQ(runFile("locked", "#!/bin/sh\n", 0644),
              "execve " + mFolder.getPath("locked") + ", errno " + std::to_string(EACCES));
    EXPECT_EQ(runFile("broken", "#!/no/such/interpreter\n", 0755),
              "execve " + mFolder.getPath("broken") + ", errno " + std::to_string(ENOENT));
    EXPECT_EQ(runFile("bare", "exit 0\n", 0755),
              "execve " + mFolder.getPath("bare") + ", errno " + std::to_string(ENOEXEC));
    EXPECT_EQ(runFile("script", "#!/bin/sh\nexit 5\n", 0755), "exit 5");
}

TEST_F(ChildProcessTest, RefusesAZeroByteInATextOfAProgram)
{
    const std::string text("a\0b", 3);
    EXPECT_EQ(describe(ChildProcess::Run(shell("exit 0", {text}))),
              "execve /bin/sh, errno " + std::to_string(EINVAL));
    ChildOptions options = shell("exit 0");
    options.programs[0].environment["NAME"] = text;
    EXPECT_EQ(describe(ChildProcess::Run(options)),
              "execve /bin/sh, errno " + std::to_string(EINVAL));
    options = shell("exit 0");
    options.programs[0].workingFolder = std::string("/\0tmp", 5);
    EXPECT_EQ(describe(ChildProcess::Run(options)),
              "execve /bin/sh, errno " + std::to_string(EINVAL));
    EXPECT_EQ(describe(ChildProcess::Run(program(std::string("/bin/true\0x", 11)))).substr(0, 16),
              "execve /bin/true");
    options = shell("exit 0");
    options.output = ChildOutput::File(text);
    EXPECT_THAT(describe(ChildProcess::Run(options)), HasSubstr("open a"));
}

TEST_F(ChildProcessTest, RefusesAVariableWhoseNameTheSystemWouldReadAsAnother)
{
    for (const char* const name : {"", "=", "NAME=VALUE", "NAME="}) {
        ChildOptions options = shell("exit 0");
        options.programs[0].environment[name] = "value";
        EXPECT_EQ(describe(ChildProcess::Run(options)),
                  "execve /bin/sh, errno " + std::to_string(EINVAL))
            << name;
        options.programs[0].environment[name] = std::nullopt;
        EXPECT_EQ(describe(ChildProcess::Run(options)), "exit 0") << name;
    }
}

TEST_F(ChildProcessTest, IsStartedByAThreadWithASmallStack)
{
    constexpr std::size_t kStackBytes = 65536;
    const support::ChildResult outer = support::runInChild([] {
        const auto run = [](void*) -> void* {
            ChildOptions options = program("/bin/echo", {"text"});
            const bool isGood = ChildProcess::Run(options).output == "text\n";
            return reinterpret_cast<void*>(static_cast<std::intptr_t>(isGood ? 1 : 0));
        };
        pthread_attr_t attributes;
        ::pthread_attr_init(&attributes);
        ::pthread_attr_setstacksize(&attributes, kStackBytes);
        pthread_t thread = {};
        if (::pthread_create(&thread, &attributes, run, nullptr) != 0) return 1;
        void* isGood = nullptr;
        ::pthread_join(thread, &isGood);
        return isGood != nullptr ? 0 : 2;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

TEST_F(ChildProcessTest, FailsWithoutTheWorkingFolder)
{
    ChildOptions options = shell("pwd");
    options.programs[0].workingFolder = "/no/such/folder";
    EXPECT_EQ(describe(ChildProcess::Run(options)),
              "chdir /no/such/folder, errno " + std::to_string(ENOENT));
    options.programs[0].workingFolder = mFolder.getPath();
    EXPECT_EQ(ChildProcess::Run(options).output, mFolder.getPath() + "\n");
}

TEST_F(ChildProcessTest, FailsWithoutDescriptors)
{
    const support::DescriptorLimit noneLeft(0);
    EXPECT_THAT(describe(ChildProcess::Run(shell("exit 0"))),
                HasSubstr(", errno " + std::to_string(EMFILE)));
}

TEST_F(ChildProcessTest, KillsAndReapsAtTheEndOfTheObject)
{
    int pid = 0;
    {
        ChildProcess process;
        ASSERT_TRUE(process.start(shell("trap '' TERM; sleep 300")));
        ASSERT_EQ(process.getPids().size(), 1U);
        pid = process.getPids()[0];
        EXPECT_TRUE(process.isRunning());
    }
    EXPECT_EQ(::kill(pid, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST_F(ChildProcessTest, SendsASignalToTheGroup)
{
    ChildProcess process;
    ASSERT_TRUE(process.start(shell("sleep 300 & sleep 300")));
    EXPECT_TRUE(process.sendSignal(SIGINT));
    EXPECT_TRUE(process.sendSignal(SIGTERM));
    const ChildResult result = process.communicate();
    EXPECT_TRUE(result.ends[0].signal == SIGTERM || result.ends[0].signal == SIGINT);
    EXPECT_FALSE(process.sendSignal(SIGTERM));
}

TEST_F(ChildProcessTest, NoticesAnEndWithoutCommunication)
{
    ChildProcess process;
    ASSERT_TRUE(process.start(shell("exit 0")));
    EXPECT_TRUE(support::waitUntil([&] { return !process.isRunning(); }));
    EXPECT_EQ(describe(process.communicate()), "exit 0");
}

TEST_F(ChildProcessTest, LeavesTheChildrenToTheirParentInAForkedProcess)
{
    ChildProcess process;
    ChildOptions options = shell("read line; exit 6");
    options.endsWithParent = true;
    options.input = ChildInput::Memory("go\n");
    ASSERT_TRUE(process.start(options));
    const pid_t forked = ::fork();
    if (forked == 0) {
        process.~ChildProcess();
        ::_exit(0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(forked, &status, 0), forked);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(describe(process.communicate()), "exit 6");
}

TEST_F(ChildProcessTest, IsWithoutProgramsInAForkedProcess)
{
    for (const bool endsWithParent : {false, true}) {
        ChildProcess process;
        ChildOptions options = shell("cat");
        options.endsWithParent = endsWithParent;
        options.input = ChildInput::Memory("text");
        ASSERT_TRUE(process.start(options));
        const auto useInForkedProcess = [&] {
            if (process.isRunning() || !process.getPids().empty()) return 1;
            if (process.sendSignal(SIGKILL)) return 2;
            if (describe(process.communicate()) != "nothing") return 3;
            if (!process.start(shell("exit 4"))) return 4;
            return describe(process.communicate()) == "exit 4" ? 0 : 5;
        };
        const int hangLimitSec = 60;
        const support::ChildResult forked =
            support::runInChild(useInForkedProcess, "", hangLimitSec);
        EXPECT_EQ(forked.getEnd(), "exit 0");
        const ChildResult result = process.communicate();
        EXPECT_EQ(describe(result), "exit 0");
        EXPECT_EQ(result.output, "text");
    }
}

TEST_F(ChildProcessTest, SaysSoIfSomebodyElseHasReapedTheChild)
{
    ChildProcess process;
    ASSERT_TRUE(process.start(shell("exit 0")));
    ASSERT_EQ(::waitpid(process.getPids()[0], nullptr, 0), process.getPids()[0]);
    EXPECT_EQ(describe(process.communicate()), "wait4, errno " + std::to_string(ECHILD));
}

// --- Pipelines

TEST_F(ChildProcessTest, PassesTheBytesThroughAPipeline)
{
    ChildOptions options;
    options.programs = {{"sort", {"-r"}}, {"tr", {"a-z", "A-Z"}}, {"head", {"-n", "1"}}};
    options.input = ChildInput::Memory("a\nc\nb\n");
    options.output = ChildOutput::Memory();
    const ChildResult result = ChildProcess::Run(options);
    EXPECT_TRUE(result.isSuccess());
    EXPECT_EQ(result.ends.size(), 3U);
    EXPECT_EQ(result.output, "C\n");
}

TEST_F(ChildProcessTest, KnowsTheEndsOfAllProgramsOfAPipeline)
{
    ChildOptions options = shell("echo first >&2; exit 1");
    options.programs.push_back({"/bin/sh", {"-c", "echo second >&2; cat >/dev/null; exit 2"}});
    options.programs.push_back({"/bin/sh", {"-c", "cat; echo third; exit 0"}});
    const ChildResult result = ChildProcess::Run(options);
    ASSERT_EQ(result.ends.size(), 3U);
    EXPECT_EQ(result.ends[0].exitStatus, 1);
    EXPECT_EQ(result.ends[1].exitStatus, 2);
    EXPECT_EQ(result.ends[2].exitStatus, 0);
    EXPECT_FALSE(result.isSuccess());
    EXPECT_EQ(result.output, "third\n");
    EXPECT_THAT(result.error, HasSubstr("first\n"));
    EXPECT_THAT(result.error, HasSubstr("second\n"));
}

TEST_F(ChildProcessTest, LeavesNothingOfAPipelineWhoseMiddleIsMissing)
{
    ChildOptions options;
    options.programs = {{"sleep", {"300"}}, {"/no/such/middle"}, {"cat"}};
    EXPECT_EQ(describe(ChildProcess::Run(options)),
              "execve /no/such/middle, errno " + std::to_string(ENOENT));
}

TEST_F(ChildProcessTest, EndsAProgramWhoseReaderHasEnded)
{
    ChildOptions options;
    options.programs = {{"yes"}, {"head", {"-n", "2"}}};
    options.output = ChildOutput::Memory();
    const ChildResult result = ChildProcess::Run(options);
    EXPECT_EQ(result.output, "y\ny\n");
    EXPECT_EQ(result.ends[0].signal, SIGPIPE);
}

// --- Many

TEST_F(ChildProcessTest, LeavesNothingOfAThousandChildren)
{
    const auto runOne = [](int i) {
        ChildOptions options = program("/bin/true");
        options.endsWithParent = i % 4 == 0;
        return ChildProcess::Run(options).isSuccess();
    };
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(runOne(i));
    const std::size_t before = countBytesInUse();
    for (int i = 0; i < 900; ++i)
        ASSERT_TRUE(runOne(i));
    constexpr std::size_t kAllowedBytes = 16384;  // what the allocator caches; 18 bytes a child
    EXPECT_LT(countBytesInUse(), before + kAllowedBytes);
}

}  // namespace

}  // namespace qz::ext
