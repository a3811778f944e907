// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <string>
#include <string_view>

#include <qz/qzProgressNotifier.h>

namespace qz {

namespace {

// The largest whole number that is not above the value, as far as an int goes; 0 for NaN.
int floorToInt(double value)
{
    constexpr double kLeast = std::numeric_limits<int>::min();
    constexpr double kMost = std::numeric_limits<int>::max();
    if (std::isnan(value)) return 0;
    return static_cast<int>(std::clamp(std::floor(value), kLeast, kMost));
}

// Without a string of that length, as a bar may be of any width.
void writeRepeated(std::ostream& out, char character, long count)
{
    const std::string_view::size_type blockSize = 64;
    char block[blockSize];
    std::fill(std::begin(block), std::end(block), character);
    for (; count > 0; count -= static_cast<long>(blockSize)) {
        out.write(block, std::min(count, static_cast<long>(blockSize)));
    }
}

}  // namespace

qzProgressNotifierConsoleView::qzProgressNotifierConsoleView(
    const bool* externalFlag, int barWidth, const qzCancelInterfaceReadOnly* externalCancel)
    : qzProgressNotifierBase(externalFlag, externalCancel), mBarWidth(barWidth)
{
    // The constructor of the base couldn't reach this class, so the empty bar is shown here.
    qzProgressNotifierConsoleView::onProgressChanged(getGlobalProgress());
}

qzProgressNotifierConsoleView::~qzProgressNotifierConsoleView() = default;

void qzProgressNotifierConsoleView::onProgressChanged(float progress)
{
    const int percent = floorToInt(progress * 100.0);
    if (percent == mLastPercent) return;
    mLastPercent = percent;
    // In float: with other widths a product in double would round differently.
    const float fill = static_cast<float>(mBarWidth) * progress;
    const long filled = std::max(floorToInt(static_cast<double>(std::floor(fill))), 0);
    // Unformatted, as the program may have set a width for a text of its own.
    std::cout.write("\r[", 2);
    writeRepeated(std::cout, '=', filled);
    writeRepeated(std::cout, ' ', mBarWidth - filled);
    const std::string end = "] " + std::to_string(percent) + "%  ";
    std::cout.write(end.data(), static_cast<std::streamsize>(end.size()));
}

}  // namespace qz
