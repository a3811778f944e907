// SPDX-License-Identifier: MIT
#include <qz/MemoryAndCpuWatcher.h>

#include <limits>
#include <utility>

namespace qz {

template <typename T>
MemoryAndCpuWatcher::Series<T>::Series()
    : minimum(std::numeric_limits<T>::max()), maximum(std::numeric_limits<T>::lowest())
{
}

template <typename T>
void MemoryAndCpuWatcher::Series<T>::addSample(T value)
{
    sum += value;
    ++count;
    if (value < minimum) minimum = value;
    if (value > maximum) maximum = value;
    if (mode == 1) samples.push_back(value);
    state = 0;
    average = -1.0;
}

template <typename T>
void MemoryAndCpuWatcher::Series<T>::clear()
{
    std::vector<T> emptied = std::move(samples);
    emptied.clear();
    *this = Series();
    samples = std::move(emptied);
}

template struct MemoryAndCpuWatcher::Series<long>;
template struct MemoryAndCpuWatcher::Series<float>;

void MemoryAndCpuWatcher::TimestampReference::clear()
{
    label.clear();
    timeMs = 0;
    lastRam = 0;
    ramSeries.clear();
    secondSeries.clear();
    cpuSeries.clear();
}

}  // namespace qz
