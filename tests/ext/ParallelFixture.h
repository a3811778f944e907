// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <numeric>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>
#include <qz/ext/Parallel.h>
#include <qz/qzCancelInterface.h>

#include "support/LibraryStart.h"
#include "support/Waiting.h"

namespace qz::ext {

inline ParallelOptions withPool(ConcurrentPool& pool)
{
    ParallelOptions options;
    options.pool = &pool;
    return options;
}

// What the bodies of a loop were called with, in ascending order.
template <typename Element>
class Calls {
public:
    void add(Element element)
    {
        const std::lock_guard lock(mMutex);
        mElements.push_back(element);
    }
    std::vector<Element> take()
    {
        std::sort(mElements.begin(), mElements.end());
        return std::move(mElements);
    }

private:
    std::mutex mMutex;
    std::vector<Element> mElements;
};

inline std::vector<std::size_t> countTo(std::size_t count)
{
    std::vector<std::size_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), std::size_t{0});
    return numbers;
}

// A body that takes long for the first element. The caller begins a loop of many pieces alone, and
// leaves the rest to the workers then.
template <typename Body>
class SlowStart {
public:
    explicit SlowStart(const Body& body) : mBody(body) {}
    template <typename Element>
    decltype(auto) operator()(Element&& element)
    {
        if (!mHasBegun.exchange(true)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return mBody(std::forward<Element>(element));
    }

private:
    const Body& mBody;
    std::atomic<bool> mHasBegun = false;
};

template <typename Index>
std::vector<Index> listInParallel(Index begin, Index end, const ParallelOptions& options)
{
    Calls<Index> calls;
    const ParallelResult result =
        parallelFor(begin, end, SlowStart([&](Index i) { calls.add(i); }), options);
    std::vector<Index> elements = calls.take();
    EXPECT_TRUE(result);
    EXPECT_EQ(result.doneCount, elements.size());
    return elements;
}

template <typename Index>
std::vector<Index> listInALoop(Index begin, Index end)
{
    std::vector<Index> elements;
    for (Index i = begin; i < end; ++i)
        elements.push_back(i);
    return elements;
}

// Threads that meet: each waits until all are there.
class Meeting {
public:
    explicit Meeting(int count) : mMissing(count) {}
    void attend()
    {
        --mMissing;
        EXPECT_TRUE(support::waitUntil([this] { return mMissing <= 0; }));
    }

private:
    std::atomic<int> mMissing;
};

class Request : public qzCancelInterface {
public:
    bool shouldCancel() const override { return mIsMade; }
    void cancel() override { mIsMade = true; }

private:
    std::atomic<bool> mIsMade = false;
};

class ParallelFixture : public ::testing::Test {
protected:
    support::LibraryStart mLibrary{FullInit};
};

// Rules that hold on a pool of any size.
class ParallelPoolFixture : public ::testing::TestWithParam<unsigned int> {
protected:
    support::LibraryStart mLibrary{FullInit};
    ConcurrentPool mPool{GetParam()};
    ParallelOptions mOptions = withPool(mPool);
};

}  // namespace qz::ext
