// SPDX-License-Identifier: MIT
#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <qz/SystemError.h>
#include <qz/qzCsvFileReader.h>
#include <qz/qzCsvFileWriter.h>
#include <qz/qzDirUtils.h>
#include <qz/qzIniFile.h>
#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzLogObject.h>
#include <qz/qzMutex.h>
#include <qz/qzStringUtils.h>
#include <qz/qzXRefResolverSearchPath.h>

#include "FolderFixture.h"
#include "WalkRecorder.h"
#include "support/Files.h"
#include "support/LogCapture.h"

namespace qz {

namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::StartsWith;

struct LossyRow {
    const char* name;
    const char* locale;
    const char* lossyName;  // a file name that the locale's character set can't hold
};

constexpr LossyRow kLossyRows[] = {
    {"Ascii", "C", "\u00e4.txt"},
    {"Latin1", "de_DE.ISO-8859-1", "\u20ac.txt"},
};

// A path that the local set can't hold, beside the file or folder whose name it would be converted
// to. That one must never be touched.
class LossyPath : public ::testing::TestWithParam<LossyRow> {
protected:
    // What `body` expects is checked in a process of its own, the folder afterwards in this one.
    void runBesideFile(const std::function<void()>& body)
    {
        mFolder.write("source", "new");
        run([&](const std::string& bystander) {
            support::writeFile(bystander, "precious");
            body();
        });
        std::map<std::string, std::string> contents;
        for (const fs::directory_entry& entry : fs::directory_iterator(mFolder.getPath()))
            contents[support::readFile(entry.path())] = entry.path();
        EXPECT_EQ(contents.size(), 2U);
        EXPECT_EQ(contents["new"], mSource);
        EXPECT_TRUE(contents.count("precious"));
    }
    void runBesideFolder(const std::function<void()>& body)
    {
        run([&](const std::string& bystander) {
            fs::create_directory(bystander);
            support::writeFile(bystander + "/file", "precious");
            body();
            EXPECT_EQ(support::readFile(bystander + "/file"), "precious");
        });
        const fs::directory_iterator entries(mFolder.getPath());
        EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
    }

    support::ScratchFolder mFolder;
    std::string mSource = mFolder.getPath("source");
    std::string mLossy = mFolder.getPath(GetParam().lossyName);
    std::string mError;

private:
    void run(const std::function<void(const std::string& bystander)>& body)
    {
        expectInLocale(GetParam().locale, [&] {
            const std::string bystander = qzStringUtils::convertCharset(
                mLossy, qzStringUtils::CharSetUtf8, qzStringUtils::CharSetLocal);
            ASSERT_GT(bystander.size(), mFolder.getPath("").size()) << "no other file has its name";
            body(bystander);
        });
    }
};

std::string describeMissing()
{
    return SystemError(ENOENT).toString();
}

TEST_P(LossyPath, DoesNotExist)
{
    runBesideFile([this] {
        EXPECT_FALSE(qzDirUtils::FileExistsUtf8(mLossy));
        EXPECT_EQ(errno, ENOENT);
        qzFileInfoUtf8 info;
        qzDirUtils::GetFileInfoUtf8(mLossy, info);
        EXPECT_FALSE(info.exists);
        EXPECT_FALSE(qzDirUtils::GrantAllFilePermissionsUtf8(mLossy));
        EXPECT_EQ(qzDirUtils::GetAvailableDiskSizeUtf8(mLossy, mError), 0U);
    });
}

TEST_P(LossyPath, IsNoFolder)
{
    runBesideFolder([this] {
        EXPECT_FALSE(qzDirUtils::DirExistsUtf8(mLossy));
        EXPECT_FALSE(qzDirUtils::SetCurrentWorkingDirUtf8(mLossy));
        EXPECT_EQ(errno, ENOENT);
        EXPECT_EQ(qzDirUtils::GetTempFileUtf8(mLossy, "prefix"), "");
    });
}

TEST_P(LossyPath, IsNotCopied)
{
    runBesideFile([this] {
        EXPECT_FALSE(qzDirUtils::CopyFileUtf8(mSource, mLossy, /*overwrite=*/true, &mError));
        EXPECT_EQ(mError, "fail to open destination file '" + mLossy + "'");
        EXPECT_FALSE(qzDirUtils::CopyFileUtf8(mLossy, mSource, /*overwrite=*/true, &mError));
        EXPECT_EQ(mError, "fail to open source file '" + mLossy + "'");
    });
}

TEST_P(LossyPath, IsNotRenamed)
{
    runBesideFile([this] {
        EXPECT_FALSE(qzDirUtils::RenameFileUtf8(mSource, mLossy, &mError));
        EXPECT_EQ(mError, "rename error " + describeMissing());
        EXPECT_FALSE(qzDirUtils::RenameFileUtf8(mLossy, mFolder.getPath("other"), &mError));
        EXPECT_EQ(mError, "rename error " + describeMissing());
    });
}

TEST_P(LossyPath, IsNotRemoved)
{
    runBesideFile([this] {
        EXPECT_FALSE(qzDirUtils::RemoveFileUtf8(mLossy, &mError));
        EXPECT_EQ(mError, "remove error " + describeMissing() + " for '" + mLossy + "'");
    });
}

TEST_P(LossyPath, IsNotMade)
{
    runBesideFolder([this] {
        EXPECT_FALSE(qzDirUtils::MkpathUtf8(mLossy + "/below"));
        EXPECT_EQ(errno, ENOENT);
    });
}

TEST_P(LossyPath, IsNotCleared)
{
    runBesideFolder([this] {
        EXPECT_TRUE(qzDirUtils::ClearFolderUtf8(mLossy, true, &mError, nullptr));
        EXPECT_EQ(mError, "");
    });
}

TEST_P(LossyPath, IsNotWalked)
{
    runBesideFolder([this] {
        WalkRecorder recorder;
        EXPECT_TRUE(recorder.walk(mLossy));
        EXPECT_EQ(errno, ENOENT);
        EXPECT_THAT(recorder.getLines(), IsEmpty());
        std::vector<std::string> files;
        qzDirUtils::GlobFileAndFolderUtf8(mLossy, nullptr, &files, nullptr, 0);
        EXPECT_THAT(files, IsEmpty());
        qzXRefResolverSearchPath path;
        EXPECT_TRUE(path.initializeSearchPath(mLossy, {}, 10));
        EXPECT_EQ(path.resolveXRef("file").type, qzXRefResolverSearchPath::MatchNotFound);
    });
}

// Like any name that doesn't exist, it is appended to the folder that does.
TEST_P(LossyPath, HasAnAbsoluteFormAllTheSame)
{
    const std::string root = fs::canonical(mFolder.getPath());
    const std::string name = GetParam().lossyName;
    runBesideFolder([&] {
        const WorkingFolder folder(root);
        fs::create_directory("sub");
        EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8(name, ""), root + '/' + name);
        EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8("sub/missing/" + name + "/x", ""),
                  root + "/sub/missing/" + name + "/x");
        EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8(name + "/x", ""), "");
        EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8(name + "/x", "\\missing"), "");
        fs::remove("sub");
        fs::current_path("/");
        EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8(name, ""), '/' + name);
    });
}

TEST_P(LossyPath, IsNotOpenedByADevice)
{
    runBesideFile([this] {
        EXPECT_FALSE(qzIoDeviceFileStream(mLossy, qzIoDevice::DataWayWrite, true).good());
        EXPECT_FALSE(qzIoDeviceFileStream(mLossy, qzIoDevice::DataWayRead, false).good());
    });
}

TEST_P(LossyPath, IsNoTable)
{
    runBesideFile([this] {
        qzCsvFileReader reader(/*typeGuess=*/false);
        reader.setFileName(mLossy);
        EXPECT_NE(reader.getLastError(), "");
        const std::string lossyName = GetParam().lossyName;
        qzCsvFileWriter writer(mFolder.getPath(), lossyName.substr(0, lossyName.find('.')), 10, ',',
                               '"', "\n", /*writeByteOrderMark=*/false);
        writer.getStream()->writeCell("cell");
        EXPECT_FALSE(writer.getStream()->isOk());
    });
}

TEST_P(LossyPath, IsNoIniFile)
{
    runBesideFile([this] {
        const support::LogCapture log;
        qzVariant::qzVariantMapImpl map;
        EXPECT_FALSE(LoadIniFile(mLossy, map));
        EXPECT_FALSE(SaveIniFile(mLossy, map, /*merge=*/false));
    });
}

TEST_P(LossyPath, IsNoLogFile)
{
    runBesideFile([this] {
        const support::LogCapture log;
        qzLog::msInstance->installFileHandlerUtf8(mLossy);
        logWarning() << "line";
        qzLog::msInstance->removeFileHandler();
    });
}

TEST_P(LossyPath, IsNoLock)
{
    const std::string name = "qz-test-" + std::to_string(::getpid()) + "-";
    runBesideFile([&] {
        const support::LogCapture log;
        const qzMutexSystem lossy((name + "\u20ac\u00e4\u65e5").c_str());
        EXPECT_THAT(log.getMessages(), Contains(StartsWith("Fail to create lock for file '")));
        std::string found;
        for (const fs::directory_entry& entry : fs::directory_iterator("/var/lock"))
            if (entry.path().filename().string().rfind(name, 0) == 0) found = entry.path();
        EXPECT_EQ(found, "");
    });
}

INSTANTIATE_TEST_SUITE_P(Rows, LossyPath, ::testing::ValuesIn(kLossyRows),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace

}  // namespace qz
