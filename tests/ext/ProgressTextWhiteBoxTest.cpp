// SPDX-License-Identifier: MIT
#include "ext/progress/ProgressText.h"

#include <limits>

#include <gtest/gtest.h>

#include <qz/ext/PrintableText.h>
#include <qz/qzStringUtils.h>

#include "support/LibraryStart.h"

namespace qz::ext {

namespace {

class ExtProgressTextTest : public ::testing::Test {
protected:
    support::LibraryStart mStart;
    // 45% of 1000 files in 10 s
    ProgressFigures mFigures = {"digest", " files", 1000, 0.45, 10'000};
};

}  // namespace

TEST_F(ExtProgressTextTest, FillsTheTerminal)
{
    EXPECT_EQ(formatProgressLine(mFigures, 80),
              "digest [================>                   ]  45%     45 files/s      13s left");
    EXPECT_EQ(formatProgressLine(mFigures, 20), "[=====>      ]  45%");
}

TEST_F(ExtProgressTextTest, IsNeverLongerThanTheTerminal)
{
    for (int columns = 0; columns <= 300; ++columns) {
        const std::string line = formatProgressLine(mFigures, columns);
        EXPECT_EQ(line.size(), static_cast<std::size_t>(std::max(columns - 1, 0))) << line;
    }
    EXPECT_EQ(formatProgressLine(mFigures, -5), "");
}

TEST_F(ExtProgressTextTest, LeavesOutTheTitleFirst)
{
    const std::string title = mFigures.title + " [";
    int columns = 200;
    while (formatProgressLine(mFigures, columns).compare(0, title.size(), title) == 0)
        --columns;
    EXPECT_EQ(formatProgressLine(mFigures, columns + 1),
              "digest [====>     ]  45%     45 files/s      13s left");
    EXPECT_EQ(formatProgressLine(mFigures, columns),
              "[=======>        ]  45%     45 files/s      13s left");
    EXPECT_EQ(formatProgressLine(mFigures, 18), "[====>     ]  45%");
    EXPECT_EQ(formatProgressLine(mFigures, 17), "45%             ");
    EXPECT_EQ(formatProgressLine(mFigures, 3), "45");
}

TEST_F(ExtProgressTextTest, CountsCharactersAndNotBytes)
{
    mFigures.title =
        "gr\xc3\xb6\xc3\x9f"
        "e";
    EXPECT_EQ(qzStringUtils::CountUtf8Char(formatProgressLine(mFigures, 80)), 79U);
}

TEST_F(ExtProgressTextTest, AWideCharacterTakesTwoColumns)
{
    // Japanese, Korean, a character beyond 16 bits and a picture
    for (const char* const title :
         {"\xe4\xb8\x96", "\xea\xb0\x80", "\xf0\xa0\x80\x80", "\xf0\x9f\x93\x81"}) {
        mFigures.title = title;
        const std::string line = formatProgressLine(mFigures, 80);
        EXPECT_EQ(line.compare(0, mFigures.title.size(), title), 0) << line;
        EXPECT_EQ(qzStringUtils::CountUtf8Char(line), 78U) << line;
    }
    mFigures.unit = " \xe4\xbb\xb6";
    EXPECT_EQ(qzStringUtils::CountUtf8Char(formatProgressLine(mFigures, 80)), 77U);
}

TEST_F(ExtProgressTextTest, ShowsControlCharactersAsQuestionMarks)
{
    EXPECT_EQ(makePrintable("gr\xc3\xb6\xc3\x9f"
                            "e \xc2\xa0\xe4\xb8\x96"),
              "gr\xc3\xb6\xc3\x9f"
              "e \xc2\xa0\xe4\xb8\x96");
    EXPECT_EQ(makePrintable(std::string("a\0b", 3)), "a?b");
    EXPECT_EQ(makePrintable("\ttwo\r\nlines\x1b[2J\x7f"), "?two??lines?[2J?");
    EXPECT_EQ(makePrintable("\xc2\x9b"
                            "2J\xc2\x80\xc2\x9f"),
              "?2J??");
    EXPECT_EQ(makePrintable("\xff\xc2"
                            "abc\xc3"),
              "??abc?");
    EXPECT_EQ(makePrintable(""), "");
}

TEST_F(ExtProgressTextTest, ShowsPercentForATotalThatIsNoNumber)
{
    for (const double total : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity()}) {
        mFigures.total = total;
        EXPECT_EQ(formatProgressReport(mFigures), "digest: 45%  4.5%/s  13s left");
    }
}

TEST_F(ExtProgressTextTest, FitsTheTerminalWithAnyTotal)
{
    for (const double total : {5e-324, 1e-9, 1e15, 1e30, 1e300, 1.7e308}) {
        for (const double progress : {1e-45, 0.5, 1.0}) {
            mFigures.total = total;
            mFigures.progress = progress;
            EXPECT_EQ(formatProgressLine(mFigures, 80).size(), 79U) << total;
        }
    }
}

TEST_F(ExtProgressTextTest, ShowsTheEndsOfTheBar)
{
    mFigures.progress = 0;
    EXPECT_EQ(formatProgressLine(mFigures, 20), "[>           ]   0%");
    mFigures.progress = 1;
    EXPECT_EQ(formatProgressLine(mFigures, 20), "[============] 100%");
}

TEST_F(ExtProgressTextTest, ShowsNoRateAtTheStart)
{
    mFigures.elapsedMs = 499;
    EXPECT_EQ(formatProgressReport(mFigures), "digest: 45%");
    mFigures.elapsedMs = 500;
    EXPECT_EQ(formatProgressReport(mFigures), "digest: 45%  900 files/s  1s left");
    mFigures.progress = 0;
    EXPECT_EQ(formatProgressReport(mFigures), "digest: 0%");
}

TEST_F(ExtProgressTextTest, ShowsRatesOfAllSizes)
{
    mFigures.title.clear();
    mFigures.unit = "B";
    mFigures.total = 1e12;
    EXPECT_EQ(formatProgressReport(mFigures), "45%  45GB/s  13s left");
    mFigures.total = 12'345;
    EXPECT_EQ(formatProgressReport(mFigures), "45%  556B/s  13s left");
    mFigures.total = 0;
    EXPECT_EQ(formatProgressReport(mFigures), "45%  4.5%/s  13s left");
    mFigures.total = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(formatProgressReport(mFigures), "45%  4.5%/s  13s left");
}

TEST_F(ExtProgressTextTest, ShowsTimesOfAllSizes)
{
    mFigures.progress = 0.5;
    mFigures.elapsedMs = 3'661'000;
    EXPECT_EQ(formatProgressReport(mFigures), "digest: 50%  0.1 files/s  1h 1m left");
    mFigures.progress = 1;
    EXPECT_EQ(formatProgressReport(mFigures), "digest: 100%  0.3 files/s");
    mFigures.progress = 1e-300;
    EXPECT_NE(formatProgressReport(mFigures).find("d "), std::string::npos);
}

TEST_F(ExtProgressTextTest, TakesAFloatJustBelowAPercentForIt)
{
    for (int percent = 0; percent <= 100; ++percent)
        EXPECT_EQ(toPercent(static_cast<float>(percent) / 100.0F), percent);
    EXPECT_EQ(toPercent(0.9999), 99);
}

}  // namespace qz::ext
