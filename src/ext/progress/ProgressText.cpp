// SPDX-License-Identifier: MIT
#include "ProgressText.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <qz/qzStringUtils.h>

#include "base/Utf8Character.h"

namespace qz::ext {

namespace {

constexpr double kPercent = 100;
constexpr double kMsPerSec = 1000;
constexpr long kLeastElapsedMs = 500;  // before it, rate and time mean nothing
constexpr std::size_t kLeastBarColumns = 10;
// Numbers of usual lengths leave the bar where it is.
constexpr std::size_t kNumberColumns = 5;
constexpr std::size_t kDurationColumns = 7;

// Whether a character takes two columns of a terminal, as those of Chinese, Japanese and Korean do,
// and most pictures. The blocks of pictures have narrow characters as well: a line with one of
// these is a column shorter.
bool isWide(char32_t value)
{
    constexpr CharacterRange kRanges[] = {
        {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23F3},
        {0x25FD, 0x25FE},   {0x2614, 0x27BF},   {0x2B1B, 0x2B55},   {0x2E80, 0xA4CF},
        {0xA960, 0xA97C},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE10, 0xFE19},
        {0xFE30, 0xFE6B},   {0xFF01, 0xFF60},   {0xFFE0, 0xFFE6},   {0x16FE0, 0x18D08},
        {0x1AFF0, 0x1B2FB}, {0x1F004, 0x1F265}, {0x1F300, 0x1FAF8}, {0x20000, 0x3FFFD},
    };
    return isInRanges(value, kRanges);
}

std::size_t countColumns(const std::string& text)
{
    std::size_t columns = 0;
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at != end;) {
        const Utf8Character character = decodeCharacter(at, end);
        columns += isWide(character.value) ? 2 : 1;
        at += std::max(character.size, 1U);
    }
    return columns;
}

std::string alignRight(const std::string& text, std::size_t columns)
{
    return std::string(columns - std::min(columns, countColumns(text)), ' ') + text;
}

// Whether rate and time mean something.
bool isMeasured(const ProgressFigures& figures)
{
    return figures.progress > 0 && figures.elapsedMs >= kLeastElapsedMs;
}

std::string formatRate(const ProgressFigures& figures, std::size_t numberColumns)
{
    constexpr int kDigits = 3;
    constexpr int kDecimals = 1;
    const bool hasTotal = figures.total > 0 && std::isfinite(figures.total);
    const double done = figures.progress * (hasTotal ? figures.total : kPercent);
    const std::string number = qzStringUtils::humanizeNumberGeneric(
        done / (static_cast<double>(figures.elapsedMs) / kMsPerSec), kDigits, kDecimals,
        /*binaryPrefixes=*/false, /*largePrefixes=*/true, /*smallPrefixes=*/false);
    return alignRight(number, numberColumns) + (hasTotal ? figures.unit : "%") + "/s";
}

// In whole seconds, rounded up; at most some years.
std::string formatTimeLeft(const ProgressFigures& figures)
{
    constexpr double kMostSec = 1e9;
    if (figures.progress >= 1) return "0s";
    const double sec = static_cast<double>(figures.elapsedMs) / kMsPerSec *
                       ((1 - figures.progress) / figures.progress);
    const auto ms = static_cast<long>(std::ceil(std::min(sec, kMostSec)) * kMsPerSec);
    return qzStringUtils::humanizeDuration(ms, /*detail=*/1, /*showMilliseconds=*/false);
}

std::string formatBar(double progress, std::size_t columns)
{
    std::string bar(columns, ' ');
    const std::size_t filled =
        std::min(static_cast<std::size_t>(progress * static_cast<double>(columns)), columns);
    std::fill_n(bar.begin(), filled, '=');
    if (filled < columns) bar[filled] = '>';
    return '[' + bar + ']';
}

// Title, bar and figures, with a bar that takes the rest of the columns; empty if that is too
// short.
std::string fill(const std::string& title, double progress, const std::string& figures,
                 std::size_t columns)
{
    const std::string start = title.empty() ? "" : title + ' ';
    constexpr std::size_t kFrame = 2;
    const std::size_t used = countColumns(start) + kFrame + countColumns(figures);
    if (columns < used + kLeastBarColumns) return {};
    return start + formatBar(progress, columns - used) + figures;
}

}  // namespace

int toPercent(double progress)
{
    constexpr double kRounding = 1e-4;  // percent; a float is more exact
    return static_cast<int>(progress * kPercent + kRounding);
}

std::string formatProgressLine(const ProgressFigures& figures, int columns)
{
    constexpr std::size_t kPercentColumns = 4;
    const auto width = static_cast<std::size_t>(std::max(columns - 1, 0));
    const std::string percent = std::to_string(toPercent(figures.progress)) + '%';
    const std::string end = ' ' + alignRight(percent, kPercentColumns);
    std::string all = end;
    if (isMeasured(figures)) {
        all += "  " + formatRate(figures, kNumberColumns) + "  " +
               alignRight(formatTimeLeft(figures), kDurationColumns) + " left";
    }
    std::string line = fill(figures.title, figures.progress, all, width);
    if (line.empty()) line = fill("", figures.progress, all, width);
    if (line.empty()) line = fill("", figures.progress, end, width);
    if (!line.empty()) return line;
    line = percent.substr(0, width);
    return line + std::string(width - line.size(), ' ');
}

std::string formatProgressReport(const ProgressFigures& figures)
{
    std::string line = figures.title.empty() ? "" : figures.title + ": ";
    line += std::to_string(toPercent(figures.progress)) + '%';
    if (!isMeasured(figures)) return line;
    line += "  " + formatRate(figures, 0);
    if (figures.progress < 1) line += "  " + formatTimeLeft(figures) + " left";
    return line;
}

}  // namespace qz::ext
