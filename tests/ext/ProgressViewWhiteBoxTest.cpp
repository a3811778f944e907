// SPDX-License-Identifier: MIT
#include <qz/ext/ProgressView.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ext/Terminal.h"
#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/OutputCapture.h"

namespace qz::ext {

// Makes views with a clock of their own.
class ProgressViewTestPeer {
public:
    static std::unique_ptr<ProgressView> Make(const ProgressViewOptions& options,
                                              const qzCancelInterfaceReadOnly* cancel,
                                              std::function<long()> clockMs)
    {
        return std::unique_ptr<ProgressView>(new ProgressView(options, cancel, std::move(clockMs)));
    }
};

namespace {

using ::testing::EndsWith;
using ::testing::StartsWith;

struct Cancel : qzCancelInterfaceReadOnly {
    bool shouldCancel() const override { return isRequested; }
    bool isRequested = false;
};

class ExtProgressViewTest : public ::testing::Test {
protected:
    void start(int descriptor)
    {
        mOptions.descriptor = descriptor;
        mView =
            ProgressViewTestPeer::Make(mOptions, &mCancel, [this] { return mNowMs += mTickMs; });
    }
    void showOn(Terminal& terminal) { start(terminal.getDescriptor()); }
    /// A moment later, the work is at this part of the whole.
    void report(double progress, long laterMs)
    {
        mNowMs += laterMs;
        mView->setCurrentStepProgress(progress);
    }

    support::LibraryStart mStart;
    ProgressViewOptions mOptions = {"copy", "B", 1e6};
    Cancel mCancel;
    long mNowMs = 1'000'000;
    long mTickMs = 0;  // the time that passes at each reading
    std::unique_ptr<ProgressView> mView;
};

TEST_F(ExtProgressViewTest, ShowsABarWithRateAndTimeAndClearsIt)
{
    Terminal terminal(80);
    showOn(terminal);
    EXPECT_EQ(terminal.takeText(),
              "\rcopy [>                                                                  ]   0%");
    report(0.25, 10'000);
    EXPECT_EQ(terminal.takeText(),
              "\rcopy [==========>                                ]  25%    25kB/s      30s left");
    report(1, 10'000);
    EXPECT_EQ(terminal.takeText(),
              "\rcopy [===========================================] 100%    50kB/s       0s left");
    mView.reset();
    EXPECT_EQ(terminal.takeText(), '\r' + std::string(79, ' ') + '\r');
}

TEST_F(ExtProgressViewTest, FitsANarrowTerminal)
{
    Terminal terminal(20);
    showOn(terminal);
    report(0.5, 10'000);
    EXPECT_EQ(terminal.takeText(), "\r[>           ]   0%\r[======>     ]  50%");
    mView.reset();
    EXPECT_EQ(terminal.takeText(), '\r' + std::string(19, ' ') + '\r');
}

TEST_F(ExtProgressViewTest, FillsAWideTerminal)
{
    Terminal terminal(200);
    showOn(terminal);
    static_cast<void>(terminal.takeText());
    report(0.5, 10'000);
    EXPECT_EQ(terminal.takeText(), "\rcopy [" + std::string(81, '=') + '>' + std::string(81, ' ') +
                                       "]  50%    50kB/s      10s left");
}

TEST_F(ExtProgressViewTest, FollowsTheWidthOfTheTerminal)
{
    Terminal terminal(200);
    showOn(terminal);
    EXPECT_EQ(terminal.takeText().size(), 200U);
    terminal.setColumns(20);
    report(0.5, 1000);
    EXPECT_EQ(terminal.takeText(), "\r[======>     ]  50%");
    terminal.setColumns(80);
    report(0.6, 1000);
    EXPECT_EQ(terminal.takeText().size(), 80U);
    terminal.setColumns(40);
    mView.reset();
    EXPECT_EQ(terminal.takeText(), '\r' + std::string(39, ' ') + '\r');
}

TEST_F(ExtProgressViewTest, TakesAnUnknownWidthForEightyColumns)
{
    Terminal terminal(0);
    showOn(terminal);
    EXPECT_EQ(terminal.takeText().size(), 80U);
}

TEST_F(ExtProgressViewTest, TakesAVeryWideTerminalForAThousandColumns)
{
    Terminal terminal(65535);
    showOn(terminal);
    EXPECT_EQ(terminal.takeText().size(), 1000U);
}

TEST_F(ExtProgressViewTest, LimitsAProgressThatIsNoPartOfTheWhole)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    Terminal terminal(20);
    showOn(terminal);
    static_cast<void>(terminal.takeText());
    report(-1e30, 1000);
    EXPECT_EQ(terminal.takeText(), "\r[>           ]   0%");
    report(kInfinity, 1000);
    EXPECT_EQ(terminal.takeText(), "\r[============] 100%");
}

TEST_F(ExtProgressViewTest, ReportsAgainAfterAReset)
{
    const support::StderrCapture capture;
    start(STDERR_FILENO);
    report(0.3, 0);
    mView->resetNotifier();
    report(0.1, 0);
    EXPECT_EQ(capture.getText(), "copy: 30%\ncopy: 10%\n");
}

TEST_F(ExtProgressViewTest, ShowsItselfAtMostTenTimesASecond)
{
    Terminal terminal(20);
    showOn(terminal);
    static_cast<void>(terminal.takeText());
    report(0.1, 99);
    EXPECT_EQ(terminal.takeText(), "");
    report(0.2, 1);
    EXPECT_EQ(terminal.takeText(), "\r[==>         ]  20%");
    report(1, 99);
    EXPECT_EQ(terminal.takeText(), "");
    mView->resetNotifier();
    EXPECT_EQ(terminal.takeText(), "");
    int shown = 0;
    for (int i = 0; i < 1000; ++i) {
        report(i / 1000.0, 1);
        mView->clearLine();
        if (!terminal.takeText().empty()) ++shown;
    }
    EXPECT_LE(shown, 11);
    EXPECT_GE(shown, 10);
}

TEST_F(ExtProgressViewTest, MeasuresAnewAfterAReset)
{
    Terminal terminal(80);
    showOn(terminal);
    report(0.5, 10'000);
    mNowMs += 1000;
    mView->resetNotifier();
    static_cast<void>(terminal.takeText());
    report(0.5, 1000);
    EXPECT_THAT(terminal.takeText(), EndsWith("  50%   500kB/s       1s left"));
}

TEST_F(ExtProgressViewTest, ClearsItsLineForOtherTexts)
{
    Terminal terminal(20);
    showOn(terminal);
    static_cast<void>(terminal.takeText());
    mView->clearLine();
    EXPECT_EQ(terminal.takeText(), '\r' + std::string(19, ' ') + '\r');
    mView->clearLine();
    EXPECT_EQ(terminal.takeText(), "");
    report(0.5, 1000);
    EXPECT_EQ(terminal.takeText(), "\r[======>     ]  50%");
}

TEST_F(ExtProgressViewTest, IsSilentAfterACancel)
{
    Terminal terminal(20);
    showOn(terminal);
    static_cast<void>(terminal.takeText());
    mView->cancel();
    report(0.3, 1000);
    EXPECT_EQ(terminal.takeText(), '\r' + std::string(19, ' ') + '\r') << "the line is cleared";
    report(0.5, 1000);
    mView.reset();
    EXPECT_EQ(terminal.takeText(), "");
}

TEST_F(ExtProgressViewTest, IsSilentAfterACancelFromOutside)
{
    const support::StderrCapture capture;
    start(STDERR_FILENO);
    report(0.2, 1000);
    mCancel.isRequested = true;
    report(0.5, 1000);
    mView.reset();
    EXPECT_EQ(capture.getText(), "copy: 20%  200kB/s  4s left\n");
}

TEST_F(ExtProgressViewTest, IsQuietOnRequest)
{
    Terminal terminal(80);
    const support::StderrCapture capture;
    mOptions.isQuiet = true;
    showOn(terminal);
    report(0.5, 1000);
    mView->clearLine();
    start(STDERR_FILENO);
    report(0.5, 1000);
    mView.reset();
    EXPECT_EQ(terminal.takeText(), "");
    EXPECT_EQ(capture.getText(), "");
}

TEST_F(ExtProgressViewTest, WritesALineEachTenPercentWithoutATerminal)
{
    const support::StderrCapture capture;
    start(STDERR_FILENO);
    for (int i = 0; i <= 1000; ++i)
        report(i / 1000.0, 10);
    mView.reset();
    EXPECT_EQ(capture.getText(),
              "copy: 10%  99kB/s  10s left\n"
              "copy: 20%  99.5kB/s  9s left\n"
              "copy: 30%  99.7kB/s  8s left\n"
              "copy: 40%  99.8kB/s  7s left\n"
              "copy: 50%  99.8kB/s  6s left\n"
              "copy: 60%  99.8kB/s  5s left\n"
              "copy: 70%  99.9kB/s  4s left\n"
              "copy: 80%  99.9kB/s  3s left\n"
              "copy: 90%  99.9kB/s  2s left\n"
              "copy: 100%  99.9kB/s\n");
}

TEST_F(ExtProgressViewTest, WritesOneLineForALeapAndNoneForAStepBack)
{
    const support::StderrCapture capture;
    start(STDERR_FILENO);
    report(0.57, 0);
    report(0.2, 0);
    report(0.58, 0);
    report(0.61, 0);
    EXPECT_EQ(capture.getText(), "copy: 57%\ncopy: 61%\n");
}

TEST_F(ExtProgressViewTest, ShowsTheWholeOfNestedGroups)
{
    const support::StderrCapture capture;
    start(STDERR_FILENO);
    mView->beginStepGroupWeights({1, 3}, 1, nullptr);
    mView->changeCurrentStep(2, 1);
    mView->setCurrentStepProgress(1);
    mView->endStepGroup();
    EXPECT_EQ(capture.getText(), "copy: 25%\ncopy: 62%\ncopy: 100%\n");
}

TEST_F(ExtProgressViewTest, KeepsErrno)
{
    Terminal terminal(80);
    showOn(terminal);
    errno = EDOM;
    report(0.5, 1000);
    EXPECT_EQ(errno, EDOM);
    start(-1);
    errno = EDOM;
    report(0.6, 1000);
    EXPECT_EQ(errno, EDOM);
}

TEST_F(ExtProgressViewTest, StaysOnOneLineWithAnyTitle)
{
    Terminal terminal(80);
    mOptions.title = "one\r\ntwo\x1b[2J";
    mOptions.unit = "\n";
    showOn(terminal);
    report(0.5, 1000);
    const std::string text = terminal.takeText();
    EXPECT_EQ(text.find_first_of("\n\x1b"), std::string::npos) << text;
    EXPECT_THAT(text, StartsWith("\rone??two?[2J [>"));
    const support::StderrCapture capture;
    start(STDERR_FILENO);
    report(0.5, 1000);
    EXPECT_EQ(capture.getText(), "one??two?[2J: 50%  500k?/s  1s left\n");
}

TEST_F(ExtProgressViewTest, ShowsNothingInAForkedChild)
{
    Terminal terminal(20);
    showOn(terminal);
    static_cast<void>(terminal.takeText());
    const support::ChildResult result = support::runInChild([&] {
        report(0.5, 1000);
        mView->clearLine();
        mView.reset();
        return 7;
    });
    EXPECT_EQ(result.getEnd(), "exit 7") << result.err;
    EXPECT_EQ(terminal.takeText(), "") << "the line is the parent's";
    report(0.5, 1000);
    EXPECT_EQ(terminal.takeText(), "\r[======>     ]  50%");
}

TEST_F(ExtProgressViewTest, LetsTheWorkContinueWhenItsOutputIsClosed)
{
    const support::ChildResult result = support::runInChild([&] {
        std::signal(SIGPIPE, SIG_DFL);
        int ends[2];
        if (::pipe(ends) != 0) return 2;
        ::close(ends[0]);
        start(ends[1]);
        report(0.5, 1000);
        report(0.6, 1000);
        mView.reset();
        start(-1);
        report(0.5, 1000);
        mView.reset();
        return 7;
    });
    EXPECT_EQ(result.getEnd(), "exit 7") << result.err;
}

TEST_F(ExtProgressViewTest, LetsTheWorkContinueWhenItsTerminalIsClosed)
{
    const support::ChildResult result = support::runInChild([&] {
        Terminal terminal(80);
        showOn(terminal);
        terminal.hangUp();
        report(0.5, 1000);
        report(0.6, 1000);
        mView.reset();
        return 7;
    });
    EXPECT_EQ(result.getEnd(), "exit 7") << result.err;
}

TEST_F(ExtProgressViewTest, MissesALineThatAFullOutputDoesNotTake)
{
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_NONBLOCK | O_CLOEXEC), 0);
    const std::string block(4096, 'x');
    while (::write(ends[1], block.data(), block.size()) > 0) {
    }
    start(ends[1]);
    report(0.5, 1000);
    std::string text(1 << 20, '\0');
    while (::read(ends[0], text.data(), text.size()) > 0) {
    }
    report(0.6, 1000);
    text.resize(static_cast<std::size_t>(::read(ends[0], text.data(), text.size())));
    EXPECT_EQ(text, "copy: 60%  300kB/s  2s left\n");
    mView.reset();
    ::close(ends[0]);
    ::close(ends[1]);
}

// The line that a view on a terminal of 20 columns shows at 60%, after it was cleared before.
constexpr char kSixtyPercent[] = "\r[=======>    ]  60%";

TEST_F(ExtProgressViewTest, DoesNotWaitForATerminalThatIsStoppedByCtrlS)
{
    const support::ChildResult result = support::runInChild(
        [&] {
            Terminal terminal(20);
            showOn(terminal);
            static_cast<void>(terminal.takeText());
            terminal.setStopped(true);
            for (int percent = 1; percent <= 50; ++percent)
                report(percent / 100.0, 1000);
            mView->clearLine();
            terminal.setStopped(false);
            report(0.6, 1000);
            if (terminal.takeText() != kSixtyPercent) return 1;
            terminal.setStopped(true);
            mView.reset();
            terminal.setStopped(false);
            return terminal.takeText().empty() ? 7 : 2;
        },
        {}, /*timeoutSec=*/120);
    EXPECT_EQ(result.getEnd(), "exit 7") << result.err;
}

TEST_F(ExtProgressViewTest, DoesNotWaitForAPipeThatNobodyReads)
{
    const support::ChildResult result = support::runInChild(
        [&] {
            int ends[2];
            if (::pipe2(ends, O_CLOEXEC) != 0) return 2;
            const auto size = static_cast<std::size_t>(::fcntl(ends[0], F_GETPIPE_SZ));
            std::string text(size, 'x');
            if (::write(ends[1], text.data(), size) != static_cast<ssize_t>(size)) return 3;
            start(ends[1]);
            report(0.5, 1000);
            if (::read(ends[0], text.data(), size) != static_cast<ssize_t>(size)) return 4;
            report(0.6, 1000);
            text.resize(static_cast<std::size_t>(::read(ends[0], text.data(), size)));
            return text == "copy: 60%  300kB/s  2s left\n" ? 7 : 5;
        },
        {}, /*timeoutSec=*/120);
    EXPECT_EQ(result.getEnd(), "exit 7") << result.err;
}

// While it exists, SIGWINCH interrupts calls of the system.
class InterruptingSignal {
public:
    InterruptingSignal()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        EXPECT_EQ(::sigaction(SIGWINCH, &action, &mBefore), 0);
    }
    ~InterruptingSignal() { ::sigaction(SIGWINCH, &mBefore, nullptr); }
    InterruptingSignal(const InterruptingSignal&) = delete;
    InterruptingSignal& operator=(const InterruptingSignal&) = delete;

    static void Send(std::thread& thread) { ::pthread_kill(thread.native_handle(), SIGWINCH); }

private:
    struct sigaction mBefore = {};
};

TEST_F(ExtProgressViewTest, WritesAWholeLineWhenSignalsInterruptIt)
{
    const InterruptingSignal signal;
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    ASSERT_EQ(::fcntl(ends[0], F_SETFL, O_NONBLOCK), 0);
    ASSERT_GT(::fcntl(ends[1], F_SETPIPE_SZ, 4096), 0);
    mOptions.title = std::string(100'000, 't');  // more than the pipe takes at once
    start(ends[1]);
    std::atomic<bool> isDone = false;
    std::thread worker([&] {
        report(0.5, 0);
        isDone = true;
    });
    std::string text;
    EXPECT_TRUE(support::waitUntil([&] {
        InterruptingSignal::Send(worker);
        const bool wasDone = isDone;
        char block[1000];
        const ssize_t count = ::read(ends[0], block, sizeof block);
        if (count > 0) text.append(block, static_cast<std::size_t>(count));
        return count <= 0 && wasDone;
    }));
    worker.join();
    EXPECT_TRUE(text == mOptions.title + ": 50%\n") << text.size() << " bytes";
    mView.reset();
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(ExtProgressViewTest, ShowsWholeLinesDuringAStormOfSignals)
{
    const InterruptingSignal signal;
    constexpr int kReports = 200;
    Terminal terminal(20);
    showOn(terminal);
    std::atomic<bool> isDone = false;
    std::thread worker([&] {
        for (int i = 1; i <= kReports; ++i)
            report(i * 0.5 / kReports, 1000);
        isDone = true;
    });
    while (!isDone)
        InterruptingSignal::Send(worker);
    worker.join();
    const std::string text = terminal.takeText();
    EXPECT_EQ(text.size(), 20U * (kReports + 1));
    EXPECT_THAT(text, EndsWith("\r[======>     ]  50%"));
}

TEST_F(ExtProgressViewTest, IsNotSilentAfterItsClockWasSetBack)
{
    Terminal terminal(80);
    showOn(terminal);
    report(0.4, 10'000);
    static_cast<void>(terminal.takeText());
    report(0.5, -3'600'000);
    const std::string text = terminal.takeText();
    EXPECT_THAT(text, EndsWith("]  50%")) << "no rate for a time that isn't known";
    report(0.6, 99);
    EXPECT_EQ(terminal.takeText(), "") << "ten times a second from then on";
}

TEST_F(ExtProgressViewTest, LeavesOutATextWithoutMemory)
{
    Terminal terminal(20);
    showOn(terminal);
    static_cast<void>(terminal.takeText());
    double progress = 0;
    const std::size_t count = support::failEachAllocation(
        [&] {
            report(progress += 0.01, 1000);
            mView->clearLine();
        },
        [](const support::AllocationFailure& failure) { EXPECT_FALSE(failure.threwBadAlloc); });
    EXPECT_GT(count, 0U);
    EXPECT_THAT(terminal.takeText(), StartsWith("\r"));
}

TEST_F(ExtProgressViewTest, ShowsWholeLinesOfSeveralThreads)
{
    constexpr int kThreads = 4;
    constexpr int kSteps = 250;
    constexpr std::size_t kColumns = 20;
    const support::LibraryStart fullStart(FullInit);
    Terminal terminal(kColumns);
    mTickMs = 10;
    showOn(terminal);
    qzProgressNotifierThreadSafeProxy proxy(mView.get());
    proxy.setCurrentStepMaxProgress(kThreads * kSteps);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int step = 0; step < kSteps; ++step)
                proxy.incrementCurrentStepProgress(1);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    const std::string text = terminal.takeText();
    EXPECT_EQ(text.size() % kColumns, 0U);
    EXPECT_GE(text.size() / kColumns, 100U);
    std::string lastPercent;
    for (std::size_t at = 0; at < text.size(); at += kColumns) {
        const std::string line = text.substr(at, kColumns);
        EXPECT_THAT(line, StartsWith("\r["));
        EXPECT_GE(line.substr(15), lastPercent);
        lastPercent = line.substr(15);
    }
}

}  // namespace

}  // namespace qz::ext
