// SPDX-License-Identifier: MIT
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "io/SwapBufferTrial.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz {

// Each seed is a device of its own sizes, with and without a budget.
TEST(qzIoDeviceSwapBufferSequence, IsThatOfAPlainRowOfBytes)
{
    const support::LibraryStart library;
    const support::ScratchFolder folder;
    for (unsigned int seed = 1; seed <= 150; ++seed) {
        std::mt19937 generator(seed);
        SwapBufferTrial trial(folder.getPath(),
                              [&](unsigned long bound) { return generator() % bound; });
        for (int i = 0; i < 400; ++i) {
            const std::string difference = trial.step();
            ASSERT_EQ(difference, "") << "seed " << seed << ", step " << i;
        }
        const std::string difference = trial.finish();
        ASSERT_EQ(difference, "") << "seed " << seed;
    }
}

}  // namespace qz
