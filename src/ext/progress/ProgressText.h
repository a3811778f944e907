// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The texts of a progress view.

#include <string>

namespace qz::ext {

/// What a text shows. All texts are in UTF-8.
struct ProgressFigures {
    std::string title;  ///< May be empty.
    std::string unit;   ///< Follows a number.
    double total =
        0;  ///< Units of the whole; the rate is in percent if it isn't finite and above 0.
    double progress = 0;  ///< From 0 to 1.
    long elapsedMs = 0;   ///< Since the start.
};

/// The whole percent of a progress. A float that is just below a percent counts as that percent.
int toPercent(double progress);

/// The line for a terminal, exactly as wide as the terminal but for the last column: some terminals
/// begin a new line after that. Characters of East Asia take two columns. What doesn't fit is left
/// out: the title, then the rate and the time, then the bar.
std::string formatProgressLine(const ProgressFigures& figures, int columns);

/// The line for another output, without its end.
std::string formatProgressReport(const ProgressFigures& figures);

}  // namespace qz::ext
