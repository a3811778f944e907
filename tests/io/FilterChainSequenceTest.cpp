// SPDX-License-Identifier: MIT
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "io/FilterChainTrial.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace qz {

class FilterChainSequence : public ::testing::TestWithParam<unsigned> {};

TEST_P(FilterChainSequence, EqualsThePlainForm)
{
    const support::LibraryStart library;
    const support::LogCapture quiet;
    std::mt19937 random(GetParam());
    for (int round = 0; round < 20; ++round) {
        FilterChainTrial trial([&](unsigned long bound) {
            return std::uniform_int_distribution<unsigned long>(0, bound - 1)(random);
        });
        for (int step = 0; step < 150; ++step)
            ASSERT_EQ(trial.step(), "") << "seed " << GetParam() << ", round " << round;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, FilterChainSequence,
                         ::testing::Values(1, 2, 3, 5, 8, 13, 21, 34, 55, 89),
                         ::testing::PrintToStringParamName());

}  // namespace qz
