// SPDX-License-Identifier: MIT
#include "ext/base/Crc32c.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ext/RawPeer.h"

namespace qz::ext {

TEST(ExtCrc32cTest, HasTheValuesOfTheStandard)
{
    // RFC 3720, B.4, and the usual check value.
    EXPECT_EQ(computeCrc32c(0, "123456789", 9), 0xE3069283U);
    EXPECT_EQ(computeCrc32c(0, std::string(32, '\0').data(), 32), 0x8A9136AAU);
    EXPECT_EQ(computeCrc32c(0, std::string(32, '\xff').data(), 32), 0x62A8AB43U);
    EXPECT_EQ(computeCrc32c(0, "", 0), 0U);
}

TEST(ExtCrc32cTest, IsTheSameByTableAndByInstruction)
{
    if (!impl::hasCrc32cInstruction()) GTEST_SKIP() << "no such instruction";
    std::mt19937_64 random(1);
    std::vector<std::size_t> sizes = {3071, 3072, 3073, 3080, 6143, 6144, 6145, 10'000, 65'536};
    for (std::size_t size = 0; size < 300; ++size)
        sizes.push_back(size);
    for (const std::size_t size : sizes) {
        std::string bytes(size, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        const std::uint32_t expected = computePlainCrc32c(bytes);
        EXPECT_EQ(impl::computeCrc32cByTable(0, bytes.data(), size), expected) << size;
        EXPECT_EQ(computeCrc32c(0, bytes.data(), size), expected) << size;
        EXPECT_EQ(impl::computeCrc32cByInstruction(0, bytes.data(), size), expected) << size;
    }
}

TEST(ExtCrc32cTest, GoesOnAfterEarlierBytes)
{
    const std::string bytes = "a text that is split at each place";
    for (std::size_t place = 0; place <= bytes.size(); ++place) {
        const std::uint32_t first = impl::computeCrc32cByTable(0, bytes.data(), place);
        EXPECT_EQ(computeCrc32c(first, bytes.data() + place, bytes.size() - place),
                  computePlainCrc32c(bytes))
            << place;
    }
}

}  // namespace qz::ext
