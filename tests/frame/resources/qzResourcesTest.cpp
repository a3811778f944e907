// SPDX-License-Identifier: MIT
#include <qz/qzResources.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <list>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLog.h>
#include <qz/qzSystem.h>

#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/OutputCapture.h"

namespace qz::rc {

using support::ChildResult;
using support::LibraryStart;
using support::LogCapture;
using support::runInChild;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

static_assert(!std::is_copy_constructible_v<impl::Module>);
static_assert(sizeof(impl::Module) == 48 && !std::is_polymorphic_v<impl::Module>);

// A digest of one digit only, which lives as long as the program. It doesn't end where it should.
const char* makeDigest(char digit)
{
    static std::map<char, std::string> digests;
    std::string& digest = digests[digit];
    if (digest.empty()) digest = std::string(64, digit) + "beyond";
    return digest.c_str();
}

// Arrays as the generator of code makes them. They must live as long as they are registered.
class Arrays {
public:
    Arrays& add(const char* name, const std::string& content, char digestDigit)
    {
        mNames.push_back(name);
        mDigests.push_back(makeDigest(digestDigit));
        mSizes.push_back(content.size());
        mOffsets.push_back(mBlob.size());
        mBlob += content + "|";
        return *this;
    }
    void registerAll() const
    {
        impl::RegisterResources(mNames.size(), mBlob.data(), mNames.data(), mDigests.data(),
                                mSizes.data(), mOffsets.data());
    }
    void unregisterAll() const
    {
        impl::UnRegisterResources(mNames.size(), nullptr, mNames.data(), nullptr, nullptr, nullptr);
    }
    const char* getData(std::size_t i) const { return mBlob.data() + mOffsets[i]; }
    const char* getDigest(std::size_t i) const { return mDigests[i]; }
    impl::Module makeModule() const
    {
        return impl::Module(mNames.size(), mBlob.data(), mNames.data(), mDigests.data(),
                            mSizes.data(), mOffsets.data());
    }

private:
    std::string mBlob = "|";
    std::vector<const char*> mNames;
    std::vector<const char*> mDigests;
    std::vector<unsigned long> mSizes;
    std::vector<unsigned long> mOffsets;
};

// The content of a resource, or "none".
std::string get(const char* name)
{
    std::string content = "old";
    return GetResource(name, content) ? content : "none";
}

std::string getDigest(const char* name)
{
    std::string digest = "old";
    return GetResourceSha256Hex(name, digest) ? digest : "none";
}

}  // namespace

// In both states: registered and looked up by the same rules.
class qzResourcesTest : public ::testing::TestWithParam<InitType> {
protected:
    LibraryStart mLibrary{GetParam()};
    LogCapture mLog;
    Arrays mTwo = Arrays().add("one", "first", 'a').add("two", std::string("se\0cond", 7), 'b');
};

INSTANTIATE_TEST_SUITE_P(States, qzResourcesTest, ::testing::Values(LightInit, FullInit),
                         [](const auto& row) { return row.param == LightInit ? "Light" : "Full"; });

TEST_P(qzResourcesTest, GivesTheModulesOwnData)
{
    mTwo.registerAll();
    const char* data = nullptr;
    unsigned long size = 0;
    EXPECT_TRUE(GetResource("one", data, size));
    EXPECT_EQ(data, mTwo.getData(0));
    EXPECT_EQ(size, 5UL);
    EXPECT_TRUE(GetResource("two", data, size));
    EXPECT_EQ(data, mTwo.getData(1));
    EXPECT_EQ(size, 7UL);
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

TEST_P(qzResourcesTest, GivesACopyOfTheContent)
{
    mTwo.registerAll();
    EXPECT_EQ(get("one"), "first");
    EXPECT_EQ(get("two"), std::string("se\0cond", 7));
}

TEST_P(qzResourcesTest, GivesAnEmptyResource)
{
    const Arrays empty = Arrays().add("empty", "", 'c');
    empty.registerAll();
    const char* data = nullptr;
    unsigned long size = 9;
    EXPECT_TRUE(GetResource("empty", data, size));
    EXPECT_EQ(data, empty.getData(0));
    EXPECT_EQ(size, 0UL);
    EXPECT_EQ(get("empty"), "");
}

TEST_P(qzResourcesTest, GivesTheDigestOf64Digits)
{
    mTwo.registerAll();
    const char* digest = nullptr;
    unsigned long size = 0;
    EXPECT_TRUE(GetResourceSha256Hex("one", digest, size));
    EXPECT_EQ(digest, mTwo.getDigest(0));
    EXPECT_EQ(size, 64UL);
    size = 0;
    EXPECT_TRUE(GetResourceSha256Hex("two", digest, size));
    EXPECT_EQ(digest, mTwo.getDigest(1));
    EXPECT_EQ(size, 64UL);
    EXPECT_EQ(getDigest("one"), std::string(64, 'a'));
    EXPECT_EQ(getDigest("two"), std::string(64, 'b'));
}

TEST_P(qzResourcesTest, DistinguishesNamesByAllTheirBytes)
{
    const Arrays names = Arrays()
                             .add("Name", "1", 'a')
                             .add("name", "2", 'a')
                             .add("name ", "3", 'a')
                             .add("", "4", 'a');
    names.registerAll();
    EXPECT_EQ(get("Name") + get("name") + get("name ") + get(""), "1234");
    EXPECT_EQ(get("nam"), "none");
}

// --- Missing names

TEST_P(qzResourcesTest, GivesNothingForAMissingName)
{
    mTwo.registerAll();
    const char* data = "old";
    unsigned long size = 9;
    EXPECT_FALSE(GetResource("three", data, size));
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(size, 0UL);
    EXPECT_THAT(mLog.getLines(), ElementsAre("CRITICAL Resource is missing three"));
}

TEST_P(qzResourcesTest, GivesNoDigestForAMissingName)
{
    const char* digest = "old";
    unsigned long size = 9;
    EXPECT_FALSE(GetResourceSha256Hex("three", digest, size));
    EXPECT_EQ(digest, nullptr);
    EXPECT_EQ(size, 0UL);
    EXPECT_THAT(mLog.getLines(), ElementsAre("CRITICAL Resource is missing three"));
}

TEST_P(qzResourcesTest, EmptiesTheTextForAMissingName)
{
    std::string out = "old";
    EXPECT_FALSE(GetResource("three", out));
    EXPECT_EQ(out, "");
    out = "old";
    EXPECT_FALSE(GetResourceSha256Hex("four", out));
    EXPECT_EQ(out, "");
    EXPECT_THAT(mLog.getLines(), ElementsAre("CRITICAL Resource is missing three",
                                             "CRITICAL Resource is missing four"));
}

TEST_P(qzResourcesTest, ReportsToTheLogAlone)
{
    get("three");
    const std::vector<qzLog::LogEntry> entries = mLog.getEntries();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].systemLogTag, "");
    EXPECT_EQ(entries[0].subType, "");
}

// --- Conflicts

TEST_P(qzResourcesTest, KeepsTheFirstOfTwoWithOneName)
{
    mTwo.registerAll();
    const Arrays again = Arrays().add("two", "other", 'c').add("three", "third", 'd');
    again.registerAll();
    EXPECT_THAT(mLog.getLines(), ElementsAre("CRITICAL Resource conflict two"));
    EXPECT_EQ(get("two"), std::string("se\0cond", 7));
    EXPECT_EQ(getDigest("two"), std::string(64, 'b'));
    EXPECT_EQ(get("three"), "third") << "the others of the array come in";
}

TEST_P(qzResourcesTest, TakesTheSameDataForAConflictToo)
{
    mTwo.registerAll();
    mTwo.registerAll();
    EXPECT_THAT(mLog.getLines(),
                ElementsAre("CRITICAL Resource conflict one", "CRITICAL Resource conflict two"));
}

TEST_P(qzResourcesTest, SeesAConflictWithinOneArray)
{
    const Arrays both = Arrays().add("one", "1", 'a').add("one", "2", 'b');
    both.registerAll();
    EXPECT_EQ(get("one"), "1");
    EXPECT_THAT(mLog.getLines(), ElementsAre("CRITICAL Resource conflict one"));
}

TEST_P(qzResourcesTest, DoesNothingForACountOfZero)
{
    impl::RegisterResources(0, nullptr, nullptr, nullptr, nullptr, nullptr);
    impl::UnRegisterResources(0, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

// --- Taking back

TEST_P(qzResourcesTest, ForgetsTheNamesThatAreUnregistered)
{
    mTwo.registerAll();
    const Arrays three = Arrays().add("three", "third", 'c');
    three.registerAll();
    mTwo.unregisterAll();
    EXPECT_THAT(mLog.getLines(), IsEmpty());
    EXPECT_EQ(get("one") + get("two") + get("three"), "nonenonethird");
    mTwo.registerAll();
    EXPECT_EQ(get("one"), "first");
}

TEST_P(qzResourcesTest, ReportsANameThatWasNeverRegisteredAndGoesOn)
{
    mTwo.registerAll();
    Arrays().add("zero", "", 'a').add("one", "", 'a').unregisterAll();
    EXPECT_THAT(mLog.getLines(), ElementsAre("CRITICAL Resource is already unregistered zero"));
    EXPECT_EQ(get("one"), "none");
    EXPECT_EQ(get("two"), std::string("se\0cond", 7)) << "nothing else goes";
}

TEST_P(qzResourcesTest, ReportsANameThatIsUnregisteredTwice)
{
    mTwo.registerAll();
    mTwo.unregisterAll();
    mTwo.unregisterAll();
    EXPECT_THAT(mLog.getLines(), ElementsAre("CRITICAL Resource is already unregistered one",
                                             "CRITICAL Resource is already unregistered two"));
}

// --- Null names

TEST_P(qzResourcesTest, RaisesALogicErrorForANullName)
{
    mTwo.registerAll();
    const char* const noName = nullptr;
    const char* data = nullptr;
    unsigned long size = 0;
    std::string out;
    EXPECT_THROW(GetResource(noName, data, size), std::logic_error);
    EXPECT_THROW(GetResource(noName, out), std::logic_error);
    EXPECT_THROW(GetResourceSha256Hex(noName, data, size), std::logic_error);
    EXPECT_THROW(GetResourceSha256Hex(noName, out), std::logic_error);
    EXPECT_THROW(Arrays().add(noName, "", 'a').registerAll(), std::logic_error);
    EXPECT_THROW(Arrays().add(noName, "", 'a').unregisterAll(), std::logic_error);
    EXPECT_THAT(mLog.getLines(), IsEmpty());
    // On another thread, which would wait for ever for a lock that was kept.
    std::string found;
    std::thread([&] { found = get("one"); }).join();
    EXPECT_EQ(found, "first");
}

TEST_P(qzResourcesTest, KeepsWhatCameBeforeANullName)
{
    const Arrays arrays = Arrays().add("ahead", "1", 'a').add(nullptr, "2", 'a');
    EXPECT_THROW(arrays.registerAll(), std::logic_error);
    EXPECT_EQ(get("ahead"), "1");
}

// --- Handlers of reports, and forks

namespace {

void lookUpSlowly(std::list<qzLog::LogEntry>& /*batch*/, void* /*userData*/)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    get("one");
}

}  // namespace

// A synchronous report waits for the handler.
TEST(qzResourcesReports, LetAHandlerOfTheLogLookUpResources)
{
    const auto body = [] {
        const LibraryStart library(FullInit);
        const Arrays one = Arrays().add("one", "first", 'a');
        one.registerAll();
        qzLog::msInstance->installCustomHandler(&lookUpSlowly, nullptr);
        one.registerAll();
        Arrays().add("two", "second", 'b').unregisterAll();
        return 42;
    };
    EXPECT_EQ(runInChild(body, "", 60).getEnd(), "exit 42");
}

TEST(qzResourcesReports, ComeForAllConflictsOfACallAlsoIfItThrows)
{
    const LibraryStart library(FullInit);
    const LogCapture log;
    const Arrays arrays = Arrays().add("one", "1", 'a').add(nullptr, "2", 'a');
    EXPECT_THROW(arrays.registerAll(), std::logic_error);
    EXPECT_THROW(arrays.registerAll(), std::logic_error);
    EXPECT_THAT(log.getLines(), ElementsAre("CRITICAL Resource conflict one"));
}

TEST(qzResourcesFork, LeavesTheRegistryUsableInTheChild)
{
    const LibraryStart library(FullInit);
    const Arrays one = Arrays().add("one", "first", 'a');
    one.registerAll();
    std::atomic<bool> ends = false;
    std::thread other([&] {
        const Arrays two = Arrays().add("two", "second", 'b');
        while (!ends) {
            two.registerAll();
            two.unregisterAll();
        }
    });
    const support::StdoutCapture quiet;  // the children report that they are forked
    for (int i = 0; i < 200; ++i) {
        const ChildResult result = runInChild(
            [] {
                std::string onThread;
                std::thread([&] { onThread = get("one"); }).join();
                return get("one") == "first" && onThread == "first" ? 42 : 1;
            },
            "", 60);
        EXPECT_EQ(result.getEnd(), "exit 42");
        if (result.timedOut) break;
    }
    ends = true;
    other.join();
}

// --- States

TEST(qzResourcesStates, KeepResourcesThroughAFullStart)
{
    const LibraryStart light(LightInit);
    const Arrays one = Arrays().add("one", "first", 'a');
    one.registerAll();
    {
        const LibraryStart full(FullInit);
        const LogCapture log;
        const char* data = nullptr;
        unsigned long size = 0;
        EXPECT_TRUE(GetResource("one", data, size));
        EXPECT_EQ(data, one.getData(0));
        one.registerAll();
        EXPECT_THAT(log.getLines(), ElementsAre("CRITICAL Resource conflict one"));
    }
    EXPECT_EQ(get("one"), "first") << "until the last stop";
}

TEST(qzResourcesStates, ForgetAllAtTheLastStop)
{
    const Arrays one = Arrays().add("one", "first", 'a');
    for (const InitType type : {LightInit, FullInit, LightInit}) {
        const LibraryStart library(type);
        const LogCapture log;
        EXPECT_EQ(get("one"), "none");
        one.registerAll();
        EXPECT_EQ(get("one"), "first");
    }
}

// A mutex before the full state would say so, and one of the light state has no use.
TEST(qzResourcesStates, MakeNoMutexInALightStartAndAQuietOneInAFullStart)
{
    const support::StdoutCapture out;
    const support::StderrCapture err;
    {
        const LibraryStart light(LightInit);
        EXPECT_EQ(out.getText() + err.getText(), "");
        const LibraryStart full(FullInit);
        const LibraryStart again(FullInit);
    }
    EXPECT_EQ(out.getText() + err.getText(), "");
}

TEST(qzResourcesStates, HaveNothingWithoutAStart)
{
    const ChildResult result = runInChild([] {
        const Arrays one = Arrays().add("one", "first", 'a');
        one.registerAll();
        std::cout << get("one") << '\n';
        one.unregisterAll();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.out, HasSubstr(" : No start of qzSystem to register resource one\n"));
    EXPECT_THAT(result.out, HasSubstr(" : Resource is missing one\nnone\n"));
    EXPECT_THAT(result.out, HasSubstr(" : Resource is already unregistered one\n"));
}

TEST(qzResourcesStates, NameANullWithoutAStart)
{
    const ChildResult result = runInChild([] {
        Arrays().add(nullptr, "", 'a').registerAll();
        return 0;
    });
    EXPECT_THAT(result.out, HasSubstr("No start of qzSystem to register resource [NullPtr]\n"));
}

TEST(qzResourcesStates, RefuseANullInAllOtherCallsWithoutAStart)
{
    const char* data = nullptr;
    unsigned long size = 0;
    std::string text;
    EXPECT_THROW(GetResource(nullptr, data, size), std::logic_error);
    EXPECT_THROW(GetResource(nullptr, text), std::logic_error);
    EXPECT_THROW(GetResourceSha256Hex(nullptr, data, size), std::logic_error);
    EXPECT_THROW(GetResourceSha256Hex(nullptr, text), std::logic_error);
    EXPECT_THROW(Arrays().add(nullptr, "", 'a').unregisterAll(), std::logic_error);
}

// --- Several threads

TEST(qzResourcesThreads, LookUpWhileOthersRegister)
{
    constexpr int kRounds = 300;
    const LibraryStart library(FullInit);
    const LogCapture log;
    const Arrays fixed = Arrays().add("fixed", "content", 'a');
    fixed.registerAll();
    std::vector<std::thread> threads;
    const char* const names[] = {"changing 0", "changing 1"};
    for (const char* const name : names) {
        threads.emplace_back([name, own = Arrays().add(name, "own", 'b')] {
            for (int i = 0; i < kRounds; ++i) {
                own.registerAll();
                EXPECT_EQ(get(name), "own");
                own.unregisterAll();
            }
        });
        threads.emplace_back([] {
            for (int i = 0; i < kRounds; ++i) {
                EXPECT_EQ(get("fixed"), "content");
                EXPECT_EQ(getDigest("fixed"), std::string(64, 'a'));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(log.getLines(), IsEmpty());
}

void lookUp(std::list<qzLog::LogEntry>& batch, void* found)
{
    // What asks here for a missing one would be told so here.
    if (batch.front().message == "Resource is missing missing") {
        *static_cast<std::string*>(found) = get("one");
    }
}

TEST(qzResourcesThreads, LetAHandlerOfTheLogLookUpWhenOneIsMissing)
{
    const ChildResult result = runInChild(
        [] {
            const LibraryStart library(FullInit);
            qzLog::msInstance->setEchoToConsole(false);
            const Arrays one = Arrays().add("one", "first", 'a');
            one.registerAll();
            std::string found;
            qzLog::msInstance->installCustomHandler(&lookUp, &found);
            get("missing");
            qzLog::msInstance->installCustomHandler(nullptr, nullptr);
            std::cout << found;
            return 0;
        },
        /*input=*/{}, /*timeoutSec=*/60);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "first");
}

// --- Modules

TEST(qzResourceModule, IsRegisteredForItsLife)
{
    const LibraryStart library(FullInit);
    const LogCapture log;
    const Arrays two = Arrays().add("one", "first", 'a').add("two", "second", 'b');
    {
        const impl::Module module = two.makeModule();
        EXPECT_EQ(get("one") + get("two"), "firstsecond");
        EXPECT_EQ(getDigest("two"), std::string(64, 'b'));
        EXPECT_THAT(log.getLines(), IsEmpty());
    }
    EXPECT_EQ(get("one"), "none");
}

TEST(qzResourceModule, IsRegisteredByEachStart)
{
    const Arrays one = Arrays().add("one", "first", 'a');
    {
        const impl::Module module = one.makeModule();
        for (const InitType type : {LightInit, FullInit, LightInit}) {
            const LibraryStart library(type);
            const LogCapture log;
            EXPECT_EQ(get("one"), "first");
            EXPECT_THAT(log.getLines(), IsEmpty());
        }
    }
    const LibraryStart library(LightInit);
    const LogCapture log;
    EXPECT_EQ(get("one"), "none");
}

TEST(qzResourceModule, ReportsNothingWithoutAStart)
{
    const support::StdoutCapture out;
    {
        const Arrays one = Arrays().add("one", "first", 'a');
        const impl::Module module = one.makeModule();
    }
    EXPECT_EQ(out.getText(), "");
}

TEST(qzResourceModule, MeetsConflictsAsAllDo)
{
    const LibraryStart library(LightInit);
    const LogCapture log;
    const Arrays first = Arrays().add("one", "first", 'a');
    const Arrays second = Arrays().add("one", "second", 'b');
    const impl::Module module = first.makeModule();
    {
        const impl::Module other = second.makeModule();
        EXPECT_EQ(get("one"), "first");
    }
    EXPECT_THAT(log.getLines(), ElementsAre("CRITICAL Resource conflict one"));
    module.registerAll();
    EXPECT_EQ(get("one"), "first");
}

const char* const kModuleStates =
    "light: first second -\n"
    "with a late one: first second first\n"
    "full: first second first\n"
    "without it: first second -\n"
    "half stopped: first second first\n"
    "again: first second first\n";

std::string dropReports(const std::string& text)
{
    std::string kept;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("CRITICAL", 0) != 0) kept += line + '\n';
    }
    return kept;
}

TEST(qzResourceModule, ServesAsAStaticObjectOfAProgram)
{
    const ChildResult result = support::runProgram({.program = "resource_modules"});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(dropReports(result.out), std::string(kModuleStates) + "at last: first second -\n");
}

TEST(qzResourceModule, EndsAfterALibraryThatWasNeverStopped)
{
    const ChildResult result =
        support::runProgram({.program = "resource_modules", .arguments = {"stay up"}});
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
    EXPECT_EQ(dropReports(result.out), kModuleStates);
}

}  // namespace qz::rc
