// SPDX-License-Identifier: MIT
// Ini files and devices that are saved as a whole, and copies.

#include <qz/ext/SafeFiles.h>

#include <pthread.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cerrno>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/SystemError.h>
#include <qz/qzIniFile.h>
#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>

#include "ext/SafeFilesFixture.h"
#include "support/CancelledThread.h"
#include "support/ChildProcess.h"
#include "support/DeviceStub.h"
#include "support/Files.h"
#include "support/Limits.h"
#include "support/LogCapture.h"
#include "support/SmallDisk.h"

namespace qz::ext {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Map = qzVariant::qzVariantMapImpl;

// --- Ini files

struct IniRow {
    const char* name;
    const char* oldContent;  // null for a missing file
    bool merge;
};

class SavedIniFile : public SafeFilesTest, public ::testing::WithParamInterface<IniRow> {};

TEST_P(SavedIniFile, HasTheTextOfSaveIniFile)
{
    const support::LogCapture log;
    const Map map{{"number", 1},
                  {"real", 0.1},
                  {"text", "a \"b\"\n"},
                  {"flag", true},
                  {"s", Map{{"key", "x"}, {"deep", Map{{"er", 2}}}}}};
    const std::string expected = mFolder.getPath("expected.ini");
    const std::string saved = mFolder.getPath("saved.ini");
    if (GetParam().oldContent != nullptr) {
        support::writeFile(expected, GetParam().oldContent);
        support::writeFile(saved, GetParam().oldContent);
    }
    ASSERT_TRUE(SaveIniFile(expected, map, GetParam().merge));
    ASSERT_TRUE(saveIniFileAtomically(saved, map, GetParam().merge, &mFailure))
        << mFailure.toString();
    EXPECT_EQ(support::readFile(saved), support::readFile(expected));
    EXPECT_EQ(getMode(saved), getMode(expected));
    EXPECT_THAT(list(), ElementsAre("expected.ini", "saved.ini", "target"));
}

constexpr const char* kOldIni = "[General]\nold=1\nnumber=7\n\n[s]\nkey=y\nother=z\n";

constexpr IniRow kIniRows[] = {
    {"New", nullptr, false},
    {"Replaced", "[General]\nold=1\n", false},
    {"MergedWithNothing", nullptr, true},
    {"Merged", kOldIni, true},
    {"MergedWithAnEmptyFile", "", true},
    {"MergedWithRubbish", "no line\n[x\n=\n", true},
};

INSTANTIATE_TEST_SUITE_P(Rows, SavedIniFile, ::testing::ValuesIn(kIniRows),
                         [](const auto& row) { return std::string(row.param.name); });

using SavedFilesTest = SafeFilesTest;

TEST_F(SavedFilesTest, KeepsTheIniFileIfAValueHasNoText)
{
    const support::LogCapture log;
    const Map map{{"a", 1}, {"list", qzVariant::qzVariantListImpl{1, 2}}};
    EXPECT_FALSE(saveIniFileAtomically(mPath, map, /*merge=*/false, &mFailure));
    EXPECT_EQ(mFailure.toString(),
              "save of the values for " + mPath + ": " + SystemError(EINVAL).toString());
    EXPECT_EQ(getTarget(), "old");
    EXPECT_THAT(list(), ElementsAre("target"));
}

TEST_F(SavedFilesTest, KeepsTheIniFileIfAWriteFails)
{
    const support::FileSizeLimit limit(1000);
    const Map map{{"a", std::string(2000, 'x')}};
    EXPECT_FALSE(saveIniFileAtomically(mPath, map, /*merge=*/false, &mFailure));
    EXPECT_EQ(mFailure.error, EFBIG);
    EXPECT_EQ(getTarget(), "old");
    EXPECT_THAT(list(), ElementsAre("target"));
}

TEST_F(SavedFilesTest, ReportsAnIniFileThatCantBeRead)
{
    ASSERT_EQ(::chmod(mPath.c_str(), 0222), 0);
    ASSERT_EQ(::chmod(mFolder.getPath().c_str(), 0777), 0);
    const support::ChildResult child = support::runInChild([&] {
        support::becomeNobody();
        return !saveIniFileAtomically(mPath, Map{{"a", 1}}, /*merge=*/true, &mFailure) &&
                       mFailure.error != 0
                   ? kExpected
                   : 1;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    ASSERT_EQ(::chmod(mPath.c_str(), 0600), 0);
    EXPECT_EQ(getTarget(), "old");
}

// The umask is for new files; this one has its mode at the end.
TEST_F(SavedFilesTest, SavesAnIniFileWhenTheUmaskLeavesItsOwnerNothing)
{
    ASSERT_EQ(::chmod(mFolder.getPath().c_str(), 0777), 0);
    const support::ChildResult child = support::runInChild([&] {
        support::becomeNobody();
        const std::string path = mFolder.getPath("own");
        support::writeFile(path, "[General]\na=1\n");
        ::umask(0777);
        return saveIniFileAtomically(path, Map{{"b", 2}}, /*merge=*/true) ? kExpected : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
    EXPECT_EQ(mFolder.read("own"), "[General]\na=1\nb=2\n");
    EXPECT_THAT(list(), ElementsAre("own", "target"));
}

// The descriptors of the main thread would lead to another file, which would be overwritten.
TEST_F(SavedFilesTest, SavesAnIniFileOnAThreadWithDescriptorsOfItsOwn)
{
    if (!fs::exists("/proc/thread-self/fd/")) GTEST_SKIP() << "no /proc";
    bool isSaved = false;
    bool hasOwnDescriptors = false;
    std::thread([&] {
        hasOwnDescriptors = ::unshare(CLONE_FILES) == 0;
        isSaved = saveIniFileAtomically(mPath, Map{{"a", 1}}, /*merge=*/false, &mFailure);
    }).join();
    if (!hasOwnDescriptors) GTEST_SKIP() << "no right to separate the descriptors of a thread";
    EXPECT_TRUE(isSaved) << mFailure.toString();
    EXPECT_EQ(getTarget(), "[General]\na=1\n");
}

TEST_F(SavedFilesTest, CompletesAnIniFileOnAThreadThatIsCancelled)
{
    support::writeFile(mPath, "[General]\na=1\n");
    const support::ChildResult child = support::runInChild([&] {
        const bool isCancelled = support::endsByCancellation([&] {
            saveIniFileAtomically(mPath, Map{{"b", 2}}, /*merge=*/true);
            ::pthread_testcancel();
        });
        return isCancelled ? kExpected : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
    EXPECT_EQ(getTarget(), "[General]\na=1\nb=2\n");
    EXPECT_THAT(list(), ElementsAre("target"));
}

// --- Devices

TEST_F(SavedFilesTest, SavesWhatIsLeftOfADevice)
{
    support::DeviceStub source("0123456789");
    source.shortenTo(3);
    source.seek(2, qzIoDeviceRandomAccess::SeekFromBegin);
    EXPECT_TRUE(saveDeviceAtomically(mPath, source, &mFailure)) << mFailure.toString();
    EXPECT_EQ(getTarget(), "23456789");
    support::DeviceStub empty("");
    EXPECT_TRUE(saveDeviceAtomically(mPath, empty));
    EXPECT_EQ(getTarget(), "");
}

TEST_F(SavedFilesTest, SavesABufferThatIsRewound)
{
    const std::string content(700'000, 'x');
    qzIoDeviceMemoryChunkAndSwapBuffer buffer(mFolder.getPath("swap"), 4096, 4096, 65536);
    buffer << content;
    buffer.seek(0, qzIoDeviceRandomAccess::SeekFromBegin);
    EXPECT_TRUE(saveDeviceAtomically(mPath, buffer, &mFailure)) << mFailure.toString();
    EXPECT_TRUE(getTarget() == content);
}

TEST_F(SavedFilesTest, KeepsTheTargetIfTheDeviceStopsBeforeItsEnd)
{
    support::DeviceStub source("0123456789");
    source.stopAfter(4);
    EXPECT_FALSE(saveDeviceAtomically(mPath, source, &mFailure));
    EXPECT_EQ(getFailure(), "read of the device for F/target: " + SystemError(EIO).toString());
    EXPECT_EQ(getTarget(), "old");
    EXPECT_THAT(list(), ElementsAre("target"));
}

TEST_F(SavedFilesTest, ReportsTheErrorOfTheDevice)
{
    support::DeviceStub source("0123456789");
    source.stopAfter(4);
    source.setErrorOfShortMoves("tape torn");
    EXPECT_FALSE(saveDeviceAtomically(mPath, source, &mFailure));
    EXPECT_THAT(mFailure.step, HasSubstr("(tape torn)"));
    qzIoDeviceFileStream missing(mFolder.getPath("none"), qzIoDevice::DataWayRead, false);
    EXPECT_FALSE(saveDeviceAtomically(mPath, missing, &mFailure));
    EXPECT_THAT(mFailure.step, HasSubstr("failed to open file"));
    EXPECT_EQ(getTarget(), "old");
}

TEST_F(SavedFilesTest, KeepsTheTargetIfTheDeviceClaimsMoreThanRequested)
{
    class Boaster : public support::DeviceStub {
    public:
        Boaster() : DeviceStub("x") {}
        unsigned long readBytes(char* /*dst*/, unsigned long /*size*/) override
        {
            return static_cast<unsigned long>(-1);
        }
    };
    Boaster source;
    EXPECT_FALSE(saveDeviceAtomically(mPath, source, &mFailure));
    EXPECT_EQ(getFailure(), "read of the device for F/target: " + SystemError(EIO).toString());
    EXPECT_EQ(getTarget(), "old");
}

TEST_F(SavedFilesTest, KeepsTheTargetIfTheDeviceIsClosed)
{
    qzIoDeviceFileStream closed;
    EXPECT_FALSE(saveDeviceAtomically(mPath, closed, &mFailure));
    EXPECT_EQ(mFailure.error, EIO);
    EXPECT_EQ(getTarget(), "old");
}

TEST_F(SavedFilesTest, ReportsThatTheDeviceCantBeWritten)
{
    const support::FileSizeLimit limit(1000);
    support::DeviceStub source(std::string(2000, 'x'));
    EXPECT_FALSE(saveDeviceAtomically(mPath, source, &mFailure));
    EXPECT_EQ(mFailure.error, EFBIG);
    EXPECT_TRUE(source.good());
    support::DeviceStub longer(std::string(200'000, 'x'));
    EXPECT_FALSE(saveDeviceAtomically(mPath, longer, &mFailure));
    EXPECT_EQ(getFailure(), "write for F/target: " + SystemError(EFBIG).toString());
    EXPECT_FALSE(saveDeviceAtomically(mFolder.getPath("none/file"), source, &mFailure));
    EXPECT_EQ(mFailure.error, ENOENT);
    EXPECT_EQ(getTarget(), "old");
}

// --- Copies

TEST_F(SavedFilesTest, CopiesContentAndPermissions)
{
    const std::string content(600'000, 'c');
    const std::string source = mFolder.write("source", content);
    const std::string copy = mFolder.getPath("copy");
    ASSERT_EQ(::chmod(source.c_str(), 04751), 0);
    ASSERT_TRUE(copyFileChecked(source, copy, &mFailure)) << mFailure.toString();
    EXPECT_EQ(getMode(copy), 0751U);
    EXPECT_TRUE(support::readFile(copy) == content);
    ASSERT_TRUE(copyFileChecked(source, mPath));
    EXPECT_EQ(getMode(mPath), 0751U);
    EXPECT_TRUE(getTarget() == content);
    EXPECT_THAT(list(), ElementsAre("copy", "source", "target"));
}

TEST_F(SavedFilesTest, CopiesNoFileOntoItself)
{
    fs::create_symlink(mPath, mFolder.getPath("link"));
    fs::create_hard_link(mPath, mFolder.getPath("name"));
    for (const char* name : {"target", "link", "name"}) {
        EXPECT_FALSE(copyFileChecked(mPath, mFolder.getPath(name), &mFailure)) << name;
        EXPECT_EQ(mFailure.toString(), "copy of a file onto itself, " + mFolder.getPath(name) +
                                           ": " + SystemError(EINVAL).toString());
    }
    EXPECT_EQ(getTarget(), "old");
    EXPECT_EQ(list().size(), 3U);
}

// Each disk numbers its files itself.
TEST_F(SavedFilesTest, CopiesToAFileOfTheSameNumberOnAnotherDisk)
{
    const support::ChildResult child = support::runInChild([&] {
        const std::string first = mFolder.getPath("first");
        const std::string second = mFolder.getPath("second");
        fs::create_directory(first);
        fs::create_directory(second);
        if (!support::mountSmallDisk(first, "64k") ||
            ::mount("none", second.c_str(), "tmpfs", 0, "size=64k") != 0)
            return support::kNoSmallDisk;
        struct stat source = {};
        struct stat target = {};
        support::writeFile(first + "/file", "new");
        support::writeFile(second + "/file", "old");
        ::stat((first + "/file").c_str(), &source);
        ::stat((second + "/file").c_str(), &target);
        if (source.st_ino != target.st_ino) return support::kNoSmallDisk;
        if (!copyFileChecked(first + "/file", second + "/file", &mFailure)) return 1;
        return support::readFile(second + "/file") == "new" ? kExpected : 2;
    });
    if (child.exitCode == support::kNoSmallDisk) GTEST_SKIP() << "no such disks";
    EXPECT_EQ(child.exitCode, kExpected);
}

TEST_F(SavedFilesTest, CopiesRegularFilesOnly)
{
    const auto copy = [this](const std::string& name) {
        EXPECT_FALSE(copyFileChecked(mFolder.getPath(name), mPath, &mFailure)) << name;
        return getFailure();
    };
    fs::create_directory(mFolder.getPath("folder"));
    ASSERT_EQ(::mkfifo(mFolder.getPath("pipe").c_str(), 0600), 0);
    EXPECT_EQ(copy("folder"), "copy F/folder: " + SystemError(EISDIR).toString());
    EXPECT_EQ(copy("pipe"), "copy F/pipe: " + SystemError(EINVAL).toString());
    EXPECT_EQ(copy("none"), "open F/none: " + SystemError(ENOENT).toString());
    EXPECT_FALSE(copyFileChecked("", mPath, &mFailure));
    EXPECT_EQ(mFailure.toString(), "conversion of the path : " + SystemError(EILSEQ).toString());
    EXPECT_EQ(getTarget(), "old");
}

TEST_F(SavedFilesTest, KeepsTheOldTargetIfACopyFails)
{
    const std::string source = mFolder.write("source", std::string(500'000, 'c'));
    const support::FileSizeLimit limit(400'000);
    EXPECT_FALSE(copyFileChecked(source, mPath, &mFailure));
    EXPECT_EQ(mFailure.error, EFBIG);
    EXPECT_FALSE(copyFileChecked(source, mFolder.getPath("new"), &mFailure));
    EXPECT_EQ(getTarget(), "old");
    EXPECT_THAT(list(), ElementsAre("source", "target"));
}

}  // namespace qz::ext
