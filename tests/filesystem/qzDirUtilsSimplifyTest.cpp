// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <random>
#include <string>

#include <gtest/gtest.h>

#include "PathTexts.h"
#include "PlainPath.h"
#include "support/Allocations.h"

namespace qz {

namespace {

using namespace std::string_literals;

struct SimplifyRow {
    const char* name;
    std::string path;
    std::string result;
};

void PrintTo(const SimplifyRow& row, std::ostream* out)
{
    *out << '"' << row.path << '"';
}

const SimplifyRow kRows[] = {
    {"Empty", "", ""},
    {"Root", "/", "/"},
    {"DoubledRoot", "//", "/"},
    {"Here", ".", "."},
    {"HereClosed", "./", "."},
    {"BelowHere", "./a", "./a"},
    {"DotInside", "a/./b", "a/b"},
    {"DotAtEnd", "a/.", "a"},
    {"DotAtEndClosed", "a/./", "a"},
    {"DotBehindRoot", "/.", "/."},
    {"DotBehindRootAndMore", "/./a", "/./a"},
    {"BackslashAndDoubled", "a\\b//c/", "a/b/c"},
    {"ParentInside", "a/b/../c", "a/c"},
    {"ParentAtEnd", "a/b/..", "a"},
    {"ParentOfAll", "a/..", ""},
    {"ParentOfFirst", "b/../c", "c"},
    {"ParentBelowRoot", "/a/..", "/"},
    {"ParentOfRoot", "/..", "/.."},
    {"ParentOfRootAndMore", "/../a", "/../a"},
    {"ClimbsAboveRoot", "/a/../..", "/.."},
    {"ParentFirst", "../a", "../a"},
    {"ParentsFirst", "../../a/../b", "../../b"},
    {"ParentsOnly", "../..", "../.."},
    {"TwoParents", "x/y/../../z", "z"},
    // Beyond the table that callers know
    {"Drive", "C:\\x\\..\\y", "C:/y"},
    {"ParentBehindHere", "./../a", "./../a"},
    {"ParentBackToHere", "./a/..", "."},
    {"DotsBehindHere", "././././", "."},
    {"DotsInside", "a/./././b", "a/b"},
    {"ParentBehindDot", "a/./../b", "b"},
    {"DotBehindParent", "../.", ".."},
    {"ManySlashes", "////a////b////", "/a/b"},
    {"MixedSlashes", "\\/\\a/\\b\\/", "/a/b"},
    {"HiddenFile", "a/.b", "a/.b"},
    {"ThreeDots", "a/.../b", "a/.../b"},
    {"DotsInNames", "a../b./..c", "a../b./..c"},
    {"ParentOfThreeDots", ".../../a", "a"},
    {"ClimbsOut", "a/../../../b", "../../b"},
    {"LongWithoutChange", "/usr/include/x86_64-linux-gnu/bits/types.h",
     "/usr/include/x86_64-linux-gnu/bits/types.h"},
    {"LongWithChangeAtEnd", "/usr/include/x86_64-linux-gnu/bits/../a.h",
     "/usr/include/x86_64-linux-gnu/a.h"},
    {"EmbeddedZero", "a\0/./b\0\\"s, "a\0/b\0"s},
    {"Letters", "\xc3\xa4/\xe6\x97\xa5/../\xff", "\xc3\xa4/\xff"},
};

class qzDirUtilsSimplifyRows : public ::testing::TestWithParam<SimplifyRow> {};

TEST_P(qzDirUtilsSimplifyRows, GivesTheResultOfTheRow)
{
    EXPECT_EQ(qzDirUtils::SimplifyPath(GetParam().path), GetParam().result);
}

TEST_P(qzDirUtilsSimplifyRows, AgreesWithThePlainForm)
{
    EXPECT_EQ(plain::simplifyPath(GetParam().path), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzDirUtilsSimplifyRows, ::testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzDirUtilsSimplify, IsThePlainFormForAllShortPaths)
{
    visitTexts("/\\.a", 8, [](const std::string& path) {
        ASSERT_EQ(qzDirUtils::SimplifyPath(path), plain::simplifyPath(path)) << path;
    });
}

TEST(qzDirUtilsSimplify, IsThePlainFormForPathsOfChance)
{
    for (const unsigned seed : {1U, 2U, 3U}) {
        std::mt19937 random(seed);
        for (int i = 0; i < 2000; ++i) {
            const std::string path = makeText(random, "/\\..ab", random() % 80);
            ASSERT_EQ(qzDirUtils::SimplifyPath(path), plain::simplifyPath(path))
                << "seed " << seed << ", " << path;
        }
    }
}

// The look for what has to be changed goes over several bytes at a step.
TEST(qzDirUtilsSimplify, FindsAChangeAtEachPlaceOfALongPath)
{
    for (std::size_t size = 1; size < 70; ++size) {
        for (const char* odd : {"\\", "//", "/.", "/./", "/..", "/../", "/"}) {
            for (std::size_t place = 0; place <= size; ++place) {
                std::string path(size, 'a');
                path.insert(place, odd);
                ASSERT_EQ(qzDirUtils::SimplifyPath(path), plain::simplifyPath(path)) << path;
            }
        }
    }
}

TEST(qzDirUtilsSimplify, LeavesASimplePathAsItIs)
{
    visitTexts("/.a", 8, [](const std::string& path) {
        const std::string simple = qzDirUtils::SimplifyPath(path);
        ASSERT_EQ(qzDirUtils::SimplifyPath(simple), simple) << path;
    });
}

// A megabyte of each takes hours where the text is built anew for each ".." or halved runs of
// slashes are walked again.
TEST(qzDirUtilsSimplify, TakesLinearTimeInWhatItRemoves)
{
    constexpr std::size_t kCount = 200'000;
    std::string folders;
    std::string parents;
    for (std::size_t i = 0; i < kCount; ++i) {
        folders += "a/";
        parents += "../";
    }
    EXPECT_EQ(qzDirUtils::SimplifyPath(folders + parents), "");
    EXPECT_EQ(qzDirUtils::SimplifyPath(parents), parents.substr(0, parents.size() - 1));
    EXPECT_EQ(qzDirUtils::SimplifyPath(std::string(kCount, '/') + "a"), "/a");
}

TEST(qzDirUtilsSimplify, AllocatesTheResultAlone)
{
    const std::string path = "/usr/include/./x86_64-linux-gnu/../bits//types.h";
    const support::AllocationCounter counter;
    const std::string simple = qzDirUtils::SimplifyPath(path);
    EXPECT_EQ(counter.getCount(), 1U);
    EXPECT_EQ(simple, "/usr/include/bits/types.h");
}

}  // namespace

}  // namespace qz
