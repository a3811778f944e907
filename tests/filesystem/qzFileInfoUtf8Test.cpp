// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <sys/stat.h>
#include <sys/time.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "FolderFixture.h"

namespace qz {

namespace {

namespace fs = std::filesystem;

qzFileInfoUtf8 makeInfo()
{
    qzFileInfoUtf8 info;
    info.path = "path";
    info.lastAccessTime = -1;
    info.lastStatusChangeTime = 2;
    info.lastModificationTime = 3;
    info.size = 4;
    info.exists = true;
    info.isFile = true;
    info.isDirectory = true;
    return info;
}

void expectEmpty(const qzFileInfoUtf8& info)
{
    EXPECT_EQ(info.path, "");
    EXPECT_EQ(info.lastAccessTime, 0);
    EXPECT_EQ(info.lastStatusChangeTime, 0);
    EXPECT_EQ(info.lastModificationTime, 0);
    EXPECT_EQ(info.size, 0U);
    EXPECT_FALSE(info.exists);
    EXPECT_FALSE(info.isFile);
    EXPECT_FALSE(info.isDirectory);
}

// --- The record

TEST(qzFileInfoUtf8Record, KeepsItsFieldsInOrder)
{
    const qzFileInfoUtf8 info;
    const auto place = [&info](const auto& field) {
        return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&info);
    };
    EXPECT_EQ(place(info.path), 0);
    EXPECT_EQ(place(info.lastAccessTime), 32);
    EXPECT_EQ(place(info.lastStatusChangeTime), 40);
    EXPECT_EQ(place(info.lastModificationTime), 48);
    EXPECT_EQ(place(info.size), 56);
    EXPECT_EQ(sizeof info, 72U);
}

TEST(qzFileInfoUtf8Record, KeepsItsBitsInOrder)
{
    qzFileInfoUtf8 info;
    const auto getBits = [&info] { return reinterpret_cast<const unsigned char*>(&info)[64] & 7; };
    EXPECT_EQ(getBits(), 0);
    info.exists = true;
    EXPECT_EQ(getBits(), 1);
    info.isFile = true;
    EXPECT_EQ(getBits(), 1 | 2);
    info.isDirectory = true;
    EXPECT_EQ(getBits(), 1 | 2 | 4);
}

TEST(qzFileInfoUtf8Record, IsMadeAndClearedEmpty)
{
    expectEmpty(qzFileInfoUtf8());
    qzFileInfoUtf8 info = makeInfo();
    info.clearInfos();
    expectEmpty(info);
}

struct FieldRow {
    const char* name;
    void (*change)(qzFileInfoUtf8&);
};

const FieldRow kFieldRows[] = {
    {"Path", [](qzFileInfoUtf8& info) { info.path = "other"; }},
    {"AccessTime", [](qzFileInfoUtf8& info) { info.lastAccessTime = 9; }},
    {"StatusChangeTime", [](qzFileInfoUtf8& info) { info.lastStatusChangeTime = 9; }},
    {"ModificationTime", [](qzFileInfoUtf8& info) { info.lastModificationTime = 9; }},
    {"Size", [](qzFileInfoUtf8& info) { info.size = 9; }},
    {"Exists", [](qzFileInfoUtf8& info) { info.exists = false; }},
    {"IsFile", [](qzFileInfoUtf8& info) { info.isFile = false; }},
    {"IsDirectory", [](qzFileInfoUtf8& info) { info.isDirectory = false; }},
};

class qzFileInfoUtf8Fields : public ::testing::TestWithParam<FieldRow> {};

TEST_P(qzFileInfoUtf8Fields, CountInComparisons)
{
    qzFileInfoUtf8 info = makeInfo();
    EXPECT_TRUE(info == makeInfo());
    GetParam().change(info);
    EXPECT_FALSE(info == makeInfo());
    EXPECT_FALSE(makeInfo() == info);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzFileInfoUtf8Fields, ::testing::ValuesIn(kFieldRows),
                         [](const auto& row) { return std::string(row.param.name); });

// --- GetFileInfoUtf8

using qzDirUtilsGetFileInfo = FolderFixture;

TEST_F(qzDirUtilsGetFileInfo, DescribesAFile)
{
    const std::string path = mFolder.write("file", "12345");
    const timeval times[2] = {{1'000, 900'000}, {-2'000, 0}};
    ASSERT_EQ(::utimes(path.c_str(), times), 0);
    struct stat status = {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);

    qzFileInfoUtf8 info;
    qzDirUtils::GetFileInfoUtf8(path, info);
    EXPECT_EQ(info.path, path);
    EXPECT_EQ(info.lastAccessTime, 1'000);
    EXPECT_EQ(info.lastModificationTime, -2'000);
    EXPECT_EQ(info.lastStatusChangeTime, status.st_ctim.tv_sec);
    EXPECT_GT(info.lastStatusChangeTime, 1'000'000'000);
    EXPECT_EQ(info.size, 5U);
    EXPECT_TRUE(info.exists);
    EXPECT_TRUE(info.isFile);
    EXPECT_FALSE(info.isDirectory);
}

TEST_F(qzDirUtilsGetFileInfo, ReportsSizesBeyondThirtyTwoBits)
{
    const std::string path = mFolder.write("file", "");
    fs::resize_file(path, 5'000'000'000);
    qzFileInfoUtf8 info;
    qzDirUtils::GetFileInfoUtf8(path, info);
    EXPECT_EQ(info.size, 5'000'000'000U);
}

TEST_F(qzDirUtilsGetFileInfo, DistinguishesFilesFromFoldersAndOtherObjects)
{
    qzFileInfoUtf8 info;
    qzDirUtils::GetFileInfoUtf8(mFolder.getPath(), info);
    EXPECT_TRUE(info.exists);
    EXPECT_FALSE(info.isFile);
    EXPECT_TRUE(info.isDirectory);

    ASSERT_EQ(::mkfifo(getPath("pipe").c_str(), 0600), 0);
    qzDirUtils::GetFileInfoUtf8(getPath("pipe"), info);
    EXPECT_EQ(info.path, getPath("pipe"));
    EXPECT_TRUE(info.exists);
    EXPECT_FALSE(info.isFile);
    EXPECT_FALSE(info.isDirectory);
}

TEST_F(qzDirUtilsGetFileInfo, FollowsLinks)
{
    mFolder.write("file", "12345");
    fs::create_symlink("file", getPath("link"));
    qzFileInfoUtf8 info;
    qzDirUtils::GetFileInfoUtf8(getPath("link"), info);
    EXPECT_EQ(info.path, getPath("link"));
    EXPECT_EQ(info.size, 5U);
    EXPECT_TRUE(info.isFile);
}

TEST_F(qzDirUtilsGetFileInfo, ForgetsEvenThePathOfAMissingFile)
{
    qzFileInfoUtf8 info = makeInfo();
    qzDirUtils::GetFileInfoUtf8(getPath("missing"), info);
    expectEmpty(info);
    EXPECT_EQ(errno, ENOENT);
    qzFileInfoUtf8 other;
    qzDirUtils::GetFileInfoUtf8("also missing", other);
    EXPECT_TRUE(info == other);
}

TEST_F(qzDirUtilsGetFileInfo, MayBeAskedForTheRecordsOwnPath)
{
    qzFileInfoUtf8 info;
    info.path = mFolder.write("file", "12345");
    qzDirUtils::GetFileInfoUtf8(info.path, info);
    EXPECT_EQ(info.path, getPath("file"));
    EXPECT_EQ(info.size, 5U);
}

// The system reads the path up to the zero byte.
TEST_F(qzDirUtilsGetFileInfo, KeepsThePathAsItWasAskedFor)
{
    mFolder.write("file", "12345");
    const std::string path = getPath("./file") + std::string("\0rest", 5);
    qzFileInfoUtf8 info;
    qzDirUtils::GetFileInfoUtf8(path, info);
    EXPECT_EQ(info.path, path);
    EXPECT_EQ(info.size, 5U);
}

TEST_F(qzDirUtilsGetFileInfo, ReplacesWhatTheRecordHeld)
{
    qzFileInfoUtf8 info = makeInfo();
    qzDirUtils::GetFileInfoUtf8(mFolder.write("file", ""), info);
    EXPECT_EQ(info.size, 0U);
    EXPECT_FALSE(info.isDirectory);
}

TEST(qzDirUtilsGetFileInfoNames, AreLookedUpInTheLocalCharacterSet)
{
    const support::ScratchFolder folder;
    folder.write("\xE9", "12345");
    expectInLocale("en_US.ISO-8859-1", [&folder] {
        qzFileInfoUtf8 info;
        qzDirUtils::GetFileInfoUtf8(folder.getPath("\u00e9"), info);
        EXPECT_EQ(info.path, folder.getPath("\u00e9"));
        EXPECT_EQ(info.size, 5U);
    });
}

}  // namespace

}  // namespace qz
