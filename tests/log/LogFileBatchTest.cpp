// SPDX-License-Identifier: MIT
// The lines of one batch in the log file.

#include <stdio.h>

#include <iostream>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log/GatedHandler.h"
#include "log/LogFileFixture.h"

namespace qz {

using ::testing::ElementsAre;

namespace {

// A console that renames a file when a certain text passes.
class RenamingConsole : private std::streambuf {
public:
    RenamingConsole(std::string_view text, std::string from, std::string to)
        : mText(text), mFrom(std::move(from)), mTo(std::move(to)), mOldBuffer(std::cout.rdbuf(this))
    {
    }
    ~RenamingConsole() override { std::cout.rdbuf(mOldBuffer); }
    RenamingConsole(const RenamingConsole&) = delete;
    RenamingConsole& operator=(const RenamingConsole&) = delete;

private:
    std::streamsize xsputn(const char* text, std::streamsize size) override
    {
        const std::string_view line(text, static_cast<std::size_t>(size));
        if (line.find(mText) != std::string_view::npos) ::rename(mFrom.c_str(), mTo.c_str());
        return size;
    }

    std::string_view mText;
    std::string mFrom;
    std::string mTo;
    std::streambuf* mOldBuffer;
};

}  // namespace

class LogFileOneBatch : public LogFileFixture {
protected:
    LogFileOneBatch() : LogFileFixture(FullInit) { log().setLogLevel(LogLevelDebug); }

    // Switches a sub-type off. The next DEBUG entry then has a notice before it.
    void switchOff(const char* name) const
    {
        log().setSubTypeEnabled(name, false);
        log().flush();
    }
    void release()
    {
        mHandler.release();
        log().flush();
    }

    GatedHandler mHandler;
};

TEST_F(LogFileOneBatch, GoesToTheFileThatIsOpenAfterAnotherRenamedIt)
{
    install("log.txt", 4);
    const RenamingConsole console(" : 2\n", mFolder.getPath("log.txt"), mFolder.getPath("moved"));
    mHandler.hold();
    for (const char* const text : {"1", "2", "3"})
        logInfo() << text;
    release();
    EXPECT_EQ(show("moved"), "BOM held;1;2;3");
    EXPECT_THAT(list(), ElementsAre("moved"));
}

TEST_F(LogFileOneBatch, GoesToTheFileThatIsOpenAfterANoticeToo)
{
    switchOff("a");
    install("log.txt", 4);
    const RenamingConsole console(" : 2\n", mFolder.getPath("log.txt"), mFolder.getPath("moved"));
    mHandler.hold();
    logInfo() << "1";
    logInfo() << "2";
    logDebug() << "3";
    release();
    EXPECT_EQ(show("moved"), "BOM held;1;2;log type blacklist : 'a';3");
    EXPECT_THAT(list(), ElementsAre("moved"));
}

TEST_F(LogFileOneBatch, HasTheLinesBeforeASwitchedOffEntryAndNoneAfterIt)
{
    switchOff("a");
    install("log.txt");
    mHandler.hold();
    logInfo() << "1";
    logDebug("a") << "2";
    logInfo() << "3";
    release();
    EXPECT_EQ(show("log.txt"), "BOM held;1");
}

TEST_F(LogFileOneBatch, HasTheNoticeBetweenItsLines)
{
    switchOff("a");
    install("log.txt");
    mHandler.hold();
    logInfo() << "1";
    logDebug() << "2";
    logInfo() << "3";
    release();
    EXPECT_EQ(show("log.txt"), "BOM held;1;log type blacklist : 'a';2;3");
}

TEST_F(LogFileOneBatch, HasTheNoticeOnDiskWhenTheHandlerGetsIt)
{
    switchOff("a");
    install("log.txt");
    mHandler.hold();
    logInfo() << "1";
    logDebug() << "2";
    // The handler holds the thread again, this time with the notice.
    mHandler.holdNext();
    EXPECT_EQ(show("log.txt"), "BOM held;1;log type blacklist : 'a'");
    release();
    EXPECT_EQ(show("log.txt"), "BOM held;1;log type blacklist : 'a';2");
}

}  // namespace qz
