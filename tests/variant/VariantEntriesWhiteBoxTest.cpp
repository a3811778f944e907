// SPDX-License-Identifier: MIT
// The tree of a map's entries and the memory of its nodes, seen from inside.

#include "variant/VariantEntries.h"

#include <malloc.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "variant/VariantAccess.h"

namespace qz {

using Map = qzVariant::qzVariantMapImpl;
using impl::VariantAccess;
using impl::VariantNode;

namespace {

// Counts the nodes below and with `node`, and checks their links, heights and order.
std::size_t countSoundNodes(const VariantNode* node)
{
    if (node == nullptr) return 0;
    int heights[2] = {};
    for (const impl::Side side : {impl::Smaller, impl::Larger}) {
        const VariantNode* const child = node->child[side];
        if (child == nullptr) continue;
        heights[side] = child->height;
        EXPECT_EQ(child->parent, node);
        EXPECT_EQ(child->entry.first < node->entry.first, side == impl::Smaller);
    }
    EXPECT_EQ(node->height, std::max(heights[0], heights[1]) + 1);
    EXPECT_LE(std::abs(heights[0] - heights[1]), 1);
    return countSoundNodes(node->child[impl::Smaller]) + 1 +
           countSoundNodes(node->child[impl::Larger]);
}

void expectSound(const Map& map)
{
    const impl::VariantEntries& entries = VariantAccess::getEntries(map);
    EXPECT_EQ(countSoundNodes(entries.root), entries.size);
    if (entries.root != nullptr) {
        EXPECT_EQ(entries.root->parent, nullptr);
    }
}

TEST(VariantEntries, StayBalancedInEveryOrderOfSevenKeys)
{
    std::string keys = "abcdefg";
    do {
        Map map;
        for (const char key : keys)
            map[std::string(1, key)] = 1;
        expectSound(map);
        ASSERT_EQ(VariantAccess::getEntries(map).root->height <= 4, true) << keys;
        for (const char key : keys) {
            map.erase(std::string(1, key));
            expectSound(map);
        }
        ASSERT_FALSE(HasFailure()) << keys;
    } while (std::next_permutation(keys.begin(), keys.end()));
}

TEST(VariantEntries, StayBalancedWhileEachOfSevenIsErasedFirst)
{
    for (char erased = 'a'; erased <= 'g'; ++erased) {
        for (char next = 'a'; next <= 'g'; ++next) {
            Map map;
            for (const char key : std::string("dbfaceg"))
                map[std::string(1, key)] = key;
            map.erase(std::string(1, erased));
            map.erase(std::string(1, next));
            expectSound(map);
            EXPECT_EQ(map.size(), erased == next ? 6U : 5U);
        }
    }
}

TEST(VariantEntries, AreThoseOfAPlainMapAfterEachStep)
{
    for (unsigned int seed = 0; seed != 30; ++seed) {
        std::mt19937 random(seed);
        std::map<std::string, long> plain;
        Map map;
        for (int step = 0; step != 500; ++step) {
            const std::string key = std::to_string(random() % (seed * 10 + 10));
            if (random() % 3 == 0) {
                EXPECT_EQ(map.erase(key), plain.erase(key));
            } else {
                map[key] = step;
                plain[key] = step;
            }
            expectSound(map);
            const auto isSame = [](const auto& left, const auto& right) {
                return left.first == right.first && left.second.toInteger() == right.second;
            };
            ASSERT_TRUE(std::equal(map.begin(), map.end(), plain.begin(), plain.end(), isSame));
        }
        const Map copy(map);
        expectSound(copy);
        EXPECT_EQ(copy, map);
    }
}

TEST(VariantEntries, HaveTheHeightOfABalancedTree)
{
    Map map;
    for (int i = 0; i != 100000; ++i)
        map[std::to_string(1000000 + i)] = i;
    expectSound(map);
    EXPECT_LE(VariantAccess::getEntries(map).root->height, 24) << "1.44 * log2(100000)";
}

TEST(VariantEntries, AreSoundWhenMemoryRunsOut)
{
    const std::string longKey(100, 'k');
    Map map;
    for (int i = 0; i != 70; ++i) {
        const std::string key = longKey + std::to_string(i);
        support::failEachAllocation([&] { map[key]; },
                                    [&](const support::AllocationFailure& failure) {
                                        EXPECT_TRUE(failure.threwBadAlloc);
                                        EXPECT_EQ(map.count(key), 0U);
                                        expectSound(map);
                                    });
    }
    EXPECT_EQ(map.size(), 70U);
}

TEST(VariantEntries, FreeTheirMemoryWhenTheyAreErased)
{
    if (!support::kSeesMalloc) GTEST_SKIP() << "mallinfo2 shows nothing under this sanitizer";
    Map map;
    const std::size_t before = ::mallinfo2().uordblks;
    for (int i = 0; i != 20000; ++i)
        map[std::to_string(i)] = i;
    const std::size_t full = ::mallinfo2().uordblks - before;
    for (int i = 1; i != 20000; ++i)
        map.erase(std::to_string(i));
    EXPECT_EQ(map.size(), 1U);
    EXPECT_LT(::mallinfo2().uordblks - before, full / 50);
    Map copy(map);
    for (int i = 0; i != 20000; ++i)
        map[std::to_string(i)] = i;
    copy = map;
    const std::size_t withCopy = ::mallinfo2().uordblks;
    for (int i = 1; i != 20000; ++i)
        copy.erase(std::to_string(i));
    EXPECT_LT(::mallinfo2().uordblks, withCopy - full * 9 / 10) << "a copy in one large block";
}

TEST(VariantEntries, UseTheMemoryOfErasedOnesAgain)
{
    Map map;
    for (int i = 0; i != 1000; ++i)
        map[std::to_string(i)] = i;
    const support::AllocationCounter allocations;
    for (int i = 0; i != 1000; ++i) {
        map.erase(std::to_string(i));
        map[std::to_string(i)] = i;
    }
#ifndef __SANITIZE_ADDRESS__  // which gets new memory for each, so that old references are found
    EXPECT_LE(allocations.getCount(), 10U);
#endif
    expectSound(map);
}

TEST(VariantEntries, ReportAUseOfAnErasedOneUnderTheAddressSanitizer)
{
#ifdef __SANITIZE_ADDRESS__
    const support::ChildResult result = support::runInChild([] {
        Map map{{"a", 1}, {"b", 2}};
        const qzVariant& erased = map["a"];
        map.erase("a");
        map["c"] = 42;
        return static_cast<int>(erased.toInteger());
    });
    EXPECT_NE(result.err.find("use-after-poison"), std::string::npos) << result.getEnd();
#else
    GTEST_SKIP() << "only with the address sanitizer";
#endif
}

}  // namespace

}  // namespace qz
