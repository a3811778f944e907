// SPDX-License-Identifier: MIT
#include <qz/qzProgressNotifier.h>

#include <iomanip>
#include <iostream>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "log/ConsoleRecorder.h"
#include "support/OutputCapture.h"

namespace qz {

TEST(qzProgressNotifierConsoleViewTest, ShowsAnEmptyBarAtOnce)
{
    const support::StdoutCapture capture;
    const qzProgressNotifierConsoleView view(nullptr, 10, nullptr);
    support::flushStandardStreams();
    EXPECT_EQ(capture.getText(), "\r[          ] 0%  ");
}

TEST(qzProgressNotifierConsoleViewTest, FlushesNothing)
{
    const ConsoleRecorder console;
    qzProgressNotifierConsoleView view(nullptr, 10, nullptr);
    view.setCurrentStepProgress(1);
    EXPECT_EQ(console.getText(), "\r[          ] 0%  \r[==========] 100%  ");
    EXPECT_EQ(console.getFlushCount(), 0);
}

TEST(qzProgressNotifierConsoleViewTest, LeavesAWidthThatTheProgramHasSetForItsOwnText)
{
    const support::StdoutCapture capture;
    std::cout << std::setfill('*') << std::setw(9);
    const qzProgressNotifierConsoleView view(nullptr, 3, nullptr);
    std::cout << "own" << std::setfill(' ');
    support::flushStandardStreams();
    EXPECT_EQ(capture.getText(), "\r[   ] 0%  ******own");
}

TEST(qzProgressNotifierConsoleViewTest, ShowsEachWholePercentOnce)
{
    const support::StdoutCapture capture;
    qzProgressNotifierConsoleView view(nullptr, 10, nullptr);
    view.setCurrentStepProgress(0.5);
    view.setCurrentStepProgress(0.501);
    view.setCurrentStepProgress(0.502);
    view.setCurrentStepProgress(1);
    support::flushStandardStreams();
    EXPECT_EQ(capture.getText(), "\r[          ] 0%  \r[=====     ] 50%  \r[==========] 100%  ");
}

TEST(qzProgressNotifierConsoleViewTest, FollowsTheRequestsToStopThatItIsConstructedWith)
{
    const support::StdoutCapture capture;
    bool isFlagSet = false;
    bool isSourceSet = false;
    const qzCancelInterfaceProxyReadOnly source(&isSourceSet);
    const qzProgressNotifierConsoleView view(&isFlagSet, 10, &source);
    EXPECT_FALSE(view.shouldCancel());
    isFlagSet = true;
    EXPECT_TRUE(view.shouldCancel());
    isFlagSet = false;
    isSourceSet = true;
    EXPECT_TRUE(view.shouldCancel());
    support::flushStandardStreams();
}

struct BarRow {
    const char* name;
    int width;
    float figure;
    std::string text;
};

// Gets the figure past the stack, which limits it.
class FreeView : public qzProgressNotifierConsoleView {
public:
    explicit FreeView(int width) : qzProgressNotifierConsoleView(nullptr, width, nullptr) {}
    using qzProgressNotifierConsoleView::onProgressChanged;
};

// What a bar writes for a figure that comes after a full one.
std::string showBar(int width, float figure)
{
    const support::StdoutCapture capture;
    FreeView view(width);
    view.onProgressChanged(1.0F);
    support::flushStandardStreams();
    const std::size_t size = capture.getText().size();
    view.onProgressChanged(figure);
    support::flushStandardStreams();
    return capture.getText().substr(size);
}

class qzProgressNotifierBar : public ::testing::TestWithParam<BarRow> {};

TEST_P(qzProgressNotifierBar, LooksAsItsRow)
{
    EXPECT_EQ(showBar(GetParam().width, GetParam().figure), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, qzProgressNotifierBar,
    ::testing::Values(BarRow{"Half", 4, 0.5F, "\r[==  ] 50%  "},
                      // The length is calculated in float, the percentage in double.
                      BarRow{"SevenTenths", 10, 0.7F, "\r[=======   ] 69%  "},
                      BarRow{"RoundsDown", 3, 0.67F, "\r[== ] 67%  "},
                      BarRow{"FillIsFloored", 3, 0.5F, "\r[=  ] 50%  "},
                      BarRow{"Negative", 4, -0.5F, "\r[    ] -50%  "},
                      BarRow{"NegativePercentIsFloored", 4, -0.005F, "\r[    ] -1%  "},
                      BarRow{"AboveOne", 4, 1.5F, "\r[======] 150%  "},
                      BarRow{"NoWidth", 0, 0.5F, "\r[] 50%  "},
                      BarRow{"NegativeWidth", -4, 0.5F, "\r[] 50%  "},
                      BarRow{"LeastPercent", 1, -1e30F, "\r[ ] -2147483648%  "},
                      BarRow{"MostPercent", 0, 1e30F, "\r[] 2147483647%  "},
                      BarRow{"Wide", 200, 0.5F,
                             "\r[" + std::string(100, '=') + std::string(100, ' ') + "] 50%  "}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(qzProgressNotifierConsoleViewTest, ShowsNotANumberAsZero)
{
    EXPECT_EQ(showBar(2, std::numeric_limits<float>::quiet_NaN()), "\r[  ] 0%  ");
}

}  // namespace qz
