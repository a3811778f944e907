// SPDX-License-Identifier: MIT
#include <qz/UUID.h>

#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace qz {

namespace {

static_assert(UUID::FormatHex == 1);
static_assert(!std::is_default_constructible_v<UUID>);

std::string toText(const unsigned char* bytes, std::string out = "")
{
    UUID::BinaryToString<UUID::FormatHex>(bytes, out);
    return out;
}

}  // namespace

TEST(UUIDTest, ReadsAsHexadecimalDigitsTheHighHalfFirst)
{
    const unsigned char bytes[16] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                                     0xFF, 0xF0, 0x0F, 0x00, 0x10, 0x80, 0x7F, 0xAA};
    EXPECT_EQ(toText(bytes), "0123456789abcdeffff00f0010807faa");
}

TEST(UUIDTest, HasItsFormatByNumber)
{
    const unsigned char bytes[16] = {};
    std::string out;
    UUID::BinaryToString<static_cast<UUID::Format>(1)>(bytes, out);
    EXPECT_EQ(out, std::string(32, '0'));
}

TEST(UUIDTest, OverwritesATextOfAnySize)
{
    const unsigned char bytes[16] = {};
    for (const std::size_t size : {0UL, 1UL, 31UL, 32UL, 33UL, 1000UL}) {
        EXPECT_EQ(toText(bytes, std::string(size, 'x')), std::string(32, '0')) << size;
    }
}

TEST(UUIDTest, WritesEachByteAtItsPlace)
{
    for (std::size_t place = 0; place < 16; ++place) {
        for (unsigned value = 0; value < 256; ++value) {
            unsigned char bytes[16] = {};
            bytes[place] = static_cast<unsigned char>(value);
            std::string expected(32, '0');
            expected[2 * place] = "0123456789abcdef"[value / 16];
            expected[2 * place + 1] = "0123456789abcdef"[value % 16];
            EXPECT_EQ(toText(bytes), expected);
        }
    }
}

}  // namespace qz
