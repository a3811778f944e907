// SPDX-License-Identifier: MIT
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzException.h>
#include <qz/qzLog.h>

#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace qz {

using support::LibraryStart;
using support::LogCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// In a namespace, and with a parameter, for a name that is worth demangling.
template <typename T>
struct Problem : std::exception {
    const char* what() const noexcept override { return "quoted \"text\"\nof two lines"; }
};

int gCalls = 0;

void countCall()
{
    ++gCalls;
}

template <typename Thrown>
void throwOne(void* text)
{
    throw Thrown(static_cast<const char*>(text));
}

void throwProblem()
{
    throw Problem<int>();
}

void throwBadAlloc()
{
    throw std::bad_alloc();
}

void throwInteger()
{
    throw 42;
}

void throwText()
{
    throw "text";
}

std::string describeThrown(const std::exception& error)
{
    return std::string(typeid(error) == typeid(std::exception)       ? "exception"
                       : typeid(error) == typeid(std::runtime_error) ? "runtime_error"
                                                                     : "another") +
           ' ' + error.what();
}

// What the caller of the guard catches.
template <typename... Arguments>
std::string getThrown(Arguments... arguments)
{
    try {
        exception::impl::ExecGuardedCode(arguments...);
    } catch (const std::exception& error) {
        return describeThrown(error);
    }
    return "nothing";
}

std::string makeReport(const std::string& description)
{
    return "CRITICAL Catch an exception : '" + description + "' see application and system logs";
}

class ExecGuardedCodeTest : public ::testing::Test {
protected:
    LibraryStart mLibrary;
    LogCapture mLog;
};

}  // namespace

TEST_F(ExecGuardedCodeTest, LetsAFunctionThatReturnsPass)
{
    gCalls = 0;
    exception::impl::ExecGuardedCode(&countCall);
    EXPECT_EQ(gCalls, 1);
    EXPECT_THAT(mLog.getEntries(), IsEmpty());
}

TEST_F(ExecGuardedCodeTest, HandsTheArgumentOver)
{
    int value = 1;
    exception::impl::ExecGuardedCode([](void* given) { *static_cast<int*>(given) = 2; }, &value);
    EXPECT_EQ(value, 2);
    bool isNull = false;
    static bool* target = nullptr;
    target = &isNull;
    exception::impl::ExecGuardedCode([](void* given) { *target = given == nullptr; }, nullptr);
    EXPECT_TRUE(isNull);
    EXPECT_THAT(mLog.getEntries(), IsEmpty());
}

TEST_F(ExecGuardedCodeTest, ReportsAnExceptionAndThrowsAPlainOne)
{
    char text[] = "too far";
    EXPECT_EQ(getThrown(&throwOne<std::out_of_range>, text), "exception std::exception");
    EXPECT_THAT(mLog.getLines(), ElementsAre(makeReport("std::out_of_range(\"too far\")")));
}

TEST_F(ExecGuardedCodeTest, ReportsTheTextOfWhatAsItIs)
{
    char empty[] = "";
    EXPECT_EQ(getThrown(&throwOne<std::runtime_error>, empty), "exception std::exception");
    EXPECT_EQ(getThrown(&throwProblem), "exception std::exception");
    EXPECT_EQ(getThrown(&throwBadAlloc), "exception std::exception");
    EXPECT_THAT(mLog.getLines(),
                ElementsAre(makeReport("std::runtime_error(\"\")"),
                            makeReport("qz::(anonymous namespace)::Problem<int>(\"quoted "
                                       "\"text\"\nof two lines\")"),
                            makeReport("std::bad_alloc(\"std::bad_alloc\")")));
}

TEST_F(ExecGuardedCodeTest, ReportsAnythingElseAsUnknown)
{
    EXPECT_EQ(getThrown(&throwInteger), "runtime_error Unknown exception");
    EXPECT_EQ(getThrown(&throwText), "runtime_error Unknown exception");
    EXPECT_THAT(mLog.getLines(),
                ElementsAre(makeReport("Unknown exception"), makeReport("Unknown exception")));
}

TEST_F(ExecGuardedCodeTest, ReportsToTheSystemLogAsWell)
{
    getThrown(&throwInteger);
    ASSERT_EQ(mLog.getEntries().size(), 1U);
    const qzLog::LogEntry entry = mLog.getEntries().front();
    EXPECT_EQ(entry.type, qzLog::Critical);
    EXPECT_EQ(entry.systemLogTag, "qzSystem");
    EXPECT_EQ(entry.subType, "");
}

TEST_F(ExecGuardedCodeTest, ReportsAtEachGuardThatIsLeft)
{
    const auto inner = [] {
        char text[] = "x";
        exception::impl::ExecGuardedCode(&throwOne<std::out_of_range>, text);
    };
    EXPECT_EQ(getThrown(static_cast<void (*)()>(inner)), "exception std::exception");
    EXPECT_THAT(mLog.getLines(), ElementsAre(makeReport("std::out_of_range(\"x\")"),
                                             makeReport("std::exception(\"std::exception\")")));
}

}  // namespace qz
