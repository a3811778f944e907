// SPDX-License-Identifier: MIT
#include "filesystem/XRefIndex.h"

#include <malloc.h>

#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Allocations.h"

namespace qz {

namespace {

using filesystem::StringPool;
using filesystem::XRefIndex;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Folders = std::vector<std::string>;

// --- The pool of strings

TEST(StringPool, GivesEachStringOneNumber)
{
    StringPool pool;
    EXPECT_EQ(pool.find(""), StringPool::kNone);
    EXPECT_EQ(pool.add("a"), 0U);
    EXPECT_EQ(pool.add(""), 1U);
    EXPECT_EQ(pool.add("a"), 0U);
    EXPECT_EQ(pool.add(std::string("a\0b", 3)), 2U);
    EXPECT_EQ(pool.size(), 3U);
    EXPECT_EQ(pool.get(0), "a");
    EXPECT_EQ(pool.get(1), "");
    EXPECT_EQ(pool.get(2), std::string("a\0b", 3));
    EXPECT_EQ(pool.find("b"), StringPool::kNone);
}

TEST(StringPool, EndsEachStringWithAZeroByte)
{
    StringPool pool;
    for (const char* text : {"12", "345", ""})
        EXPECT_STREQ(pool.get(pool.add(text)).data(), text);
}

TEST(StringPool, DoesAsAMapOfNumbers)
{
    std::mt19937 random(1);
    StringPool pool;
    std::unordered_map<std::string, StringPool::Id> plain;
    for (int i = 0; i != 20000; ++i) {
        const std::string text = std::to_string(random() % 5000);
        const auto id = plain.emplace(text, static_cast<StringPool::Id>(plain.size())).first;
        ASSERT_EQ(pool.add(text), id->second);
    }
    ASSERT_EQ(pool.size(), plain.size());
    for (const auto& [text, id] : plain) {
        ASSERT_EQ(pool.find(text), id);
        ASSERT_EQ(pool.get(id), text);
    }
}

TEST(StringPool, IsAsBeforeWhenMemoryIsMissing)
{
    const std::string text(100, 'x');
    for (int count = 0; count != 70; ++count) {
        StringPool pool;
        for (int i = 0; i != count; ++i)
            pool.add(std::to_string(i));
        support::failEachAllocation([&] { pool.add(text); },
                                    [&](const support::AllocationFailure& failure) {
                                        EXPECT_TRUE(failure.threwBadAlloc);
                                        EXPECT_EQ(pool.find(text), StringPool::kNone);
                                        EXPECT_EQ(pool.size(), static_cast<std::size_t>(count));
                                    });
        ASSERT_EQ(pool.get(pool.find(text)), text);
        ASSERT_EQ(pool.add("next"), static_cast<StringPool::Id>(count + 1));
        ASSERT_EQ(pool.get(pool.find("next")), "next");
    }
}

// --- The index

Folders getFolders(const XRefIndex& index, const char* key)
{
    Folders folders;
    const XRefIndex::Id id = index.find(key);
    if (id == XRefIndex::kNone) return {"no key"};
    for (auto* file = index.getFirst(id); file != nullptr; file = index.getNext(*file))
        folders.emplace_back(index.getReversedFolder(file->folder));
    return folders;
}

TEST(XRefIndex, KeepsTheFilesOfAKeyInOrder)
{
    XRefIndex index;
    EXPECT_EQ(index.find("p"), XRefIndex::kNone);
    for (const char* folder : {"b", "a", "b", ""}) {
        index.add("p", folder);
        index.add("q", folder);
    }
    EXPECT_THAT(getFolders(index, "p"), ElementsAre("b", "a", "b", ""));
    EXPECT_THAT(getFolders(index, "q"), ElementsAre("b", "a", "b", ""));
    EXPECT_EQ(index.countFiles(), 8U);
    EXPECT_EQ(index.getFolderCount(), 3U);
}

TEST(XRefIndex, ReplacesTheFilesOfOneKey)
{
    XRefIndex index;
    for (const char* folder : {"a", "b", "c"}) {
        index.add("p", folder);
        index.add("q", folder);
    }
    index.removeFiles("p");
    index.removeFiles("p");
    index.removeFiles("unknown");
    EXPECT_THAT(getFolders(index, "p"), IsEmpty());
    EXPECT_EQ(index.countFiles(), 3U);
    for (const char* folder : {"d", "e", "f", "g"})
        index.add("p", folder);
    EXPECT_THAT(getFolders(index, "p"), ElementsAre("d", "e", "f", "g"));
    EXPECT_THAT(getFolders(index, "q"), ElementsAre("a", "b", "c"));
    EXPECT_EQ(index.countFiles(), 7U);
}

TEST(XRefIndex, IsEqualByTextsNotByNumbers)
{
    XRefIndex index;
    XRefIndex other;
    index.add("p", "a");
    index.add("q", "b");
    other.add("q", "b");
    EXPECT_FALSE(index == other);
    other.add("p", "a");
    EXPECT_TRUE(index == other);
    index.add("p", "b");
    EXPECT_FALSE(index == other);
    EXPECT_FALSE(other == index);
    other.add("p", "c");
    EXPECT_FALSE(index == other);
}

TEST(XRefIndex, FindsVersionsWithoutAnOrderToo)
{
    XRefIndex index;
    for (const char* key : {"prt.p.10", "prt.p.9", "prt.q.11", "txt.p.12"})
        index.add(key, "");
    EXPECT_EQ(index.getKey(index.findLastVersion("prt.p")), "prt.p.10");
    index.finishBuild();
    EXPECT_EQ(index.getKey(index.findLastVersion("prt.p")), "prt.p.10");
    index.add("prt.p.11", "");
    EXPECT_EQ(index.getKey(index.findLastVersion("prt.p")), "prt.p.11") << "not sorted again";
    EXPECT_EQ(index.findLastVersion("txt.p"), XRefIndex::kNone) << "a kind without versions";
}

std::size_t countBytesInUse()
{
    const auto memory = ::mallinfo2();
    return memory.uordblks + memory.hblkhd;
}

// A copy has no reserve.
TEST(XRefIndex, TakesNoMoreMemoryThanItsCopyAfterABuild)
{
    if (!support::kSeesMalloc) GTEST_SKIP() << "a sanitizer's memory isn't counted";
    const std::size_t before = countBytesInUse();
    XRefIndex index;
    for (int i = 0; i != 20000; ++i)
        index.add("prt." + std::to_string(i), std::to_string(i / 10));
    index.finishBuild();
    const std::size_t built = countBytesInUse();
    const XRefIndex copy = index;
    EXPECT_LT(built - before, (countBytesInUse() - built) * 101 / 100);
    EXPECT_TRUE(copy == index);
}

TEST(XRefIndex, IsAsBeforeWhenMemoryIsMissing)
{
    for (int count = 0; count != 70; ++count) {
        XRefIndex before;
        for (int i = 0; i != count; ++i)
            before.add(std::to_string(i), std::to_string(i / 3));
        XRefIndex index = before;
        support::failEachAllocation([&] { index.add("a key that is on the heap", "folder"); },
                                    [&](const support::AllocationFailure& failure) {
                                        EXPECT_TRUE(failure.threwBadAlloc);
                                        EXPECT_TRUE(index == before);
                                    });
        EXPECT_THAT(getFolders(index, "a key that is on the heap"), ElementsAre("folder"));
        EXPECT_EQ(index.countFiles(), static_cast<unsigned>(count) + 1U);
    }
}

}  // namespace

}  // namespace qz
