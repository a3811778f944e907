// SPDX-License-Identifier: MIT
// Reports from elsewhere must not hurt their reader.

#include <qz/ext/CrashReport.h>

#include <sys/stat.h>

#include <cerrno>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz::ext {

namespace {

std::string pad(std::string text, std::size_t size)
{
    text.resize(size);
    return text;
}

std::string makeCount(std::uint64_t count)
{
    std::string bytes;
    for (int i = 0; i < 8; ++i)
        bytes += static_cast<char>(count >> (8 * i) & 0xff);
    return bytes;
}

// A file with this text of the reports and this ring, whose size is that of both.
std::string makeFile(const std::string& text, const std::string& ring)
{
    return pad("qz-crash 1 4096 " + std::to_string(ring.size()) + "\n", 4096) + pad(text, 4096) +
           ring;
}

std::string makeRing(std::uint64_t begun, std::uint64_t done, const std::string& bytes)
{
    return makeCount(begun) + makeCount(done) + bytes;
}

class CrashReportTest : public ::testing::Test {
protected:
    int getError(const std::string& content)
    {
        CrashReport report;
        SystemFailure failure;
        readCrashReport(mFolder.write("x.qzcrash", content), report, &failure);
        return failure.error;
    }

    CrashReport read(const std::string& content)
    {
        CrashReport report;
        EXPECT_TRUE(readCrashReport(mFolder.write("x.qzcrash", content), report));
        return report;
    }

    const support::LibraryStart mLibrary;
    const support::ScratchFolder mFolder;
};

}  // namespace

TEST_F(CrashReportTest, ReadsEachLineOfAReport)
{
    const CrashReport report =
        read(makeFile("program /opt/a shop\npid 77\nstart 5\n"
                      "report 1\ntime 6\ncause SIGSEGV\nexception 3abc\n"
                      "text broken\nthread 78 worker\nregister rip 0x1\n"
                      "frame 0x1f 0xa 00ff /opt/a shop\nframe 0x1 0x1 - -\n"
                      "remark why\nend 1\nended\n",
                      ""));
    EXPECT_EQ(report.program, "/opt/a shop");
    EXPECT_EQ(report.processId, 77);
    EXPECT_EQ(report.startMs, 5);
    EXPECT_TRUE(report.hasEndedNormally);
    EXPECT_FALSE(report.isRunning);
    ASSERT_EQ(report.events.size(), 1U);
    const CrashEvent& event = report.events[0];
    EXPECT_EQ(event.number, 1);
    EXPECT_EQ(event.timeMs, 6);
    EXPECT_EQ(event.cause, "SIGSEGV");
    EXPECT_EQ(event.exceptionType, "3abc");
    EXPECT_EQ(event.exceptionText, "broken");
    EXPECT_EQ(event.thread, "78 worker");
    ASSERT_EQ(event.registers.size(), 1U);
    EXPECT_EQ(event.registers[0], "rip 0x1");
    ASSERT_EQ(event.remarks.size(), 1U);
    EXPECT_EQ(event.remarks[0], "why");
    EXPECT_TRUE(event.isComplete);
    ASSERT_EQ(event.frames.size(), 2U);
    EXPECT_EQ(event.frames[0].address, 0x1fU);
    EXPECT_EQ(event.frames[0].offset, 0xaU);
    EXPECT_EQ(event.frames[0].buildId, "00ff");
    EXPECT_EQ(event.frames[0].file, "/opt/a shop");
    EXPECT_EQ(event.frames[1].buildId + event.frames[1].file, "");
}

TEST_F(CrashReportTest, ReadsTheWholeEntriesOfARing)
{
    using Entries = std::vector<std::string>;
    const auto readEntries = [this](std::uint64_t begun, std::uint64_t done,
                                    const std::string& bytes) {
        return read(makeFile("", makeRing(begun, done, bytes))).entries;
    };
    using namespace std::string_literals;
    EXPECT_EQ(readEntries(0, 0, "\0\0\0\0\0\0\0\0"s), Entries());
    EXPECT_EQ(readEntries(4, 4, "a\0b\0\0\0\0\0"s), Entries({"a", "b"}));
    EXPECT_EQ(readEntries(8, 8, "abc\0def\0"s), Entries({"abc", "def"}));
    // The third entry has replaced the first one, and then half of the second.
    EXPECT_EQ(readEntries(12, 12, "ghi\0def\0"s), Entries({"ghi"}));
    EXPECT_EQ(readEntries(14, 14, "\0xyz\0 ab"s), Entries({"xyz"})) << "it begins with ' ab'";
    // It was begun, and not written.
    EXPECT_EQ(readEntries(10, 8, "abc\0def\0"s), Entries({"def"}));
    // Counts that no ring has.
    EXPECT_EQ(readEntries(4, 8, "abc\0def\0"s), Entries());
    EXPECT_EQ(readEntries(~0ULL, ~0ULL, "abc\0def\0"s).size(), 1U);
    EXPECT_EQ(readEntries(~0ULL, 1, "abc\0def\0"s), Entries());
    EXPECT_EQ(read(makeFile("", "short")).entries, Entries());
}

TEST_F(CrashReportTest, RefusesFilesOfAnotherKind)
{
    EXPECT_EQ(getError(""), EBADMSG);
    EXPECT_EQ(getError("qz-crash 2 0 0\n"), EBADMSG);
    EXPECT_EQ(getError(pad("qz-crash 1 4096 0\n", 8191)), EBADMSG) << "shorter than it says";
    EXPECT_EQ(getError(pad("qz-crash 1 524289 0\n", 1000000)), EBADMSG) << "longer than possible";
    EXPECT_EQ(getError(pad("qz-crash 1 0 18446744073709551615\n", 5000)), EBADMSG);
    EXPECT_EQ(getError(pad("qz-crash 1 99999999999999999999 0\n", 5000)), 0) << "no number is 0";
    CrashReport report;
    SystemFailure failure;
    EXPECT_FALSE(readCrashReport(mFolder.getPath("none"), report, &failure));
    EXPECT_EQ(failure.error, ENOENT);
    EXPECT_FALSE(readCrashReport(mFolder.getPath(), report, &failure));
    EXPECT_EQ(failure.error, EINVAL);
    EXPECT_EQ(failure.step, "use of the file " + mFolder.getPath());
    EXPECT_FALSE(readCrashReport(mFolder.write("text", "text"), report, &failure));
    EXPECT_EQ(failure.step, "use as a file of CrashKit: " + mFolder.getPath("text"));
    ASSERT_EQ(::mkfifo(mFolder.getPath("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(readCrashReport(mFolder.getPath("pipe"), report, &failure));
    EXPECT_EQ(failure.error, EINVAL);
    EXPECT_FALSE(readCrashReport("", report));
}

TEST_F(CrashReportTest, SurvivesChangedBytes)
{
    const std::string whole = makeFile("program p\nreport 1\nframe 0x1 0x2 ab /f\nend 1\n",
                                       makeRing(7, 7, std::string("a\0b\0c\0d", 7)));
    for (unsigned seed = 1; seed <= 300; ++seed) {
        std::mt19937 random(seed);
        std::string content = whole;
        for (int i = 0; i < 4; ++i) {
            // Most bytes are zero; those of the texts and of the counts matter.
            const std::size_t starts[] = {0, 4096, 8192};
            const std::size_t at = starts[random() % 3] + random() % 40;
            if (at < content.size()) content[at] = static_cast<char>(random());
        }
        CrashReport report;
        readCrashReport(mFolder.write("x.qzcrash", content), report);
        EXPECT_LE(report.entries.size(), 7U) << seed;
    }
}

}  // namespace qz::ext
