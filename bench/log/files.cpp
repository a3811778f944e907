// SPDX-License-Identifier: MIT
#include "files.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>

namespace bench {

std::size_t countLines(const std::string& path)
{
    std::ifstream file(path);
    return static_cast<std::size_t>(
        std::count(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>(), '\n'));
}

double measureLatency(double share, const std::function<void(std::size_t)>& report)
{
    using Steady = std::chrono::steady_clock;
    constexpr auto kDistance = std::chrono::microseconds(5);
    std::vector<double> seconds(sized(10000, 10));
    for (std::size_t i = 0; i < seconds.size(); ++i) {
        const Steady::time_point start = Steady::now();
        report(i);
        const Steady::time_point end = Steady::now();
        seconds[i] = std::chrono::duration<double>(end - start).count();
        while (Steady::now() < end + kDistance) {
        }
    }
    const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(seconds.size() - 1));
    std::nth_element(seconds.begin(), seconds.begin() + place, seconds.end());
    return seconds[static_cast<std::size_t>(place)];
}

}  // namespace bench
