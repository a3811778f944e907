// SPDX-License-Identifier: MIT
#include <qz/qzCsvFileWriter.h>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

namespace qz {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class qzCsvFileWriterTest : public ::testing::Test {
protected:
    void make(unsigned int maxRows, bool writeByteOrderMark = false)
    {
        mWriter = std::make_unique<qzCsvFileWriter>(mFolder.getPath(), "base", maxRows, ',', '"',
                                                    "\n", writeByteOrderMark);
    }
    // A row of one cell, as callers write it.
    bool write(const std::string& cell)
    {
        qzCsvStream& stream = *mWriter->getStream();
        stream.writeCell(cell);
        stream.endRow();
        return stream.isOk();
    }
    // Closes the file and gives what is in the folder.
    std::vector<std::string> finish()
    {
        mWriter.reset();
        std::vector<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(mFolder.getPath())) {
            const std::string name = entry.path().filename();
            files.push_back(name + ": " + mFolder.read(name));
        }
        std::sort(files.begin(), files.end());
        return files;
    }
    std::string getPath(const std::string& name) const { return mFolder.getPath(name); }

    support::LibraryStart mLibrary;
    support::LogCapture mLog;
    support::ScratchFolder mFolder;
    std::unique_ptr<qzCsvFileWriter> mWriter;
};

TEST_F(qzCsvFileWriterTest, MakesNoFileBeforeTheFirstRow)
{
    make(3);
    mWriter->setHeaders({"h"});
    EXPECT_THAT(finish(), IsEmpty());
}

TEST_F(qzCsvFileWriterTest, MakesAFileWithTheFirstStreamAlready)
{
    make(3);
    mWriter->getStream();
    EXPECT_THAT(finish(), ElementsAre("base.csv: "));
}

TEST_F(qzCsvFileWriterTest, NamesFilesInOrder)
{
    make(1);
    for (const char* cell : {"a", "b", "c"})
        EXPECT_TRUE(write(cell));
    EXPECT_THAT(finish(), ElementsAre("base (1).csv: b", "base (2).csv: c", "base.csv: a"));
}

TEST_F(qzCsvFileWriterTest, CountsTheHeadersAsARowOfEachFile)
{
    make(3);
    mWriter->setHeaders({"h", "i,j"});
    for (const char* cell : {"a", "b", "c", "d", "e"})
        write(cell);
    EXPECT_THAT(finish(), ElementsAre("base (1).csv: h,\"i,j\"\nc\nd", "base (2).csv: h,\"i,j\"\ne",
                                      "base.csv: h,\"i,j\"\na\nb"));
}

TEST_F(qzCsvFileWriterTest, TakesALimitOfZeroAsOne)
{
    make(0);
    write("a");
    write("b");
    EXPECT_THAT(finish(), ElementsAre("base (1).csv: b", "base.csv: a"));
}

TEST_F(qzCsvFileWriterTest, WritesARowBeforeTheNextFileThoughTheHeadersFillIt)
{
    make(1);
    mWriter->setHeaders({"h"});
    write("a");
    write("b");
    EXPECT_THAT(finish(), ElementsAre("base (1).csv: h\nb", "base.csv: h\na"));
}

TEST_F(qzCsvFileWriterTest, BeginsTheNextFileWhenAFullOneIsAskedForTwice)
{
    make(1);
    mWriter->setHeaders({"h"});
    mWriter->getStream();
    write("a");
    EXPECT_THAT(finish(), ElementsAre("base (1).csv: h\na", "base.csv: h"));
}

TEST_F(qzCsvFileWriterTest, FinishesARowInProgressInTheOldFile)
{
    make(1);
    qzCsvStream* const stream = mWriter->getStream();
    stream->writeCell("a");
    stream->endRow();
    stream->writeCell("b");
    EXPECT_EQ(mWriter->getStream(), stream);
    stream->writeCell("c");
    stream->endRow();
    write("d");
    EXPECT_THAT(finish(), ElementsAre("base (1).csv: d", "base.csv: a\nb,c"));
}

TEST_F(qzCsvFileWriterTest, GivesTheSameStreamForAllFiles)
{
    make(1);
    qzCsvStream* const stream = mWriter->getStream();
    write("a");
    EXPECT_EQ(mWriter->getStream(), stream);
    EXPECT_EQ(stream->getRowCount(), 0U);
}

TEST_F(qzCsvFileWriterTest, TakesNewHeadersForLaterFilesOnly)
{
    make(2);
    mWriter->setHeaders({"h"});
    write("a");
    mWriter->setHeaders({"i", "j"});
    write("b");
    mWriter->setHeaders({});
    mWriter->finalizeCurrentFile();
    write("c");
    EXPECT_THAT(finish(), ElementsAre("base (1).csv: i,j\nb", "base (2).csv: c", "base.csv: h\na"));
}

TEST_F(qzCsvFileWriterTest, BeginsEachFileWithTheByteOrderMark)
{
    make(2, /*writeByteOrderMark=*/true);
    mWriter->setHeaders({"h"});
    write("a");
    write("b");
    EXPECT_THAT(finish(),
                ElementsAre("base (1).csv: \xef\xbb\xbfh\nb", "base.csv: \xef\xbb\xbfh\na"));
}

TEST_F(qzCsvFileWriterTest, ClosesTheFileWhenFinalized)
{
    make(9);
    const std::size_t before = support::countOpenDescriptors();
    write("a");
    EXPECT_EQ(support::countOpenDescriptors(), before + 1);
    mWriter->finalizeCurrentFile();
    EXPECT_EQ(support::countOpenDescriptors(), before);
    EXPECT_EQ(mFolder.read("base.csv"), "a");
    mWriter->finalizeCurrentFile();
    write("b");
    EXPECT_THAT(finish(), ElementsAre("base (1).csv: b", "base.csv: a"));
}

TEST_F(qzCsvFileWriterTest, DetachesTheStreamWhenFinalized)
{
    make(9);
    qzCsvStream* const stream = mWriter->getStream();
    mWriter->finalizeCurrentFile();
    stream->writeCell("a");
    EXPECT_FALSE(stream->isOk());
    EXPECT_TRUE(write("b"));
    EXPECT_THAT(finish(), ElementsAre("base (1).csv: b", "base.csv: "));
}

TEST_F(qzCsvFileWriterTest, ClosesTheFileAtItsEnd)
{
    const std::size_t before = support::countOpenDescriptors();
    make(1);
    for (const char* cell : {"a", "b", "c"})
        write(cell);
    mWriter.reset();
    EXPECT_EQ(support::countOpenDescriptors(), before);
}

TEST_F(qzCsvFileWriterTest, ReplacesWhatIsThere)
{
    mFolder.write("base.csv", "an older and longer table");
    make(9);
    write("a");
    EXPECT_THAT(finish(), ElementsAre("base.csv: a"));
}

TEST_F(qzCsvFileWriterTest, NamesFilesInUtf8)
{
    const support::LocaleGuard locale("de_DE.UTF-8");
    mWriter = std::make_unique<qzCsvFileWriter>(mFolder.getPath(), "Z\xc3\xa4hler", 1, ';', '\'',
                                                "\r\n", false);
    write("a;");
    write("b");
    EXPECT_THAT(finish(), ElementsAre("Z\xc3\xa4hler (1).csv: b", "Z\xc3\xa4hler.csv: 'a;'"));
}

// --- Flushing

TEST_F(qzCsvFileWriterTest, HandsRowsToTheSystemWhenFlushed)
{
    make(9);
    EXPECT_TRUE(mWriter->flush()) << "there is nothing to lose yet";
    write("a");
    write("b");
    EXPECT_EQ(mFolder.read("base.csv"), "");
    EXPECT_TRUE(mWriter->flush());
    EXPECT_EQ(mFolder.read("base.csv"), "a\nb");
    EXPECT_TRUE(mWriter->flush());
    write("c");
    EXPECT_THAT(finish(), ElementsAre("base.csv: a\nb\nc"));
}

TEST_F(qzCsvFileWriterTest, ReportsRowsThatTheFileDidNotTake)
{
    ASSERT_EQ(::symlink("/dev/full", getPath("base.csv").c_str()), 0);
    make(9);
    EXPECT_TRUE(write("a")) << "it waits in a buffer";
    EXPECT_FALSE(mWriter->flush());
    EXPECT_FALSE(write("b"));
    EXPECT_FALSE(mWriter->flush());
}

TEST_F(qzCsvFileWriterTest, ReportsOnceRowsThatAClosedFileDidNotTake)
{
    ASSERT_EQ(::symlink("/dev/full", getPath("base.csv").c_str()), 0);
    make(1);
    EXPECT_TRUE(write("a"));
    EXPECT_TRUE(write("b"));
    EXPECT_FALSE(mWriter->flush()) << "the other row";
    EXPECT_TRUE(mWriter->flush());
    EXPECT_TRUE(write("c"));
    EXPECT_TRUE(mWriter->flush());
    EXPECT_EQ(mFolder.read("base (1).csv"), "b");
    EXPECT_EQ(mFolder.read("base (2).csv"), "c");
}

TEST_F(qzCsvFileWriterTest, ReportsRowsWithoutAFile)
{
    ::mkdir(getPath("base.csv").c_str(), 0700);
    make(9);
    write("a");
    EXPECT_FALSE(mWriter->flush());
    mWriter->finalizeCurrentFile();
    EXPECT_TRUE(write("b"));
    EXPECT_FALSE(mWriter->flush()) << "another row came to nothing in the meantime";
    EXPECT_TRUE(mWriter->flush());
}

// --- Failures

TEST_F(qzCsvFileWriterTest, ReportsAFileThatCannotBeMadeOnce)
{
    ::mkdir(getPath("base.csv").c_str(), 0700);
    make(1);
    mWriter->setHeaders({"h"});
    EXPECT_FALSE(write("a"));
    EXPECT_FALSE(write("b"));
    EXPECT_THAT(mLog.getEntries(), ::testing::SizeIs(1));
    EXPECT_THAT(mLog.getLines(), ElementsAre(::testing::StartsWith("CRITICAL")));
    EXPECT_THAT(mLog.getMessages(), ElementsAre("Fail to open csv file " + getPath("base.csv")));
}

TEST_F(qzCsvFileWriterTest, CountsAFileThatCannotBeMade)
{
    ::mkdir(getPath("base.csv").c_str(), 0700);
    make(1);
    EXPECT_FALSE(write("a"));
    mWriter->finalizeCurrentFile();
    EXPECT_TRUE(write("b"));
    mWriter.reset();
    EXPECT_EQ(mFolder.read("base (1).csv"), "b");
}

TEST_F(qzCsvFileWriterTest, GivesAStreamWithoutADeviceWhenTheNextFileFails)
{
    ::mkdir(getPath("base (1).csv").c_str(), 0700);
    make(1);
    EXPECT_TRUE(write("a"));
    qzCsvStream* const stream = mWriter->getStream();
    EXPECT_TRUE(stream->isOk()) << "the failure shows with the first write";
    EXPECT_FALSE(write("b"));
    EXPECT_EQ(stream->getRowCount(), 0U);
    EXPECT_EQ(mFolder.read("base.csv"), "a");
    EXPECT_THAT(mLog.getMessages(),
                ElementsAre("Fail to open csv file " + getPath("base (1).csv")));
}

TEST_F(qzCsvFileWriterTest, ReportsAFolderThatIsMissing)
{
    const std::string folder = getPath("missing");
    qzCsvFileWriter writer(folder, "base", 1, ',', '"', "\n", true);
    EXPECT_NE(writer.getStream(), nullptr);
    EXPECT_THAT(mLog.getMessages(), ElementsAre("Fail to open csv file " + folder + "/base.csv"));
}

TEST_F(qzCsvFileWriterTest, FailsOnAFullDisk)
{
    ASSERT_EQ(::symlink("/dev/full", getPath("base.csv").c_str()), 0);
    make(9);
    EXPECT_FALSE(write(std::string(100000, 'x')));
    EXPECT_FALSE(write("a"));
    mWriter->finalizeCurrentFile();
    EXPECT_TRUE(write("b")) << "another file may stand elsewhere";
}

TEST_F(qzCsvFileWriterTest, KeepsAFailureThatTheHeadersMet)
{
    ASSERT_EQ(::symlink("/dev/full", getPath("base.csv").c_str()), 0);
    make(9);
    mWriter->setHeaders({std::string(100000, 'x')});
    EXPECT_FALSE(mWriter->getStream()->isOk());
}

TEST_F(qzCsvFileWriterTest, LosesNoRowThatWasWrittenBeforeTheLimitOfTheFile)
{
    make(9);
    const std::string big(40000, 'x');
    {
        const support::FileSizeLimit limit(100000);
        EXPECT_TRUE(write(big));
        EXPECT_TRUE(write(big));
        EXPECT_FALSE(write(big));
        mWriter->finalizeCurrentFile();
    }
    EXPECT_EQ(mFolder.read("base.csv").substr(0, 80001), big + "\n" + big);
}

// --- A disk that fills up

TEST(qzCsvFileWriterDisk, KeepsEachRowThatWasFlushedWhenItIsFull)
{
    const support::ScratchFolder folder;
    support::ProgramRun run;
    run.program = "csv_full_disk";
    run.arguments = {folder.getPath()};
    const support::ChildResult result = runProgram(run);
    if (result.exitCode == 77) GTEST_SKIP() << "no disk of its own: " << result.err;
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
    EXPECT_EQ(result.out,
              "rows flushed before the full disk: some\n"
              "rows flushed onto the full disk: none\n"
              "rows flushed with room again: all\n"
              "flushed rows that are lost: 0\n");
}

}  // namespace

}  // namespace qz
