// SPDX-License-Identifier: MIT
#include "Merge.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "Selection.h"

namespace qzlog {

bool Merge::IsLater(const Waiting& left, const Waiting& right)
{
    return std::tie(left.timeMs, left.number) > std::tie(right.timeMs, right.number);
}

void Merge::add(std::shared_ptr<LogFile> file)
{
    push(mCount++, std::move(file));
}

void Merge::push(std::size_t number, std::shared_ptr<LogFile> file)
{
    if (!findNext(*file, mFilter)) return;
    const long timeMs = file->getTimeMs();
    mWaiting.push_back({timeMs, number, std::move(file)});
    std::push_heap(mWaiting.begin(), mWaiting.end(), &IsLater);
}

LogFile* Merge::next()
{
    if (mCurrent.file) push(mCurrent.number, std::exchange(mCurrent.file, nullptr));
    if (mWaiting.empty()) return nullptr;
    std::pop_heap(mWaiting.begin(), mWaiting.end(), &IsLater);
    mCurrent = std::move(mWaiting.back());
    mWaiting.pop_back();
    return mCurrent.file.get();
}

}  // namespace qzlog
