// SPDX-License-Identifier: MIT
#include <qz/qzStringUtils.h>

#include <array>
#include <cstddef>
#include <cstring>

#include "Digits.h"

namespace qz {

namespace {

enum Unit : std::size_t { Milliseconds, Seconds, Minutes, Hours, Days, UnitCount };

constexpr std::size_t kLabelSize = 2;

// With the blank before the next amount. Nothing follows the milliseconds.
constexpr std::array<const char*, UnitCount> kLabels = {"ms", "s ", "m ", "h ", "d "};

using Amounts = std::array<long, UnitCount>;

// The division truncates, so the units of a negative duration are negative or zero.
Amounts split(long milliseconds)
{
    Amounts amounts;
    amounts[Milliseconds] = milliseconds % 1000;
    const long seconds = milliseconds / 1000;
    amounts[Seconds] = seconds % 60;
    const long minutes = seconds / 60;
    amounts[Minutes] = minutes % 60;
    const long hours = minutes / 60;
    amounts[Hours] = hours % 24;
    amounts[Days] = hours / 24;
    return amounts;
}

std::size_t getLowestShown(std::size_t highest, int detail)
{
    switch (detail) {
        case 1:
            return highest <= Seconds ? Milliseconds : highest == Minutes ? Seconds : Minutes;
        case 2:
            return Minutes;
        default:
            return Milliseconds;
    }
}

// Most amounts have one digit or two.
char* writeAmount(char* to, long amount)
{
    if (amount < 0 || amount > 99) return text::writeInteger(to, amount);
    *to = static_cast<char>('0' + amount / 10);
    to += amount > 9 ? 1 : 0;
    *to = static_cast<char>('0' + amount % 10);
    return to + 1;
}

}  // namespace

template <typename T>
std::string qzStringUtils::humanizeDuration(const T& milliseconds, int detail,
                                            bool showMilliseconds)
{
    const Amounts amounts = split(milliseconds);
    std::size_t highest = Days;
    while (highest > Milliseconds && amounts[highest] == 0)
        --highest;
    std::size_t lowest = getLowestShown(highest, detail);
    if (lowest > highest || amounts[highest] == 0) return "0ms";
    while (amounts[lowest] == 0)
        ++lowest;

    char buffer[96];
    char* at = buffer;
    for (std::size_t above = highest + 1; above > lowest; --above) {
        at = writeAmount(at, amounts[above - 1]);
        std::memcpy(at, kLabels[above - 1], kLabelSize);
        at += kLabelSize;
    }
    if (lowest != Milliseconds) --at;  // the last blank
    if (showMilliseconds && highest > Milliseconds) {
        at = text::writeText(at, " (");
        at = text::writeInteger(at, static_cast<unsigned long>(milliseconds));
        at = text::writeText(at, "ms)");
    }
    return {buffer, at};
}

template QZ_API std::string qzStringUtils::humanizeDuration(const long&, int, bool);

}  // namespace qz
