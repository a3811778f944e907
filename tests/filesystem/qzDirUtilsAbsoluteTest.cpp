// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <optional>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "FolderFixture.h"
#include "PathTexts.h"
#include "PlainPath.h"

namespace qz {

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

// The steps one by one: the longest part of a path that exists is searched from its end.
std::string resolvePlainly(std::string localPath)
{
    std::string tail;
    char buffer[PATH_MAX];
    while (::realpath(localPath.c_str(), buffer) == nullptr) {
        const std::size_t cut = localPath.rfind('/');
        if (cut == std::string::npos) return "";
        tail.insert(0, localPath.substr(cut));
        localPath.resize(cut);
    }
    std::string resolved = buffer;
    if (resolved.back() == '/') resolved.pop_back();
    return resolved + tail;
}

std::string makeAbsolutePlainly(const std::string& path, const std::string& base)
{
    std::string whole = path.empty() ? "." : plain::simplifyPath(path);
    if (whole.size() > 2 && whole[1] == ':' && whole[2] == '/') return whole;
    if ((whole.empty() || whole.front() != '/') && !base.empty()) {
        const bool isParted = base.back() == '/' || base.back() == '\\';
        whole = whole.empty() ? base : base + (isParted ? "" : "/") + whole;
    }
    if (!whole.empty() && whole.front() == '/') return whole;
    whole = plain::replaceAll(whole, "\\", "/");
    if (whole.find('/') == std::string::npos) whole.insert(0, "./");
    return resolvePlainly(whole);
}

struct AbsoluteRow {
    const char* name;
    std::string path;
    std::string base;
    std::string result;
};

// Paths that never reach the disk.
const AbsoluteRow kTextRows[] = {
    {"AbsoluteSimplified", "/a/./b//c", "", "/a/b/c"},
    {"AbsoluteIgnoresBase", "/a", "/b", "/a"},
    {"AbsoluteByBackslash", "\\a\\b", "/b", "/a/b"},
    {"Root", "/", "", "/"},
    {"RootOfDoubled", "//a", "", "/a"},
    {"AboveRoot", "/../a", "", "/../a"},
    {"Drive", "C:\\x\\..\\y", "", "C:/y"},
    {"DriveIgnoresBase", "C:/x", "/b", "C:/x"},
    {"DriveAloneIsAName", "C:", "/b", "/b/C:"},
    {"DriveClosedIsAName", "C:/", "/b", "/b/C:"},
    {"DriveOfTwoLettersIsAName", "CD:/x", "/b", "/b/CD:/x"},
    {"Relative", "b/c", "/a", "/a/b/c"},
    {"RelativeSimplified", "b/../c/", "/a", "/a/c"},
    {"BaseClosed", "b", "/a/", "/a/b"},
    {"BaseClosedByBackslash", "b", "/a\\", "/a\\b"},
    {"BaseIsRoot", "b", "/", "/b"},
    {"NotSimplifiedAgain", "../c", "/a/b", "/a/b/../c"},
    {"BaseIsKeptAsItIs", "c", "/a//./b/..", "/a//./b/../c"},
    {"EmptyIsHere", "", "/a", "/a/."},
    {"NothingLeft", "b/..", "/a", "/a"},
    {"NothingLeftOfClosed", "b/..", "/a/", "/a/"},
    {"DoubledBase", "b", "//a", "//a/b"},
    {"EmbeddedZero", "b\0c"s, "/a\0"s, "/a\0/b\0c"s},
};

class qzDirUtilsAbsoluteTextRows : public ::testing::TestWithParam<AbsoluteRow> {};

TEST_P(qzDirUtilsAbsoluteTextRows, GiveTheResultOfTheRow)
{
    const AbsoluteRow& row = GetParam();
    std::string result = "before";
    EXPECT_TRUE(qzDirUtils::GetAbsolutePathUtf8(row.path, result, row.base));
    EXPECT_EQ(result, row.result);
    EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8(row.path, row.base), row.result);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzDirUtilsAbsoluteTextRows, ::testing::ValuesIn(kTextRows),
                         [](const auto& row) { return std::string(row.param.name); });

// A tree with links; the current folder is its "here".
//
//   here/          folder/inner/file   link -> folder   far -> ../there   dangling -> nowhere
//                  loop -> loop        file             chain -> link/inner
//   there/deep/
class qzDirUtilsAbsolute : public ::testing::Test {
protected:
    qzDirUtilsAbsolute()
    {
        fs::create_directories(mHere + "/folder/inner");
        fs::create_directories(mRoot + "/there/deep");
        mScratch.write("here/folder/inner/file", "");
        mScratch.write("here/file", "");
        fs::create_symlink("folder", mHere + "/link");
        fs::create_symlink("../there", mHere + "/far");
        fs::create_symlink("nowhere", mHere + "/dangling");
        fs::create_symlink("loop", mHere + "/loop");
        fs::create_symlink("link/inner", mHere + "/chain");
        mWorkingFolder.emplace(mHere);
    }

    static std::string make(const std::string& path, const std::string& base = {})
    {
        std::string result = "before";
        EXPECT_TRUE(qzDirUtils::GetAbsolutePathUtf8(path, result, base));
        EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8(path, base), result);
        EXPECT_EQ(makeAbsolutePlainly(path, base), result) << path << " from " << base;
        return result;
    }

    support::LibraryStart mLibrary;
    support::ScratchFolder mScratch;
    std::string mRoot = fs::canonical(mScratch.getPath());
    std::string mHere = mRoot + "/here";
    std::optional<WorkingFolder> mWorkingFolder;
};

TEST_F(qzDirUtilsAbsolute, GivesTheCurrentFolderForNothing)
{
    EXPECT_EQ(make(""), mHere);
    EXPECT_EQ(make("."), mHere);
    EXPECT_EQ(make("./"), mHere);
    EXPECT_EQ(make("folder/.."), mHere);
}

TEST_F(qzDirUtilsAbsolute, ResolvesWhatExists)
{
    EXPECT_EQ(make("file"), mHere + "/file");
    EXPECT_EQ(make("folder/inner/file"), mHere + "/folder/inner/file");
    EXPECT_EQ(make("folder\\inner\\file"), mHere + "/folder/inner/file");
    EXPECT_EQ(make("./folder"), mHere + "/folder");
    EXPECT_EQ(make(".."), mRoot);
    EXPECT_EQ(make("../there/deep"), mRoot + "/there/deep");
}

TEST_F(qzDirUtilsAbsolute, ResolvesLinks)
{
    EXPECT_EQ(make("link"), mHere + "/folder");
    EXPECT_EQ(make("link/inner/file"), mHere + "/folder/inner/file");
    EXPECT_EQ(make("far/deep"), mRoot + "/there/deep");
    EXPECT_EQ(make("chain/file"), mHere + "/folder/inner/file");
}

TEST_F(qzDirUtilsAbsolute, KeepsTheMissingTail)
{
    EXPECT_EQ(make("missing"), mHere + "/missing");
    EXPECT_EQ(make("./missing"), mHere + "/missing");
    EXPECT_EQ(make("./missing/file"), mHere + "/missing/file");
    EXPECT_EQ(make("folder/missing"), mHere + "/folder/missing");
    EXPECT_EQ(make("link/missing/file"), mHere + "/folder/missing/file");
    EXPECT_EQ(make("far/deep/a/b/c/d"), mRoot + "/there/deep/a/b/c/d");
    EXPECT_EQ(make("../missing/file"), mRoot + "/missing/file");
    EXPECT_EQ(make("file/below"), mHere + "/file/below");
    EXPECT_EQ(make("dangling"), mHere + "/dangling");
    EXPECT_EQ(make("folder/../dangling"), mHere + "/dangling");
    EXPECT_EQ(make("./loop/a"), mHere + "/loop/a");
}

TEST_F(qzDirUtilsAbsolute, GivesNothingWhenTheFirstOfSeveralComponentsIsMissing)
{
    EXPECT_EQ(make("missing/file"), "");
    EXPECT_EQ(make("missing/a/b/c/d/e/f/g"), "");
    EXPECT_EQ(make("dangling/file"), "");
    EXPECT_EQ(make("loop/file"), "");
}

TEST_F(qzDirUtilsAbsolute, TakesARelativeBaseFromTheCurrentFolder)
{
    EXPECT_EQ(make("inner", "folder"), mHere + "/folder/inner");
    EXPECT_EQ(make("inner/file", "link/"), mHere + "/folder/inner/file");
    EXPECT_EQ(make("inner", "folder\\"), mHere + "/folder/inner");
    EXPECT_EQ(make("../deep", "far/deep"), mRoot + "/there/deep");
    EXPECT_EQ(make("file", "missing"), "");
    EXPECT_EQ(make("a/..", "file/"), mHere + "/file/");
    EXPECT_EQ(make("a/..", "folder//"), mHere + "/folder");
    EXPECT_EQ(make("missing", "folder//"), mHere + "/folder/missing");
    EXPECT_EQ(make("missing", "folder///"), mHere + "/folder/missing");
}

// The base is no absolute path before its backslash is made a slash.
TEST_F(qzDirUtilsAbsolute, ResolvesFromTheRootAfterALoneBackslash)
{
    EXPECT_EQ(make("tmp", "\\"), fs::canonical("/tmp").string());
    EXPECT_EQ(make("missing-there", "\\"), "");
    EXPECT_EQ(make("a/..", "\\"), "");
}

TEST_F(qzDirUtilsAbsolute, WorksFromTheRoot)
{
    const WorkingFolder folder("/");
    EXPECT_EQ(make(""), "");
    EXPECT_EQ(make("tmp"), fs::canonical("/tmp").string());
    EXPECT_EQ(make("missing-there"), "/missing-there");
    EXPECT_EQ(make("./missing-there/a"), "/missing-there/a");
    EXPECT_EQ(make("missing-there/a"), "");
    EXPECT_EQ(make(".."), "");
}

TEST_F(qzDirUtilsAbsolute, IsThePlainFormForPathsOfChance)
{
    const std::string components[] = {"folder", "inner", "file",     "link", "far",
                                      "deep",   "loop",  "dangling", "..",   "missing"};
    for (const unsigned seed : {1U, 2U}) {
        std::mt19937 random(seed);
        for (int i = 0; i < 500; ++i) {
            std::string path;
            for (std::size_t count = random() % 6; count != 0; --count)
                path += components[random() % std::size(components)] + (random() % 8 ? "/" : "//");
            make(path);
            make("file", path);
        }
    }
}

TEST_F(qzDirUtilsAbsolute, TakesTheTextUpToAZeroByteForTheName)
{
    EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8("folder/inner\0rest"s, ""), mHere + "/folder/inner");
    EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8("folder/missing\0/rest"s, ""),
              mHere + "/folder/missing");
}

TEST_F(qzDirUtilsAbsolute, TakesPathsBeyondTheSystemsLength)
{
    std::string path = "folder/";
    while (path.size() < 2 * PATH_MAX)
        path += "missing/";
    EXPECT_EQ(make(path), mHere + "/" + path.substr(0, path.size() - 1));
    std::string wayAround = "far/deep";
    while (wayAround.size() < 2 * PATH_MAX)
        wayAround += "/../deep";
    EXPECT_EQ(make("a/..", wayAround), mRoot + "/there/deep");
    EXPECT_EQ(make(std::string(300, 'x')), mHere + "/" + std::string(300, 'x'));
}

// The system resolves no component that ends beyond its longest path, and takes it for missing.
TEST_F(qzDirUtilsAbsolute, LosesAPathWhoseFirstComponentIsTooFarDown)
{
    const WorkingFolder before(mHere);
    std::string folder = mHere;
    while (folder.size() < PATH_MAX - 400) {
        const std::string name(200, 'x');
        fs::create_directory(name);
        fs::current_path(name);
        folder += '/' + name;
    }
    for (std::size_t size = PATH_MAX - 2; size <= PATH_MAX + 1; ++size) {
        std::string first = std::string(200, 'y') + '/';
        first += std::string(size - folder.size() - 1 - first.size(), 'z');
        fs::create_directories(first);
        EXPECT_EQ(make(first + "/missing"), folder + '/' + first + "/missing") << size;
    }
    fs::current_path(std::string(200, 'y'));
    folder += '/' + std::string(200, 'y');
    for (std::size_t size = PATH_MAX - 2; size <= PATH_MAX + 1; ++size) {
        const std::string first(size - folder.size() - 1, 'z');
        const std::string whole = folder + '/' + first;
        EXPECT_EQ(make(first), whole) << size;
        EXPECT_EQ(make(first + "/missing"), size < PATH_MAX ? whole + "/missing" : "") << size;
    }
}

TEST_F(qzDirUtilsAbsolute, MayReceiveTheResultInItsOwnArguments)
{
    std::string path = "folder/inner";
    EXPECT_TRUE(qzDirUtils::GetAbsolutePathUtf8(path, path, ""));
    EXPECT_EQ(path, mHere + "/folder/inner");
    std::string base = "/a";
    EXPECT_TRUE(qzDirUtils::GetAbsolutePathUtf8("b", base, base));
    EXPECT_EQ(base, "/a/b");
}

TEST_F(qzDirUtilsAbsolute, KeepsWhatIsBelowAnUnreadableFolder)
{
    // Without the permission to search it what is below can't be distinguished from what is
    // missing; the permission to read it isn't needed.
    fs::permissions(mRoot, fs::perms::all);
    fs::permissions(mHere, fs::perms::all);
    fs::permissions(mHere + "/folder", fs::perms::owner_read | fs::perms::others_read);
    fs::permissions(mRoot + "/there", fs::perms::owner_exec | fs::perms::others_exec);
    expectAsNobody([this] {
        EXPECT_EQ(make("link/inner/file"), mHere + "/folder/inner/file");
        EXPECT_EQ(make("link/inner/../file"), mHere + "/folder/file");
        EXPECT_EQ(make("far/deep"), mRoot + "/there/deep");
    });
    fs::permissions(mHere + "/folder", fs::perms::all);
    fs::permissions(mRoot + "/there", fs::perms::all);
}

TEST_F(qzDirUtilsAbsolute, GivesNothingInARemovedFolder)
{
    fs::create_directory(mRoot + "/gone");
    const WorkingFolder folder(mRoot + "/gone");
    fs::remove(mRoot + "/gone");
    EXPECT_EQ(make("missing"), "");
    EXPECT_EQ(make(""), "");
}

// --- Character sets. The local one is read at the start, so each has a process of its own.

TEST(qzDirUtilsAbsoluteNames, AreLookedUpInTheLocalCharacterSet)
{
    const support::ScratchFolder scratch;
    const std::string root = fs::canonical(scratch.getPath());
    fs::create_directory(root + "/\xE9t\xE9");
    fs::create_symlink("\xE9t\xE9", root + "/link");
    const WorkingFolder folder(root);
    expectInLocale("en_US.ISO-8859-1", [&root] {
        EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8("\u00e9t\u00e9/missing", ""),
                  root + "/\u00e9t\u00e9/missing");
        EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8("link/\u00e8", ""),
                  root + "/\u00e9t\u00e9/\u00e8");
    });
}

// What is no text in UTF-8 is the empty path for the system, which is the current folder.
TEST(qzDirUtilsAbsoluteNames, LeadToTheCurrentFolderWhenTheyCannotBeConverted)
{
    const support::ScratchFolder scratch;
    const std::string root = fs::canonical(scratch.getPath());
    const WorkingFolder folder(root);
    expectInLocale("C.UTF-8", [&root] {
        EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8("a/\xff", ""), root);
        EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8("\xff", "/a"), "/a/\xff");
    });
}

TEST(qzDirUtilsAbsoluteNames, AreLostWhenTheyCannotBeConvertedBack)
{
    const support::ScratchFolder scratch;
    const std::string root = fs::canonical(scratch.getPath());
    fs::create_directory(root + "/\xff");
    fs::create_symlink("\xff", root + "/link");
    const WorkingFolder folder(root);
    expectInLocale("C.UTF-8", [&root] {
        std::string result = "before";
        EXPECT_TRUE(qzDirUtils::GetAbsolutePathUtf8("link", result, ""));
        EXPECT_EQ(result, "");
        EXPECT_EQ(qzDirUtils::GetAbsolutePathUtf8("./missing", ""), root + "/missing");
    });
}

// --- GetRelativePathUtf8

struct RelativeRow {
    const char* name;
    std::string path;
    std::string base;
    bool isBelow;
    std::string result;
};

const RelativeRow kRelativeRows[] = {
    {"Below", "/a/b/c", "/a", true, "b/c"},
    {"BelowClosedBase", "/a/b/c", "/a/", true, "b/c"},
    {"Simplified", "/a/x/../b", "/a/.", true, "b"},
    {"Same", "/a", "/a", false, ""},
    {"SameClosed", "/a/", "/a", false, ""},
    {"Above", "/", "/a", false, ""},
    {"Beside", "/b", "/a", false, ""},
    {"PrefixOfName", "/ab/c", "/a", false, ""},
    {"RelativeCountsFromBase", "b", "/a", true, "b"},
    {"RelativeIsNotSimplified", "../x", "/a", true, "../x"},
    {"RelativeItselfIsSimplified", "b/./c/", "/a", true, "b/c"},
    {"EmptyIsHere", "", "/a", true, "."},
    {"NothingLeft", "b/..", "/a", false, ""},
    {"RelativeFromRoot", "x", "/", true, "x"},
    {"AbsoluteFromRoot", "/x", "/", false, ""},
    {"Drive", "C:/a/b", "C:/a", true, "b"},
    {"DriveBesides", "C:/a/b", "/a", false, ""},
};

class qzDirUtilsRelativeRows : public ::testing::TestWithParam<RelativeRow> {
protected:
    support::LibraryStart mLibrary;
};

TEST_P(qzDirUtilsRelativeRows, GiveTheResultOfTheRow)
{
    const RelativeRow& row = GetParam();
    std::string result = "before";
    EXPECT_EQ(qzDirUtils::GetRelativePathUtf8(row.path, result, row.base), row.isBelow);
    EXPECT_EQ(result, row.result);
    EXPECT_EQ(qzDirUtils::GetRelativePathUtf8(row.path, row.base), row.result);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzDirUtilsRelativeRows, ::testing::ValuesIn(kRelativeRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzDirUtilsAbsolute, ServesForRelativePathsFromTheCurrentFolder)
{
    EXPECT_EQ(qzDirUtils::GetRelativePathUtf8(mHere + "/folder/inner", ""), "folder/inner");
    EXPECT_EQ(qzDirUtils::GetRelativePathUtf8(mHere + "/folder/inner", "link"), "inner");
    // An absolute path is compared as it is, with its links.
    EXPECT_EQ(qzDirUtils::GetRelativePathUtf8(mHere + "/link/inner", "link"), "");
    // A base of which nothing exists is the root.
    EXPECT_EQ(qzDirUtils::GetRelativePathUtf8("/x", "missing/folder"), "x");
}

// --- IsNetworkPath

struct FileSystemRow {
    const char* name;
    const char* type;
    const char* answer;
};

const FileSystemRow kFileSystemRows[] = {
    {"Nfs", "0x6969", "1 0\n"},   {"Fuse", "0x65735546", "1 0\n"}, {"Tmpfs", "0x01021994", "0 0\n"},
    {"Ext4", "0xEF53", "0 0\n"},  {"Cifs", "0xFF534D42", "0 0\n"}, {"None", "0", "0 0\n"},
    {"Above", "0x6970", "0 0\n"},
};

class qzDirUtilsIsNetworkPathRows : public ::testing::TestWithParam<FileSystemRow> {};

// The second answer is that for a path that the system doesn't know.
TEST_P(qzDirUtilsIsNetworkPathRows, GoByTheTypeOfTheFileSystem)
{
    const support::ChildResult result =
        support::runProgram({.program = "network_path", .arguments = {GetParam().type}});
    EXPECT_EQ(result.out, GetParam().answer);
    EXPECT_EQ(result.getEnd(), "exit 0");
}

INSTANTIATE_TEST_SUITE_P(Rows, qzDirUtilsIsNetworkPathRows, ::testing::ValuesIn(kFileSystemRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzDirUtilsIsNetworkPath, IsFalseForAPseudoFileSystemAndMissingPaths)
{
    EXPECT_FALSE(qzDirUtils::IsNetworkPath("/proc"));
    EXPECT_FALSE(qzDirUtils::IsNetworkPath("/missing-there"));
    EXPECT_FALSE(qzDirUtils::IsNetworkPath(""));
}

}  // namespace

}  // namespace qz
