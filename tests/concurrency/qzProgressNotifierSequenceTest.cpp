// SPDX-License-Identifier: MIT
#include <qz/qzProgressNotifier.h>

#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace qz {

namespace {

// The figure of a stack that holds its groups as they were asked for.
class PlainStack {
public:
    struct Group {
        std::vector<double> weights;
        std::size_t step;
        double progress;
        double maxProgress;
    };

    void begin(const std::vector<double>& weights, double maxProgress)
    {
        mGroups.push_back({weights, 0, 0, maxProgress});
    }
    void end()
    {
        mGroups.pop_back();
        mGroups.back().progress = mGroups.back().maxProgress;
    }
    Group& editLast() { return mGroups.back(); }
    std::size_t getDepth() const { return mGroups.size(); }
    double getFigure() const { return getFigureFrom(0); }

private:
    double getFigureFrom(std::size_t level) const
    {
        const Group& group = mGroups[level];
        const bool isLast = level + 1 == mGroups.size();
        const double inner = isLast ? group.progress / group.maxProgress : getFigureFrom(level + 1);
        double sum = 0;
        double before = 0;
        for (std::size_t i = 0; i < group.weights.size(); ++i) {
            sum += group.weights[i];
            if (i < group.step) before += group.weights[i];
        }
        return before / sum + inner * group.weights[group.step] / sum;
    }

    std::vector<Group> mGroups = {{{1.0}, 0, 0, 1}};
};

}  // namespace

class qzProgressNotifierSequence : public ::testing::TestWithParam<unsigned> {};

TEST_P(qzProgressNotifierSequence, HasTheFigureOfThePlainForm)
{
    std::mt19937 random(GetParam());
    const auto choose = [&](unsigned count) { return static_cast<unsigned>(random() % count); };
    qzProgressNotifierBase notifier;
    PlainStack plain;
    for (int i = 0; i < 2000; ++i) {
        PlainStack::Group& last = plain.editLast();
        switch (choose(5)) {
            case 0: {
                const std::vector<double> weights(2 + choose(4), 1.0 + choose(9));
                notifier.beginStepGroupWeights(weights, 10, nullptr);
                plain.begin(weights, 10);
                break;
            }
            case 1:
                if (plain.getDepth() == 1) break;
                notifier.endStepGroup();
                plain.end();
                break;
            case 2:
                last.step = choose(static_cast<unsigned>(last.weights.size()));
                last.progress = 0;
                last.maxProgress = 1.0 + choose(100);
                notifier.changeCurrentStep(last.maxProgress, last.step);
                break;
            case 3:
                last.progress = last.maxProgress * choose(101) / 100;
                notifier.setCurrentStepProgress(last.progress);
                break;
            default:
                last.progress = std::min(last.progress + 1, last.maxProgress);
                notifier.incrementCurrentStepProgress(1);
                break;
        }
        ASSERT_NEAR(notifier.getGlobalProgress(), plain.getFigure(), 1e-6)
            << "seed " << GetParam() << ", operation " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, qzProgressNotifierSequence, ::testing::Values(1U, 2U, 3U, 4U));

}  // namespace qz
