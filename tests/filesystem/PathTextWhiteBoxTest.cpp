// SPDX-License-Identifier: MIT
#include "filesystem/PathText.h"

#include <string>

#include <gtest/gtest.h>

namespace qz {

namespace {

bool isPlainByByte(const std::string& name)
{
    for (const char byte : name)
        if (static_cast<unsigned char>(byte) > 0x7f || byte == '\\') return false;
    return true;
}

// Each byte at each place in names of each length up to three words, beside bytes whose values
// are next to those that are searched.
TEST(PathText, KnowsPlainNamesAtAllLengths)
{
    for (const char filler : {'a', '\x7f', '[', ']', '\0'}) {
        for (std::size_t size = 0; size != 25; ++size) {
            const std::string plain(size, filler);
            EXPECT_TRUE(filesystem::isPlainName(plain)) << size;
            for (std::size_t place = 0; place != size; ++place) {
                std::string name = plain;
                for (int byte = 0; byte != 256; ++byte) {
                    name[place] = static_cast<char>(byte);
                    ASSERT_EQ(filesystem::isPlainName(name), isPlainByByte(name))
                        << "byte " << byte << " at " << place << " of " << size;
                }
            }
        }
    }
}

TEST(PathText, ReadsNoByteBesideTheName)
{
    const std::string text = "\\plain name\\";
    EXPECT_TRUE(filesystem::isPlainName(std::string_view(text).substr(1, text.size() - 2)));
    EXPECT_TRUE(filesystem::isPlainName(std::string_view(text).substr(1, 3)));
}

}  // namespace

}  // namespace qz
