// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <string_view>

namespace qz::text {

/// The lines that meet in the middle of a box character. A junction is a sum of them.
enum BoxLine : unsigned { BoxLeft = 1, BoxRight = 2, BoxUp = 4, BoxDown = 8 };

/// Box characters by junction. Unused entries have placeholders, so that a wrong junction is
/// visible.
using BoxGlyphs = std::array<std::string_view, 16>;

/// The line above each row except the first.
inline constexpr BoxGlyphs boxMiddle = {"S0", "S1", "S2", "─", "S4", "┘", "└", "┴",
                                        "S8", "S9", "SA", "┬", "│",  "┤", "├", "┼"};

/// The line above the first row. The left edge has the index 14 in every table, although nothing
/// goes up from it here.
inline constexpr BoxGlyphs boxTop = {"S0", "S1", "S2", "─", "S4", "┘", "└", "┴",
                                     "S8", "┐",  "SA", "┬", "│",  "┤", "┌", "┼"};

/// The line between a title and the first row.
inline constexpr BoxGlyphs boxTitleJoin = {"TS0", "TS1", "TS2", "═", "TS4", "TS5", "TS6", "TS7",
                                           "TS8", "╡",   "TSA", "╤", "TSC", "TSD", "╞",   "TSF"};

/// The line above a title.
inline constexpr BoxGlyphs boxDouble = {"T0", "T1", "T2", "═",  "T4", "T5", "T6", "T7",
                                        "T8", "╕",  "╒",  "TB", "TC", "TD", "TE", "TF"};

}  // namespace qz::text
