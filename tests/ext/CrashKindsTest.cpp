// SPDX-License-Identifier: MIT
// Each kind of crash on each kind of thread: the process ends by the right signal, and the report
// is complete.

#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ext/CrashFixture.h"

namespace qz::ext {

namespace {

struct CrashKind {
    const char* name;
    const char* step;
    const char* cause;  // the beginning of the first report's
};

constexpr CrashKind kKinds[] = {
    {"Null", "null", "SIGSEGV (11), SEGV_MAPERR (1), at 0x0"},
    {"Wild", "wild", "SIGSEGV (11), SI_KERNEL (128)"},
    {"ReadOnly", "readonly", "SIGSEGV (11), SEGV_ACCERR (2), at 0x"},
    {"CutMapping", "bus", "SIGBUS (7), BUS_ADRERR (2), at 0x"},
    {"Divide", "divide", "SIGFPE (8), FPE_INTDIV (1), at 0x"},
    {"Illegal", "illegal", "SIGILL (4), ILL_ILLOPN (2), at 0x"},
    {"Abort", "abort", "SIGABRT (6), SI_TKILL (-6), from process "},
    {"DoubleFree", "doublefree", "SIGABRT (6), SI_TKILL (-6), from process "},
    {"Overflow", "overflow", "SIGSEGV (11), "},
    {"ThrowInDestructor", "throw", "std::terminate"},
    {"Terminate", "terminate", "std::terminate"},
};

constexpr const char* kPlaces[] = {"", "thread ", "plain ", "early "};

constexpr int kRounds = 2;

// How often each crash is tried; QZ_CRASH_ROUNDS=20 for a night.
int getRounds()
{
    const char* const text = std::getenv("QZ_CRASH_ROUNDS");
    return text != nullptr ? std::max(1, std::atoi(text)) : kRounds;
}

std::string describe(const ::testing::TestParamInfo<CrashKind>& row)
{
    return row.param.name;
}

class CrashKindTest : public CrashTest, public ::testing::WithParamInterface<CrashKind> {
protected:
    void expectReport(const support::ChildResult& result)
    {
        EXPECT_EQ(result.getEnd(), "signal 6") << result.err;
        const CrashReport report = readOnlyFile();
        ASSERT_FALSE(report.events.empty());
        EXPECT_EQ(report.events[0].cause.rfind(GetParam().cause, 0), 0U) << report.events[0].cause;
        EXPECT_FALSE(report.isRunning);
        EXPECT_TRUE(hasEntry(report, "the last words"));
        EXPECT_TRUE(hasEntry(report, "Got signal (SIGABRT 6)"));
        for (const CrashEvent& event : report.events) {
            EXPECT_TRUE(event.isComplete);
            EXPECT_TRUE(event.remarks.empty()) << event.remarks[0];
            EXPECT_GE(event.frames.size(), 3U);
        }
    }
};

}  // namespace

TEST_P(CrashKindTest, IsReportedOnEachKindOfThread)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    if (GetParam().name == std::string("DoubleFree"))
        GTEST_SKIP() << "the sanitizer's own heap reports it and ends the process";
#endif
    int crashes = 0;
    for (const char* const place : kPlaces) {
        for (int i = 0; i < getRounds(); ++i) {
            ++crashes;
            const std::string step = std::string(place) + GetParam().step;
            SCOPED_TRACE(step);
            expectReport(run({"say|the last words", "flush", step}));
            for (const std::string& file : listFiles())
                std::filesystem::remove(file);
        }
    }
    RecordProperty("count", crashes);
}

INSTANTIATE_TEST_SUITE_P(Kinds, CrashKindTest, ::testing::ValuesIn(kKinds), describe);

}  // namespace qz::ext
