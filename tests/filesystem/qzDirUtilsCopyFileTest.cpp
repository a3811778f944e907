// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FolderFixture.h"
#include "support/Files.h"
#include "support/Waiting.h"

namespace qz {

namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

class qzDirUtilsCopyFile : public FolderFixture {
protected:
    static std::string makeContent(std::size_t size)
    {
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>(i * 7 + i / 256);
        return content;
    }
    bool copy(bool overwrite = false)
    {
        mError = "before";
        return qzDirUtils::CopyFileUtf8(mSource, mDestination, overwrite, &mError);
    }

    std::string mSource = getPath("source");
    std::string mDestination = getPath("destination");
    std::string mError;
};

TEST_F(qzDirUtilsCopyFile, CopiesEachSizeWhole)
{
    for (const std::size_t size :
         {0UL, 1UL, 4095UL, 4096UL, 8191UL, 8192UL, 8193UL, 16384UL, 100000UL}) {
        const std::string content = makeContent(size);
        mFolder.write("source", content);
        EXPECT_TRUE(copy(/*overwrite=*/true)) << size;
        EXPECT_EQ(mError, "");
        EXPECT_TRUE(mFolder.read("destination") == content) << size;
    }
}

TEST_F(qzDirUtilsCopyFile, MakesAFileThatIsMissing)
{
    mFolder.write("source", "content");
    EXPECT_TRUE(copy());
    EXPECT_EQ(mFolder.read("destination"), "content");
    EXPECT_TRUE(qzDirUtils::CopyFileUtf8(mSource, getPath("other"), false, nullptr));
    EXPECT_EQ(mFolder.read("other"), "content");
}

TEST_F(qzDirUtilsCopyFile, MakesTheFileForEverybodyWithinTheUmask)
{
    mFolder.write("source", "content");
    const mode_t before = ::umask(0);
    EXPECT_TRUE(copy());
    ::umask(before);
    EXPECT_EQ(fs::status(mDestination).permissions(), fs::perms(0666));
}

TEST_F(qzDirUtilsCopyFile, CopiesNoPermissionsAndTimes)
{
    mFolder.write("source", "content");
    fs::permissions(mSource, fs::perms(0700));
    fs::last_write_time(mSource, fs::file_time_type());
    EXPECT_TRUE(copy());
    EXPECT_EQ(fs::status(mDestination).permissions() & fs::perms(0111), fs::perms::none);
    EXPECT_NE(fs::last_write_time(mDestination), fs::last_write_time(mSource));
}

// Compatibility: the message is about the source.
TEST_F(qzDirUtilsCopyFile, LeavesADestinationThatIsThere)
{
    mFolder.write("source", "new");
    mFolder.write("destination", "old");
    EXPECT_FALSE(copy());
    EXPECT_EQ(mError, "source file is missing '" + mSource + "'");
    EXPECT_FALSE(qzDirUtils::CopyFileUtf8(mSource, mDestination, false, nullptr));
    EXPECT_EQ(mFolder.read("destination"), "old");
    // A folder is in the way as well, and the source isn't checked.
    EXPECT_FALSE(qzDirUtils::CopyFileUtf8("missing", mFolder.getPath(), false, &mError));
    EXPECT_EQ(mError, "source file is missing 'missing'");
}

TEST_F(qzDirUtilsCopyFile, ReplacesADestinationWhenAskedTo)
{
    mFolder.write("source", "new");
    mFolder.write("destination", "much older");
    EXPECT_TRUE(copy(/*overwrite=*/true));
    EXPECT_EQ(mFolder.read("destination"), "new");
}

TEST_F(qzDirUtilsCopyFile, FailsWithoutASource)
{
    EXPECT_FALSE(copy());
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(mError, "fail to open source file '" + mSource + "'");
    EXPECT_FALSE(qzDirUtils::CopyFileUtf8(mSource, mDestination, true, nullptr));
    EXPECT_FALSE(fs::exists(mDestination));
}

TEST_F(qzDirUtilsCopyFile, FailsWithoutAPlaceForTheDestination)
{
    mFolder.write("source", "content");
    mDestination = getPath("missing/destination");
    const std::size_t openBefore = support::countOpenDescriptors();
    EXPECT_FALSE(copy());
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(mError, "fail to open destination file '" + mDestination + "'");
    EXPECT_FALSE(qzDirUtils::CopyFileUtf8(mSource, mFolder.getPath(), true, &mError));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(mError, "fail to open destination file '" + mFolder.getPath() + "'");
    EXPECT_FALSE(qzDirUtils::CopyFileUtf8(mSource, mDestination, true, nullptr));
    EXPECT_EQ(support::countOpenDescriptors(), openBefore);
}

// The example of the header.
TEST_F(qzDirUtilsCopyFile, PutsAFileIntoANewFolder)
{
    const support::EnvironmentVariable temporary("TMPDIR", mFolder.getPath());
    const WorkingFolder here(mFolder.getPath());
    mFolder.write("table.csv", "content");
    const std::string folder = qzDirUtils::JoinPath(qzDirUtils::GetTempFolderUtf8(), "report");
    std::string reason;
    EXPECT_TRUE(qzDirUtils::MkpathUtf8(folder));
    EXPECT_TRUE(qzDirUtils::CopyFileUtf8("table.csv", qzDirUtils::JoinPath(folder, "table.csv"),
                                         /*overwrite=*/true, &reason))
        << reason;
    EXPECT_EQ(mFolder.read("report/table.csv"), "content");
}

// The flags of all descriptors that are open for a path.
std::vector<int> findDescriptorFlags(const std::string& path)
{
    std::vector<int> flags;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        if (fs::read_symlink(entry, error) == path)
            flags.push_back(::fcntl(std::stoi(entry.path().filename()), F_GETFD));
    }
    return flags;
}

// The copy waits for the content of a pipe, so its descriptors can be checked meanwhile.
TEST_F(qzDirUtilsCopyFile, PassesNoDescriptorToPrograms)
{
    ASSERT_EQ(::mkfifo(mSource.c_str(), 0600), 0);
    std::thread copying([this] { EXPECT_TRUE(copy()); });
    const int writer = ::open(mSource.c_str(), O_WRONLY | O_CLOEXEC);
    support::waitUntil([this] { return !findDescriptorFlags(mDestination).empty(); });
    EXPECT_THAT(findDescriptorFlags(mSource), ElementsAre(FD_CLOEXEC, FD_CLOEXEC));
    EXPECT_THAT(findDescriptorFlags(mDestination), ElementsAre(FD_CLOEXEC));
    EXPECT_EQ(::write(writer, "content", 7), 7);
    ::close(writer);
    copying.join();
    EXPECT_EQ(mFolder.read("destination"), "content");
}

TEST_F(qzDirUtilsCopyFile, CopiesWhatComesInPieces)
{
    ASSERT_EQ(::mkfifo(mSource.c_str(), 0600), 0);
    std::thread copying([this] { EXPECT_TRUE(copy()); });
    {
        std::ofstream pipe(mSource);
        for (int i = 0; i != 1000; ++i)
            pipe << "piece " << i << std::endl;
    }
    copying.join();
    const std::string content = mFolder.read("destination");
    EXPECT_EQ(content.size(), 10U * 8 + 90U * 9 + 900U * 10);
    EXPECT_EQ(content.substr(content.size() - 10), "piece 999\n");
}

// The destination is emptied before the first byte is read.
TEST_F(qzDirUtilsCopyFile, EmptiesAFileThatIsCopiedOverItself)
{
    mFolder.write("source", "content");
    mDestination = mSource;
    EXPECT_TRUE(copy(/*overwrite=*/true));
    EXPECT_EQ(mFolder.read("source"), "");
}

// Nothing can be read from a folder, and nothing written to a full disk; both are ignored.
TEST_F(qzDirUtilsCopyFile, ReportsNoErrorOfReadingOrWriting)
{
    mSource = mFolder.getPath();
    EXPECT_TRUE(copy());
    EXPECT_EQ(mError, "");
    EXPECT_EQ(mFolder.read("destination"), "");
    mFolder.write("large", makeContent(100'000));
    EXPECT_TRUE(qzDirUtils::CopyFileUtf8(getPath("large"), "/dev/full", true, &mError));
    EXPECT_EQ(mError, "");
}

TEST(qzDirUtilsCopyFileNames, AreTakenInTheLocalCharacterSet)
{
    const support::ScratchFolder folder;
    folder.write("\xE9", "content");
    expectInLocale("en_US.ISO-8859-1", [&folder] {
        std::string error;
        EXPECT_TRUE(qzDirUtils::CopyFileUtf8(folder.getPath("\u00e9"), folder.getPath("\u00e8"),
                                             false, &error));
        EXPECT_FALSE(qzDirUtils::CopyFileUtf8(folder.getPath("\u00e9"), folder.getPath("\u00e8"),
                                              false, &error));
        EXPECT_EQ(error, "source file is missing '" + folder.getPath("\u00e9") + "'");
    });
    EXPECT_EQ(folder.read("\xE8"), "content");
}

}  // namespace

}  // namespace qz
