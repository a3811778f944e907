// SPDX-License-Identifier: MIT
#include <qz/qzCancelInterface.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "io/VirtualSlots.h"
#include "support/Waiting.h"

namespace qz {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

static_assert(!std::is_convertible_v<bool&, qzCancelInterfaceProxy>);
static_assert(std::is_base_of_v<qzCancelInterfaceReadOnly, qzCancelInterface>);
static_assert(std::is_base_of_v<qzCancelInterfaceReadOnly, qzCancelInterfaceProxyReadOnly>);
static_assert(!std::is_base_of_v<qzCancelInterface, qzCancelInterfaceProxyReadOnly>);
static_assert(std::is_base_of_v<qzCancelInterface, qzCancelInterfaceProxy>);
static_assert(std::is_abstract_v<qzCancelInterfaceReadOnly> &&
              std::is_abstract_v<qzCancelInterface>);
static_assert(sizeof(qzCancelInterfaceReadOnly) == 8 && sizeof(qzCancelInterface) == 8);
static_assert(sizeof(qzCancelInterfaceProxyReadOnly) == 24);
static_assert(sizeof(qzCancelInterfaceProxy) == 32);

using Calls = std::vector<std::string>;

// A source that notes what it is asked.
class Recorder : public qzCancelInterface {
public:
    Recorder(Calls& calls, std::string name, bool answer)
        : mCalls(calls), mName(std::move(name)), mAnswer(answer)
    {
    }
    bool shouldCancel() const override
    {
        mCalls.push_back(mName + "?");
        return mAnswer;
    }
    void cancel() override
    {
        mCalls.push_back(mName + "!");
        mAnswer = true;
    }

private:
    Calls& mCalls;
    std::string mName;
    bool mAnswer;
};

}  // namespace

// --- Every combination of what a proxy asks

struct QuestionRow {
    const char* name;
    const char* flag;    // "-" for none, "0" or "1" for what it holds
    const char* target;  // likewise what the target answers
    const char* parent;
    bool answer;
    Calls calls;  // who is asked, in order
};

const QuestionRow kReadOnlyRows[] = {
    {"Nothing", "-", "-", "-", false, {}},
    {"FlagClear", "0", "-", "-", false, {}},
    {"FlagSet", "1", "-", "-", true, {}},
    {"ParentNo", "-", "-", "0", false, {"parent?"}},
    {"ParentYes", "-", "-", "1", true, {"parent?"}},
    {"FlagClearParentNo", "0", "-", "0", false, {"parent?"}},
    {"FlagClearParentYes", "0", "-", "1", true, {"parent?"}},
    {"FlagSetParentNo", "1", "-", "0", true, {}},
    {"FlagSetParentYes", "1", "-", "1", true, {}},
};

const QuestionRow kProxyRows[] = {
    {"FlagClear", "0", "-", "-", false, {}},
    {"FlagSet", "1", "-", "-", true, {}},
    {"TargetNo", "0", "0", "-", false, {"target?"}},
    {"TargetYes", "0", "1", "-", true, {"target?"}},
    {"FlagSetTargetNo", "1", "0", "-", true, {}},
    {"ParentNo", "0", "-", "0", false, {"parent?"}},
    {"ParentYes", "0", "-", "1", true, {"parent?"}},
    {"TargetNoParentNo", "0", "0", "0", false, {"target?", "parent?"}},
    {"TargetNoParentYes", "0", "0", "1", true, {"target?", "parent?"}},
    {"TargetYesParentNo", "0", "1", "0", true, {"target?"}},
    {"TargetYesParentYes", "0", "1", "1", true, {"target?"}},
    {"FlagSetTargetYesParentYes", "1", "1", "1", true, {}},
};

class CancelQuestion : public ::testing::TestWithParam<QuestionRow> {
protected:
    Recorder* findTarget() { return *GetParam().target != '-' ? &mTarget : nullptr; }
    Recorder* findParent() { return *GetParam().parent != '-' ? &mParent : nullptr; }

    Calls mCalls;
    bool mFlag = *GetParam().flag == '1';
    Recorder mTarget{mCalls, "target", *GetParam().target == '1'};
    Recorder mParent{mCalls, "parent", *GetParam().parent == '1'};
};

class qzCancelInterfaceProxyReadOnlyQuestion : public CancelQuestion {};

TEST_P(qzCancelInterfaceProxyReadOnlyQuestion, IsAnsweredAsItsRow)
{
    const bool* const flag = *GetParam().flag != '-' ? &mFlag : nullptr;
    const qzCancelInterfaceProxyReadOnly proxy(flag, findParent());
    EXPECT_EQ(proxy.shouldCancel(), GetParam().answer);
    EXPECT_EQ(mCalls, GetParam().calls);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzCancelInterfaceProxyReadOnlyQuestion,
                         ::testing::ValuesIn(kReadOnlyRows),
                         [](const auto& row) { return std::string(row.param.name); });

class qzCancelInterfaceProxyQuestion : public CancelQuestion {};

TEST_P(qzCancelInterfaceProxyQuestion, IsAnsweredAsItsRow)
{
    const qzCancelInterfaceProxy proxy(mFlag, findTarget(), findParent());
    EXPECT_EQ(proxy.shouldCancel(), GetParam().answer);
    EXPECT_EQ(mCalls, GetParam().calls);
    EXPECT_EQ(mFlag, *GetParam().flag == '1') << "a question changes nothing";
}

INSTANTIATE_TEST_SUITE_P(Rows, qzCancelInterfaceProxyQuestion, ::testing::ValuesIn(kProxyRows),
                         [](const auto& row) { return std::string(row.param.name); });

// --- Requests

TEST(qzCancelInterfaceProxyReadOnlyTest, NeverCancelsByItself)
{
    EXPECT_FALSE(qzCancelInterfaceProxyReadOnly().shouldCancel());
}

TEST(qzCancelInterfaceProxyReadOnlyTest, ChecksItsFlagEachTime)
{
    bool flag = false;
    const qzCancelInterfaceProxyReadOnly proxy(&flag);
    EXPECT_FALSE(proxy.shouldCancel());
    flag = true;
    EXPECT_TRUE(proxy.shouldCancel());
    flag = false;
    EXPECT_FALSE(proxy.shouldCancel());
}

TEST(qzCancelInterfaceProxyTest, SetsItsFlag)
{
    bool flag = false;
    qzCancelInterfaceProxy proxy(flag);
    EXPECT_FALSE(proxy.shouldCancel());
    proxy.cancel();
    EXPECT_TRUE(flag);
    EXPECT_TRUE(proxy.shouldCancel());
}

TEST(qzCancelInterfaceProxyTest, SetsItsFlagBeforeTheTargetHearsOfIt)
{
    class LooksAtFlag : public qzCancelInterface {
    public:
        explicit LooksAtFlag(const bool& flag) : mFlag(flag) {}
        bool shouldCancel() const override { return mSawFlag; }
        void cancel() override { mSawFlag = mFlag; }

    private:
        const bool& mFlag;
        bool mSawFlag = false;
    };
    bool flag = false;
    LooksAtFlag target(flag);
    qzCancelInterfaceProxy proxy(flag, &target);
    proxy.cancel();
    EXPECT_TRUE(target.shouldCancel());
    EXPECT_TRUE(flag);
}

TEST(qzCancelInterfaceProxyTest, CancelsTheTargetEachTimeAndTheParentNever)
{
    Calls calls;
    bool flag = true;
    Recorder target(calls, "target", true);
    const Recorder parent(calls, "parent", false);
    qzCancelInterfaceProxy proxy(flag, &target, &parent);
    proxy.cancel();
    proxy.cancel();
    EXPECT_THAT(calls, ElementsAre("target!", "target!")) << "also when all is set already";
}

TEST(qzCancelInterfaceProxyTest, CancelsDownAChainWithOneCallToTheFirst)
{
    bool flags[3] = {};
    qzCancelInterfaceProxy third(flags[2]);
    qzCancelInterfaceProxy second(flags[1], &third);
    qzCancelInterfaceProxy first(flags[0], &second);
    first.cancel();
    EXPECT_THAT(flags, ElementsAre(true, true, true));
    EXPECT_TRUE(third.shouldCancel());
}

TEST(qzCancelInterfaceProxyTest, CancelsNothingAboveIt)
{
    bool flags[3] = {};
    qzCancelInterfaceProxy third(flags[2]);
    qzCancelInterfaceProxy second(flags[1], &third);
    qzCancelInterfaceProxy first(flags[0], &second);
    second.cancel();
    EXPECT_THAT(flags, ElementsAre(false, true, true));
    EXPECT_TRUE(first.shouldCancel()) << "but it asks its target";
}

TEST(qzCancelInterfaceProxyTest, CombinesSeveralSourcesIntoOne)
{
    bool userFlag = false;
    bool parentFlag = false;
    bool ownFlag = false;
    const qzCancelInterfaceProxyReadOnly parentRequest(&parentFlag);
    const qzCancelInterfaceProxyReadOnly user(&userFlag, &parentRequest);
    qzCancelInterfaceProxy all(ownFlag, nullptr, &user);
    EXPECT_FALSE(all.shouldCancel());
    parentFlag = true;
    EXPECT_TRUE(all.shouldCancel());
    parentFlag = false;
    userFlag = true;
    EXPECT_TRUE(all.shouldCancel());
    all.cancel();
    EXPECT_FALSE(parentFlag);
    EXPECT_TRUE(ownFlag);
}

// --- Threads

TEST(qzCancelInterfaceThreadsTest, SeeARequestOfAnotherThread)
{
    bool flags[2] = {};
    qzCancelInterfaceProxy inner(flags[1]);
    qzCancelInterfaceProxy outer(flags[0], &inner);
    const qzCancelInterfaceProxyReadOnly watcher(&flags[1]);
    std::thread other([&] { outer.cancel(); });
    EXPECT_TRUE(support::waitUntil([&] { return watcher.shouldCancel(); }));
    EXPECT_TRUE(outer.shouldCancel());
    other.join();
}

TEST(qzCancelInterfaceThreadsTest, SeeAFlagThatAnotherThreadSets)
{
    bool flag = false;
    const qzCancelInterfaceProxyReadOnly readOnly(&flag);
    const qzCancelInterfaceProxy writable(flag, nullptr, &readOnly);
    std::thread other([&] { std::atomic_ref<bool>(flag).store(true, std::memory_order_relaxed); });
    EXPECT_TRUE(support::waitUntil([&] { return readOnly.shouldCancel(); }));
    EXPECT_TRUE(writable.shouldCancel());
    other.join();
}

TEST(qzCancelInterfaceThreadsTest, MayAllCancelAtOnce)
{
    bool flags[2] = {};
    qzCancelInterfaceProxy inner(flags[1]);
    qzCancelInterfaceProxy outer(flags[0], &inner);
    std::vector<std::thread> threads;
    std::atomic<int> seen = 0;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 1000; ++j) {
                outer.cancel();
                seen += inner.shouldCancel() ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(seen, 4000);
}

// --- Numbers that earlier programs know

TEST(qzCancelInterfaceSlots, AreTheDestructorTheQuestionAndTheRequest)
{
    class Probe : public qzCancelInterface {
    public:
        explicit Probe(Calls& calls) : mCalls(calls) {}
        ~Probe() override { mCalls.push_back("gone"); }
        bool shouldCancel() const override { return true; }
        void cancel() override { mCalls.push_back("cancel"); }

    private:
        Calls& mCalls;
    };
    Calls calls;
    auto probe = std::make_unique<Probe>(calls);
    EXPECT_TRUE(callSlot<bool>(probe.get(), 2));
    callSlot<void>(probe.get(), 3);
    EXPECT_THAT(calls, ElementsAre("cancel"));
    callSlot<void>(probe.release(), 1);
    EXPECT_THAT(calls, ElementsAre("cancel", "gone"));
}

TEST(qzCancelInterfaceFields, StandInTheirOrder)
{
    bool flag = false;
    Calls calls;
    Recorder target(calls, "target", false);
    const Recorder parent(calls, "parent", false);
    const qzCancelInterfaceProxyReadOnly readOnly(&flag, &parent);
    EXPECT_EQ(readField<const void*>(&readOnly, 8), &flag);
    EXPECT_EQ(readField<const void*>(&readOnly, 16), &parent);
    const qzCancelInterfaceProxy proxy(flag, &target, &parent);
    EXPECT_EQ(readField<const void*>(&proxy, 8), &flag);
    EXPECT_EQ(readField<const void*>(&proxy, 16), &target);
    EXPECT_EQ(readField<const void*>(&proxy, 24), &parent);
    EXPECT_THAT(calls, IsEmpty());
}

}  // namespace qz
