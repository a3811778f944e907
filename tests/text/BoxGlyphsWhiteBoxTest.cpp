// SPDX-License-Identifier: MIT
#include "text/BoxGlyphs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qz {

using ::testing::ElementsAre;

TEST(BoxGlyphsTest, HoldTheirRows)
{
    EXPECT_THAT(text::boxMiddle, ElementsAre("S0", "S1", "S2", "─", "S4", "┘", "└", "┴", "S8", "S9",
                                             "SA", "┬", "│", "┤", "├", "┼"));
    EXPECT_THAT(text::boxTop, ElementsAre("S0", "S1", "S2", "─", "S4", "┘", "└", "┴", "S8", "┐",
                                          "SA", "┬", "│", "┤", "┌", "┼"));
    EXPECT_THAT(text::boxTitleJoin,
                ElementsAre("TS0", "TS1", "TS2", "═", "TS4", "TS5", "TS6", "TS7", "TS8", "╡", "TSA",
                            "╤", "TSC", "TSD", "╞", "TSF"));
    EXPECT_THAT(text::boxDouble, ElementsAre("T0", "T1", "T2", "═", "T4", "T5", "T6", "T7", "T8",
                                             "╕", "╒", "TB", "TC", "TD", "TE", "TF"));
}

// The bytes, so that an editor's idea of a look-alike can't slip in.
TEST(BoxGlyphsTest, AreBoxDrawingCharacters)
{
    EXPECT_EQ(text::boxMiddle[3], "\xE2\x94\x80");
    EXPECT_EQ(text::boxMiddle[12], "\xE2\x94\x82");
    EXPECT_EQ(text::boxMiddle[15], "\xE2\x94\xBC");
    EXPECT_EQ(text::boxDouble[3], "\xE2\x95\x90");
    EXPECT_EQ(text::boxDouble[10], "\xE2\x95\x92");
    EXPECT_EQ(text::boxTitleJoin[14], "\xE2\x95\x9E");
}

}  // namespace qz
