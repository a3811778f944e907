// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "VisitorFixture.h"

namespace qz {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Lines = std::vector<std::string>;

constexpr std::size_t kNever = ~std::size_t(0);

struct FilterRow {
    const char* name;
    Lines extensions;
    bool ignoreCase;
    Lines passing;
};

void PrintTo(const FilterRow& row, std::ostream* out)
{
    *out << row.name;
}

const Lines kFilteredNames = {"a.txt", "A.TxT",    "b.TXT", ".txt", "txt",
                              "atxt",  "a.tar.gz", "a.gz",  "x.t"};

const FilterRow kFilterRows[] = {
    {"None", {}, false, kFilteredNames},
    {"EmptyOnesAlone", {"", ""}, false, kFilteredNames},
    {"EmptyOnesAmongOthers", {"", "gz", ""}, false, {"a.tar.gz", "a.gz"}},
    {"WithoutDot", {"txt"}, false, {"a.txt", ".txt"}},
    {"WithDot", {".txt"}, false, {"a.txt", ".txt"}},
    {"BothWays", {".txt", "txt"}, false, {"a.txt", ".txt"}},
    {"UpperCase", {"TXT"}, false, {"b.TXT"}},
    {"UpperCaseIgnored", {"TXT"}, true, {"a.txt", "A.TxT", "b.TXT", ".txt"}},
    {"LowerCaseIgnored", {".txt"}, true, {"a.txt", "A.TxT", "b.TXT", ".txt"}},
    {"TwoParts", {"tar.gz"}, false, {"a.tar.gz"}},
    {"LastPart", {"gz"}, false, {"a.tar.gz", "a.gz"}},
    {"Several", {"t", "gz"}, false, {"a.tar.gz", "a.gz", "x.t"}},
    {"DotAlone", {"."}, false, {}},
    {"TwoDots", {"..txt"}, false, {}},
    {"LongerThanAllNames", {"a.very.long.extension"}, false, {}},
};

class FileSystemVisitorFilter : public FileSystemVisitorTest,
                                public ::testing::WithParamInterface<FilterRow> {};

TEST_P(FileSystemVisitorFilter, LetsTheNamesOfItsRowPass)
{
    for (const std::string& name : kFilteredNames)
        write(name);
    EXPECT_THAT(walkFiles(GetParam().extensions, GetParam().ignoreCase),
                ::testing::UnorderedElementsAreArray(GetParam().passing));
}

INSTANTIATE_TEST_SUITE_P(Rows, FileSystemVisitorFilter, ::testing::ValuesIn(kFilterRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(FileSystemVisitorTest, FiltersNoFolders)
{
    makeTree();
    makeFolder("d.txt");
    write("d.txt/z.txt");
    const Lines extensions = {"txt"};
    WalkRecorder recorder;
    EXPECT_TRUE(recorder.visit(mRoot, true, &extensions, false, nullptr));
    EXPECT_EQ(recorder.getLines("enter ").size(), 5U);
    EXPECT_THAT(recorder.getLines("file "), ElementsAre(mRoot + "/d.txt | z.txt"));
}

TEST_F(FileSystemVisitorTest, ForgetsTheFilterAfterTheWalk)
{
    makeTree();
    const Lines extensions = {"txt"};
    WalkRecorder recorder;
    EXPECT_TRUE(recorder.visit(mRoot, true, &extensions, true, nullptr));
    EXPECT_THAT(recorder.getLines("file "), IsEmpty());
    recorder.clear();
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_EQ(recorder.getLines("file ").size(), 6U);
}

TEST_F(FileSystemVisitorTest, ChecksTheCancellationBeforeEachExtension)
{
    const Lines extensions = {"a", "", "b"};
    for (std::size_t question = 1; question <= 3; ++question) {
        const CancelFrom cancel(question);
        WalkRecorder recorder;
        EXPECT_FALSE(recorder.visit(mRoot, true, &extensions, false, &cancel));
        EXPECT_EQ(cancel.getAsked(), question);
        EXPECT_THAT(recorder.getLines(), IsEmpty());
    }
    const CancelFrom never(kNever);
    WalkRecorder recorder;
    EXPECT_TRUE(recorder.visit(mRoot, true, &extensions, false, &never));
    EXPECT_EQ(never.getAsked(), 3U + 2U);
}

// Callers know that a cancelled list is the beginning of the next one.
TEST_F(FileSystemVisitorTest, KeepsTheExtensionsBeforeACancellationForTheNextWalk)
{
    for (const char* name : {"x.a", "x.b", "x.c", "x.d"})
        write(name);
    const Lines extensions = {"a", "b", "c"};
    const Lines more = {"d"};
    for (const Lines* next : {&more, static_cast<const Lines*>(nullptr)}) {
        const CancelFrom third(3);
        WalkRecorder recorder;
        EXPECT_FALSE(recorder.visit(mRoot, true, &extensions, false, &third));
        EXPECT_TRUE(recorder.visit(mRoot, true, next, false, nullptr));
        EXPECT_EQ(recorder.getLines("file ").size(), next != nullptr ? 3U : 2U);
        recorder.clear();
        EXPECT_TRUE(recorder.walk(mRoot));
        EXPECT_EQ(recorder.getLines("file ").size(), 4U);
    }
}

}  // namespace

}  // namespace qz
