// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FolderFixture.h"

namespace qz {

namespace {

namespace fs = std::filesystem;
using support::EnvironmentVariable;

// --- The temporary folder

using qzDirUtilsTempFolder = FolderFixture;

TEST_F(qzDirUtilsTempFolder, IsTheVariablesValue)
{
    const EnvironmentVariable folder("TMPDIR", "/some/folder/");
    EXPECT_EQ(qzDirUtils::GetTempFolderUtf8(), "/some/folder/");
}

TEST_F(qzDirUtilsTempFolder, StaysEmptyForAnEmptyVariable)
{
    const EnvironmentVariable folder("TMPDIR", "");
    EXPECT_EQ(qzDirUtils::GetTempFolderUtf8(), "");
}

TEST_F(qzDirUtilsTempFolder, IsTheSystemsWithoutTheVariable)
{
    const EnvironmentVariable folder("TMPDIR", std::nullopt);
    EXPECT_EQ(qzDirUtils::GetTempFolderUtf8(), "/tmp");
}

TEST(qzDirUtilsTempFolderNames, AreConverted)
{
    const EnvironmentVariable folder("TMPDIR", "/\xE9");
    expectInLocale("en_US.ISO-8859-1",
                   [] { EXPECT_EQ(qzDirUtils::GetTempFolderUtf8(), "/\u00e9"); });
    expectInLocale("C.UTF-8", [] { EXPECT_EQ(qzDirUtils::GetTempFolderUtf8(), ""); });
}

// --- The current folder

using qzDirUtilsWorkingDir = FolderFixture;

TEST_F(qzDirUtilsWorkingDir, IsGivenAndChanged)
{
    const WorkingFolder before(".");
    const std::string folder = fs::canonical(mFolder.getPath());
    EXPECT_TRUE(qzDirUtils::SetCurrentWorkingDirUtf8(folder));
    EXPECT_EQ(qzDirUtils::GetCurrentWorkingDirUtf8(), folder);
    EXPECT_EQ(fs::current_path(), folder);
    EXPECT_TRUE(qzDirUtils::SetCurrentWorkingDirUtf8("/"));
    EXPECT_EQ(qzDirUtils::GetCurrentWorkingDirUtf8(), "/");
}

TEST_F(qzDirUtilsWorkingDir, StaysWhereItIsAfterAFailure)
{
    const std::string before = fs::current_path();
    EXPECT_FALSE(qzDirUtils::SetCurrentWorkingDirUtf8(getPath("missing")));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(qzDirUtils::SetCurrentWorkingDirUtf8(mFolder.write("file", "")));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(qzDirUtils::SetCurrentWorkingDirUtf8(""));
    EXPECT_EQ(fs::current_path(), before);
}

TEST_F(qzDirUtilsWorkingDir, IsNothingOnceItIsRemoved)
{
    fs::create_directory(getPath("gone"));
    const WorkingFolder folder(getPath("gone"));
    fs::remove(getPath("gone"));
    EXPECT_EQ(qzDirUtils::GetCurrentWorkingDirUtf8(), "");
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(qzDirUtilsWorkingDir, MayBeLongerThanThePathsThatTheSystemTakes)
{
    const WorkingFolder before(mFolder.getPath());
    const std::string name(200, 'x');
    std::string expected = fs::canonical(mFolder.getPath());
    for (int i = 0; i < 30; ++i) {
        fs::create_directory(name);
        ASSERT_TRUE(qzDirUtils::SetCurrentWorkingDirUtf8(name));
        expected += '/' + name;
    }
    EXPECT_TRUE(qzDirUtils::GetCurrentWorkingDirUtf8() == expected);
}

TEST(qzDirUtilsWorkingDirNames, AreConverted)
{
    const support::ScratchFolder scratch;
    const std::string root = fs::canonical(scratch.getPath());
    fs::create_directory(root + "/\xE9");
    expectInLocale("en_US.ISO-8859-1", [&root] {
        EXPECT_TRUE(qzDirUtils::SetCurrentWorkingDirUtf8(root + "/\u00e9"));
        EXPECT_EQ(qzDirUtils::GetCurrentWorkingDirUtf8(), root + "/\u00e9");
    });
    const WorkingFolder folder(root + "/\xE9");
    expectInLocale("C.UTF-8", [] { EXPECT_EQ(qzDirUtils::GetCurrentWorkingDirUtf8(), ""); });
}

// --- The program's folder

using qzDirUtilsProcessFolder = FolderFixture;

TEST_F(qzDirUtilsProcessFolder, IsThatOfTheRunningFile)
{
    std::string folder = "before";
    EXPECT_TRUE(qzDirUtils::GetProcessFolderUtf8(folder));
    EXPECT_EQ(folder, fs::read_symlink("/proc/self/exe").parent_path());
}

struct ProgramRow {
    const char* name;
    std::vector<std::string> file;  // none when the system can't tell it
    const char* answer;
};

const ProgramRow kProgramRows[] = {
    {"Usual", {"/usr/bin/program"}, "1 '/usr/bin'\n"},
    {"InTheRoot", {"/program"}, "1 ''\n"},
    {"WithoutSlash", {"program"}, "1 'program'\n"},
    {"Backslash", {"/usr\\bin"}, "1 ''\n"},
    {"Removed", {"/usr/bin/program (deleted)"}, "1 '/usr/bin'\n"},
    {"Empty", {""}, "0 ''\n"},
    {"NoFolder", {}, "0 ''\n"},
};

class qzDirUtilsProcessFolderRows : public ::testing::TestWithParam<ProgramRow> {};

TEST_P(qzDirUtilsProcessFolderRows, GiveWhatIsBeforeTheLastSlash)
{
    const support::ChildResult result =
        support::runProgram({.program = "process_folder", .arguments = GetParam().file});
    EXPECT_EQ(result.out, GetParam().answer);
    EXPECT_EQ(result.getEnd(), "exit 0");
}

INSTANTIATE_TEST_SUITE_P(Rows, qzDirUtilsProcessFolderRows, ::testing::ValuesIn(kProgramRows),
                         [](const auto& row) { return std::string(row.param.name); });

// --- The user's folders

class qzDirUtilsUserFolders : public FolderFixture {
protected:
    void setHome(const std::optional<std::string>& value) { mHome.emplace("HOME", value); }

    std::optional<EnvironmentVariable> mHome;
};

TEST_F(qzDirUtilsUserFolders, AreBelowHome)
{
    setHome(mFolder.getPath());
    EXPECT_EQ(qzDirUtils::GetPicturesFolderUtf8(), getPath("Pictures"));
    EXPECT_EQ(qzDirUtils::GetDownloadFolderUtf8(), getPath("Downloads"));
    EXPECT_EQ(qzDirUtils::GetAppDataFolderUtf8("app"), getPath(".app"));
    EXPECT_TRUE(fs::is_empty(mFolder.getPath())) << "nothing is made";
}

TEST_F(qzDirUtilsUserFolders, GiveDocumentsOnlyIfItIsAFolder)
{
    setHome(mFolder.getPath());
    EXPECT_EQ(qzDirUtils::GetDocumentsFolderUtf8(), mFolder.getPath());
    mFolder.write("Documents", "");
    EXPECT_EQ(qzDirUtils::GetDocumentsFolderUtf8(), mFolder.getPath());
    fs::remove(getPath("Documents"));
    fs::create_directory(getPath("Documents"));
    EXPECT_EQ(qzDirUtils::GetDocumentsFolderUtf8(), getPath("Documents"));
}

TEST_F(qzDirUtilsUserFolders, AreBelowTheCurrentFolderWithoutHome)
{
    const WorkingFolder folder(mFolder.getPath());
    setHome(std::nullopt);
    EXPECT_EQ(qzDirUtils::GetDocumentsFolderUtf8(), ".");
    EXPECT_EQ(qzDirUtils::GetPicturesFolderUtf8(), "./Pictures");
    EXPECT_EQ(qzDirUtils::GetDownloadFolderUtf8(), "./Downloads");
    EXPECT_EQ(qzDirUtils::GetAppDataFolderUtf8("app"), ".app");
    fs::create_directory("Documents");
    EXPECT_EQ(qzDirUtils::GetDocumentsFolderUtf8(), "./Documents");
}

TEST_F(qzDirUtilsUserFolders, TakeAnEmptyHomeAsItIs)
{
    setHome("");
    EXPECT_EQ(qzDirUtils::GetDocumentsFolderUtf8(), fs::exists("/Documents") ? "/Documents" : "");
    EXPECT_EQ(qzDirUtils::GetPicturesFolderUtf8(), "/Pictures");
    EXPECT_EQ(qzDirUtils::GetDownloadFolderUtf8(), "/Downloads");
    EXPECT_EQ(qzDirUtils::GetAppDataFolderUtf8(""), "/.");
}

TEST(qzDirUtilsUserFolderNames, StayInTheLocalCharacterSetButForApplications)
{
    const EnvironmentVariable home("HOME", "/\xE9");
    expectInLocale("en_US.ISO-8859-1", [] {
        EXPECT_EQ(qzDirUtils::GetDocumentsFolderUtf8(), "/\xE9");
        EXPECT_EQ(qzDirUtils::GetPicturesFolderUtf8(), "/\xE9/Pictures");
        EXPECT_EQ(qzDirUtils::GetDownloadFolderUtf8(), "/\xE9/Downloads");
        EXPECT_EQ(qzDirUtils::GetAppDataFolderUtf8("\xE8"), "/\u00e9/.\u00e8");
    });
    expectInLocale("C.UTF-8", [] {
        EXPECT_EQ(qzDirUtils::GetPicturesFolderUtf8(), "/\xE9/Pictures");
        EXPECT_EQ(qzDirUtils::GetAppDataFolderUtf8("app"), "");
    });
}

TEST(qzDirUtilsUserFolderNames, AreConvertedWithoutHomeToo)
{
    const EnvironmentVariable home("HOME", std::nullopt);
    expectInLocale("en_US.ISO-8859-1",
                   [] { EXPECT_EQ(qzDirUtils::GetAppDataFolderUtf8("\xE8"), ".\u00e8"); });
}

}  // namespace

}  // namespace qz
