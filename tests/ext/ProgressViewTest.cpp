// SPDX-License-Identifier: MIT
// The view as programs use it; the white-box test of the same name has a clock of its own.

#include <qz/ext/ProgressView.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/LibraryStart.h"
#include "support/OutputCapture.h"

namespace qz::ext {

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// A program's own view, which also counts the updates.
class CountingView : public ProgressView {
public:
    using ProgressView::ProgressView;

    int count = 0;

protected:
    void onProgressChanged(float progress) override
    {
        ++count;
        ProgressView::onProgressChanged(progress);
    }
};

TEST(ProgressViewTest, WritesToTheErrorStreamByDefault)
{
    const support::LibraryStart library;
    const support::StdoutCapture output;
    const support::StderrCapture errors;
    ProgressView view{ProgressViewOptions()};
    view.incrementCurrentStepProgress(0.3);
    view.resetNotifier();
    view.setCurrentStepProgress(1);
    view.clearLine();
    EXPECT_THAT(errors.getText(), StartsWith("30%"));
    EXPECT_THAT(errors.getText(), HasSubstr("\n100%"));
    EXPECT_EQ(output.getText(), "");
}

TEST(ProgressViewTest, CanBeExtended)
{
    const support::LibraryStart library;
    const support::StderrCapture errors;
    CountingView view{ProgressViewOptions()};
    view.incrementCurrentStepProgress(0.01);
    view.incrementCurrentStepProgress(0.49);
    EXPECT_EQ(view.count, 2);
    EXPECT_THAT(errors.getText(), StartsWith("50%"));
}

}  // namespace

}  // namespace qz::ext
