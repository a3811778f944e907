#include <qz/qzDirUtils.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FolderFixture.h"
#include "PlainWalk.h"
#include "WalkRecorder.h"
#include "support/Files.h"

namespace qz {

namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Visitor = qzDirUtils::FileSystemVisitor;
using Lines = std::vector<std::string>;

constexpr std::size_t kNever = ~std::size_t(0);

Lines walk(const std::string& root)
{
    WalkRecorder recorder;
    EXPECT_TRUE(recorder.walk(root));
    return recorder.getLines();
}

Lines walkPlainly(const std::string& root)
{
    WalkRecorder recorder;
    EXPECT_TRUE(plain::Walk(recorder, /*recursive=*/true).run(root));
    return recorder.getLines();
}

class FileSystemVisitorTest : public FolderFixture {
protected:
    FileSystemVisitorTest()
    {
        fs::create_directory(mRoot);
        fs::permissions(mRoot, fs::perms::all);
    }

    void write(const std::string& name) const { mFolder.write("root/" + name, ""); }
    void makeFolder(const std::string& name) const { fs::create_directories(mRoot + '/' + name); }
    void link(const std::string& target, const std::string& name) const
    {
        fs::create_symlink(target, mRoot + '/' + name);
    }
    // Three levels, with files on each of them.
    void makeTree() const
    {
        makeFolder("a/b");
        makeFolder("c");
        for (const char* name : {"x", "y", "a/x", "a/y", "a/b/x", "c/x"})
            write(name);
    }
    static constexpr std::size_t kEntriesOfTree = 6 + 5 + 3 + 3;  // with "." and ".."

    Lines walkFiles(const Lines& extensions, bool ignoreCase) const
    {
        WalkRecorder recorder;
        EXPECT_TRUE(recorder.visit(mRoot, false, &extensions, ignoreCase, nullptr));
        return recorder.getLines("file " + mRoot + " | ");
    }

    std::string mRoot = getPath("root");
};

// --- The calls and their order

TEST_F(FileSystemVisitorTest, CallsAheadOfAFolderWithinItAndBehindIt)
{
    makeFolder("a/b");
    write("a/b/file");
    const std::string a = mRoot + "/a";
    const std::string b = a + "/b";
    EXPECT_THAT(walk(mRoot),
                ElementsAre("enter " + mRoot, "folder " + mRoot + " | a", "enter " + a,
                            "folder " + a + " | b", "enter " + b, "file " + b + " | file",
                            "leave " + b, "leave " + a, "leave " + mRoot));
}

TEST_F(FileSystemVisitorTest, MeetsEntriesInTheOrderOfTheFolder)
{
    makeTree();
    EXPECT_EQ(walk(mRoot), walkPlainly(mRoot));
    EXPECT_EQ(walk(mRoot).size(), 4U + 3U + 6U + 4U);
}

TEST_F(FileSystemVisitorTest, StaysInTheFolderUnlessRecursive)
{
    makeTree();
    WalkRecorder recorder;
    EXPECT_TRUE(recorder.walk(mRoot, /*recursive=*/false));
    EXPECT_THAT(recorder.getLines(),
                UnorderedElementsAre("enter " + mRoot, "folder " + mRoot + " | a",
                                     "folder " + mRoot + " | c", "file " + mRoot + " | x",
                                     "file " + mRoot + " | y", "leave " + mRoot));
    EXPECT_EQ(recorder.getLines().back(), "leave " + mRoot);
}

TEST_F(FileSystemVisitorTest, MeetsNothingWhereNoFolderIs)
{
    write("file");
    for (const std::string& root : {getPath("missing"), mRoot + "/file", std::string(),
                                    mRoot + "/\xff", std::string(5000, 'x')})
        EXPECT_THAT(walk(root), IsEmpty()) << root;
}

TEST_F(FileSystemVisitorTest, HoldsItsOperationsInTheirSlots)
{
    WalkRecorder recorder;
    Visitor* const visitor = &recorder;
    using OneText = bool (*)(Visitor*, const std::string&);
    using TwoTexts = bool (*)(Visitor*, const std::string&, const std::string&);
    void** const slots = *reinterpret_cast<void***>(visitor);
    reinterpret_cast<OneText>(slots[2])(visitor, "f");  // after the two of the destructor
    reinterpret_cast<TwoTexts>(slots[3])(visitor, "f", "n");
    reinterpret_cast<TwoTexts>(slots[4])(visitor, "f", "n");
    reinterpret_cast<OneText>(slots[5])(visitor, "f");
    EXPECT_THAT(recorder.getLines(),
                ElementsAre("enter f", "file f | n", "folder f | n", "leave f"));
    EXPECT_TRUE(std::is_abstract_v<Visitor>);
    EXPECT_EQ(sizeof(Visitor),
              sizeof(void*) + 8 + sizeof(void*) + sizeof(Lines) + sizeof(std::string));
}

// Looks at the visitor's own fields, where nobody but their order leads to them.
class FieldReader : public WalkRecorder {
public:
    bool visitFile(const std::string& /*folder*/, const std::string& /*name*/) override
    {
        isRecursive = at<bool>(8);
        isCaseIgnored = at<bool>(9);
        filter = at<const Lines*>(16);
        if (filter != nullptr) extensions = *filter;
        isFilterOwn = filter == &at<Lines>(24);
        workName = at<std::string>(24 + sizeof(Lines));
        return true;
    }

    bool isRecursive = false;
    bool isCaseIgnored = false;
    const Lines* filter = nullptr;
    bool isFilterOwn = false;
    Lines extensions;
    std::string workName;

private:
    template <typename Field>
    const Field& at(std::size_t place) const
    {
        const Visitor* const visitor = this;
        return *reinterpret_cast<const Field*>(reinterpret_cast<const char*>(visitor) + place);
    }
};

TEST_F(FileSystemVisitorTest, KeepsItsFieldsInOrder)
{
    write("A.Txt");
    const Lines extensions = {"", "TXT", ".b"};
    FieldReader reader;
    EXPECT_TRUE(reader.visit(mRoot, false, &extensions, true, nullptr));
    EXPECT_FALSE(reader.isRecursive);
    EXPECT_TRUE(reader.isCaseIgnored);
    EXPECT_TRUE(reader.isFilterOwn);
    EXPECT_THAT(reader.extensions, ElementsAre(".txt", ".b"));
    EXPECT_EQ(reader.workName, "a.txt");
    EXPECT_TRUE(reader.visit(mRoot, true, nullptr, false, nullptr));
    EXPECT_TRUE(reader.isRecursive);
    EXPECT_FALSE(reader.isCaseIgnored);
    EXPECT_EQ(reader.filter, nullptr);
}

// --- Early ends

TEST_F(FileSystemVisitorTest, EndsAtEachCallThatSaysSo)
{
    makeTree();
    const Lines all = walk(mRoot);
    for (std::size_t stop = 1; stop <= all.size(); ++stop) {
        WalkRecorder recorder(stop);
        EXPECT_FALSE(recorder.walk(mRoot)) << stop;
        EXPECT_EQ(recorder.getLines(), Lines(all.begin(), all.begin() + static_cast<long>(stop)));
    }
}

TEST_F(FileSystemVisitorTest, AsksForAnEndAheadOfEachEntry)
{
    makeTree();
    const CancelFrom never(kNever);
    WalkRecorder recorder;
    EXPECT_TRUE(recorder.visit(mRoot, true, nullptr, false, &never));
    EXPECT_EQ(never.getAsked(), kEntriesOfTree);
}

TEST_F(FileSystemVisitorTest, EndsAtEachQuestionThatSaysSo)
{
    makeTree();
    for (std::size_t question = 1; question <= kEntriesOfTree; ++question) {
        const CancelFrom cancel(question);
        const CancelFrom plainCancel(question);
        WalkRecorder recorder;
        WalkRecorder plainRecorder;
        EXPECT_FALSE(recorder.visit(mRoot, true, nullptr, false, &cancel)) << question;
        EXPECT_FALSE(plain::Walk(plainRecorder, true, {}, false, &plainCancel).run(mRoot));
        EXPECT_EQ(recorder.getLines(), plainRecorder.getLines()) << question;
        EXPECT_EQ(cancel.getAsked(), question);
        EXPECT_THAT(recorder.getLines("leave " + mRoot + '\n'), IsEmpty());
    }
}

TEST_F(FileSystemVisitorTest, KeepsNoDescriptorAtAnyEnd)
{
    makeTree();
    const std::size_t openBefore = support::countOpenDescriptors();
    for (std::size_t stop = 0; stop <= 17; ++stop) {
        WalkRecorder recorder(stop);
        recorder.walk(mRoot);
        EXPECT_EQ(support::countOpenDescriptors(), openBefore) << stop;
    }
}

TEST_F(FileSystemVisitorTest, LetsAnExceptionOutAndIsReadyForTheNextWalk)
{
    makeTree();
    const std::size_t openBefore = support::countOpenDescriptors();
    WalkRecorder recorder;
    recorder.setReaction([this](const std::string& line) {
        if (line == "enter " + mRoot + "/a/b") throw std::runtime_error("enough");
    });
    const Lines extensions = {"none"};
    EXPECT_THROW(recorder.visit(mRoot, true, &extensions, false, nullptr), std::runtime_error);
    EXPECT_EQ(support::countOpenDescriptors(), openBefore);
    recorder.setReaction({});
    recorder.clear();
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_EQ(recorder.getLines(), walkPlainly(mRoot)) << "the filter is still there";
}

// --- The filter

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

TEST_F(FileSystemVisitorTest, AsksForAnEndAheadOfEachExtension)
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
TEST_F(FileSystemVisitorTest, KeepsTheExtensionsAheadOfACancellationForTheNextWalk)
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

// --- Links

TEST_F(FileSystemVisitorTest, EntersLinksToFoldersAndTakesOtherLinksForFiles)
{
    fs::create_directory(getPath("outside"));
    mFolder.write("outside/file", "");
    link("../outside", "link");
    link("missing", "dangling");
    link("loop", "loop");
    link("../outside/file", "fileLink");
    const Lines lines = walk(mRoot);
    EXPECT_EQ(lines, walkPlainly(mRoot));
    EXPECT_THAT(lines,
                UnorderedElementsAre("enter " + mRoot, "folder " + mRoot + " | link",
                                     "enter " + mRoot + "/link", "file " + mRoot + "/link | file",
                                     "leave " + mRoot + "/link", "file " + mRoot + " | dangling",
                                     "file " + mRoot + " | loop", "file " + mRoot + " | fileLink",
                                     "leave " + mRoot));
}

// The system follows 40 links in a path and no more.
TEST_F(FileSystemVisitorTest, WalksACycleOfLinksUntilTheSystemFollowsNoMore)
{
    makeFolder("a");
    link("..", "a/up");
    write("a/file");
    const Lines lines = walk(mRoot);
    EXPECT_EQ(lines, walkPlainly(mRoot));
    std::string deepest = mRoot;
    for (int i = 0; i < 40; ++i)
        deepest += "/a/up";
    EXPECT_THAT(lines, ::testing::Contains("enter " + deepest));
    EXPECT_THAT(lines, ::testing::Contains("file " + deepest + "/a | up"));
}

// --- Depth and length

TEST_F(FileSystemVisitorTest, WalksManyLevels)
{
    std::string name = "a";
    for (int i = 1; i < 200; ++i)
        name += "/a";
    makeFolder(name);
    write(name + "/file");
    WalkRecorder recorder;
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_EQ(recorder.getLines("enter ").size(), 201U);
    EXPECT_EQ(recorder.getLines("leave ").size(), 201U);
    EXPECT_THAT(recorder.getLines("file "), ElementsAre(mRoot + '/' + name + " | file"));
}

TEST_F(FileSystemVisitorTest, IsWholeInATreeDeeperThanTheFreeDescriptors)
{
    std::string folder = "a";
    for (int i = 0; i != 20; ++i, folder += "/a") {
        makeFolder(folder);
        for (const char* name : {"/x", "/y", "/z"})
            write(folder + name);
    }
    const Lines lines = walk(mRoot);
    ASSERT_EQ(lines.size(), 2U + 20 * 6);
    for (const int free : {1, 2, 3, 10}) {
        const support::DescriptorLimit limit(free);
        EXPECT_EQ(walk(mRoot), lines) << free << " free descriptors";
    }
}

// Each entry is in memory once its folder was closed; what happens to it meanwhile isn't noticed.
TEST_F(FileSystemVisitorTest, VisitsAllThatItReadBeforeItClosedAFolder)
{
    makeFolder("a/b/c");
    for (int i = 0; i != 2000; ++i)
        write("file" + std::to_string(i));
    const std::size_t lineCount = walk(mRoot).size();
    const std::size_t openBefore = support::countOpenDescriptors();
    WalkRecorder recorder;
    recorder.setReaction([&](const std::string& line) {
        if (line != "enter " + mRoot + "/a") return;
        for (int i = 0; i != 2000; ++i)
            fs::remove(mRoot + "/file" + std::to_string(i));
    });
    {
        const support::DescriptorLimit one(1);
        EXPECT_TRUE(recorder.walk(mRoot));
    }
    EXPECT_EQ(recorder.getLines().size(), lineCount);
    EXPECT_EQ(support::countOpenDescriptors(), openBefore);
}

TEST_F(FileSystemVisitorTest, SkipsARootThatItHasNoDescriptorFor)
{
    makeFolder("a");
    const support::DescriptorLimit none(0);
    WalkRecorder recorder;
    errno = 0;
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_THAT(recorder.getLines(), IsEmpty());
    EXPECT_EQ(errno, EMFILE);
}

TEST_F(FileSystemVisitorTest, LeavesErrnoAloneForTheEmptyRoot)
{
    errno = 0;
    EXPECT_TRUE(walk("").empty());
    EXPECT_EQ(errno, 0);
}

TEST_F(FileSystemVisitorTest, EndsItsRootAtAZeroByte)
{
    makeFolder("a");
    write("a/file");
    EXPECT_EQ(walk(mRoot + std::string("\0/b", 3)), walk(mRoot));
}

// Each length of the last folder within the system's limit, with entries up to it and beyond.
TEST_F(FileSystemVisitorTest, TakesAllForFilesWhosePathsAreTooLong)
{
    constexpr std::size_t kStep = 240;
    for (std::size_t size = PATH_MAX - 6; size != PATH_MAX + 2; ++size) {
        const support::ScratchFolder folder;
        std::string path = folder.getPath();
        {
            const WorkingFolder here(path);
            while (path.size() < size) {
                std::size_t next = std::min(kStep, size - path.size() - 1);
                if (size - path.size() - 1 - next == 1) --next;  // no name would be left
                const std::string name(next, 'x');
                fs::create_directory(name);
                fs::current_path(name);
                path += '/' + name;
                if (path.size() + 2 == size) break;
            }
            fs::create_directory("f");
            fs::create_directory("folder");
            support::writeFile("x", "");
        }
        EXPECT_EQ(walk(folder.getPath()), walkPlainly(folder.getPath())) << path.size();
        fs::remove_all(folder.getPath());
    }
}

// --- Roots and names

TEST_F(FileSystemVisitorTest, ReachesAllFromTheRootAsItIsSpelled)
{
    makeTree();
    fs::create_directories(getPath("far/deep"));
    mFolder.write("far/a", "");
    fs::create_directories(getPath("far/x"));
    link("../far/deep", "link");
    const WorkingFolder here(mRoot);
    const Lines roots = {mRoot + "/",
                         mRoot + "//",
                         mRoot + "/.",
                         mRoot + "/./a//",
                         mRoot + "/a/..",
                         mRoot + "/link/..",
                         mRoot + "\\a",
                         mRoot + "\\a\\..",
                         ".",
                         "./",
                         "./.",
                         "..",
                         "../root",
                         "a",
                         "./a/../c",
                         "link/..",
                         "missing/../a",
                         "/../" + mRoot,
                         ".\\a",
                         "link/../x"};
    for (const std::string& root : roots) {
        const Lines lines = walk(root);
        EXPECT_EQ(lines, walkPlainly(root)) << root;
        if (root != "missing/../a") {
            EXPECT_FALSE(lines.empty()) << root;
        }
    }
}

TEST_F(FileSystemVisitorTest, RewritesBackslashesOfTheRoot)
{
    makeFolder("a/b");
    EXPECT_THAT(
        walk(getPath("root\\a")),
        ElementsAre("enter " + mRoot + "/a", "folder " + mRoot + "/a | b",
                    "enter " + mRoot + "/a/b", "leave " + mRoot + "/a/b", "leave " + mRoot + "/a"));
}

// Through a link, ".." leads elsewhere by the text than for the system.
TEST_F(FileSystemVisitorTest, LooksForEntriesBySimplifiedPaths)
{
    fs::create_directories(getPath("far/deep"));
    fs::create_directories(getPath("far/one"));
    mFolder.write("far/two", "");
    link("../far/deep", "link");
    makeFolder("two");
    const std::string root = mRoot + "/link/..";
    EXPECT_THAT(walk(root), UnorderedElementsAre("enter " + root, "file " + root + " | deep",
                                                 "file " + root + " | one",
                                                 "folder " + root + " | two", "leave " + root));
}

TEST_F(FileSystemVisitorTest, TakesABackslashInANameForASeparator)
{
    makeFolder("a/b");
    makeFolder("c\\d");
    write("a\\b");
    write("\\a");
    write("e\\f");
    const Lines lines = walk(mRoot);
    EXPECT_EQ(lines, walkPlainly(mRoot));
    EXPECT_THAT(lines, ::testing::Contains("folder " + mRoot + " | a\\b"));
    EXPECT_THAT(lines, ::testing::Contains("file " + mRoot + " | c\\d"));
    EXPECT_THAT(lines, ::testing::Contains("folder " + mRoot + " | \\a"));
    EXPECT_THAT(lines, ::testing::Contains("file " + mRoot + " | e\\f"));
}

// As paths they lead back to the folder or out of it, so entering them would have no end.
TEST_F(FileSystemVisitorTest, EntersNoNameThatLeadsBackToTheFolder)
{
    makeFolder("a");
    const Lines names = {"\\", "\\\\", ".\\", "\\.", "..\\", "..\\..", "a\\..", "..\\root"};
    for (const std::string& name : names)
        write(name);
    WalkRecorder recorder(100);
    EXPECT_TRUE(recorder.walk(mRoot)) << "more lines than entries";
    EXPECT_THAT(recorder.getLines("enter "), UnorderedElementsAre(mRoot, mRoot + "/a"));
    EXPECT_EQ(recorder.getLines("folder ").size(), names.size() + 1);
}

TEST_F(FileSystemVisitorTest, NeverMeetsAFolderItselfAndItsParent)
{
    makeFolder("...");
    write("..a");
    for (const std::string& root : {mRoot, mRoot + "/.", mRoot + "/.../..", mRoot + "/"}) {
        WalkRecorder recorder;
        EXPECT_TRUE(recorder.walk(root, false));
        EXPECT_THAT(recorder.getLines("file "), ElementsAre(root + " | ..a"));
        EXPECT_THAT(recorder.getLines("folder "), ElementsAre(root + " | ..."));
    }
}

TEST(FileSystemVisitorLocale, SkipsNamesThatCannotBeConverted)
{
    expectInLocale("C.UTF-8", [] {
        const support::ScratchFolder folder;
        const std::string& root = folder.getPath();
        folder.write("file\xff", "");
        fs::create_directory(folder.getPath("folder\xff"));
        folder.write("caf\xc3\xa9", "");
        EXPECT_THAT(walk(root), ElementsAre("enter " + root, "file " + root + " | caf\xc3\xa9",
                                            "leave " + root));
    });
}

TEST(FileSystemVisitorLocale, SkipsNamesBeyondAsciiInTheLocaleC)
{
    expectInLocale("C", [] {
        const support::ScratchFolder folder;
        const std::string& root = folder.getPath();
        folder.write("caf\xc3\xa9", "");
        fs::create_directory(folder.getPath("\xe9"));
        folder.write("plain", "");
        EXPECT_THAT(walk(root),
                    ElementsAre("enter " + root, "file " + root + " | plain", "leave " + root));
    });
}

TEST(FileSystemVisitorLocale, GivesNamesInUtf8)
{
    expectInLocale("de_DE.ISO-8859-1", [] {
        const support::ScratchFolder folder;
        const std::string& root = folder.getPath();
        fs::create_directories(folder.getPath("\xe9/\xfc"));
        folder.write("\xe9/\xc3\xa9", "");
        const Lines lines = walk(root);
        EXPECT_EQ(lines, walkPlainly(root));
        EXPECT_THAT(lines, ::testing::Contains("enter " + root + "/\xc3\xa9/\xc3\xbc"));
        EXPECT_THAT(lines, ::testing::Contains("file " + root + "/\xc3\xa9 | \xc3\x83\xc2\xa9"));
    });
}

// --- Rights

TEST_F(FileSystemVisitorTest, TakesAllForFilesInAFolderThatMayNotBeSearched)
{
    makeFolder("closed/folder");
    write("closed/file");
    fs::permissions(mRoot + "/closed", fs::perms(0744));
    expectAsNobody([this] {
        const std::string closed = mRoot + "/closed";
        const Lines lines = walk(mRoot);
        EXPECT_EQ(lines, walkPlainly(mRoot));
        EXPECT_THAT(lines, UnorderedElementsAre("enter " + mRoot, "folder " + mRoot + " | closed",
                                                "enter " + closed, "file " + closed + " | folder",
                                                "file " + closed + " | file", "leave " + closed,
                                                "leave " + mRoot));
        EXPECT_THAT(walk(closed + "/."), IsEmpty());
        EXPECT_EQ(walk(closed + "/").size(), 4U);
    });
}

TEST_F(FileSystemVisitorTest, SkipsFoldersThatMayNotBeRead)
{
    makeFolder("closed/folder");
    makeFolder("open");
    fs::permissions(mRoot + "/closed", fs::perms(0711));
    expectAsNobody([this] {
        EXPECT_THAT(walk(mRoot),
                    UnorderedElementsAre("enter " + mRoot, "folder " + mRoot + " | closed",
                                         "folder " + mRoot + " | open", "enter " + mRoot + "/open",
                                         "leave " + mRoot + "/open", "leave " + mRoot));
        EXPECT_THAT(walk(mRoot + "/closed"), IsEmpty());
        EXPECT_EQ(walk(mRoot + "/closed/folder").size(), 2U);
    });
}

// --- A folder that changes meanwhile

TEST_F(FileSystemVisitorTest, MeetsFilesThatAreGoneByNow)
{
    for (const char* name : {"a", "b", "c", "d"})
        write(name);
    WalkRecorder recorder;
    recorder.setReaction([this](const std::string& line) {
        if (line != "enter " + mRoot) fs::remove_all(mRoot);
    });
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_EQ(recorder.getLines("file ").size(), 4U);
    EXPECT_EQ(recorder.getLines().back(), "leave " + mRoot);
}

TEST_F(FileSystemVisitorTest, SkipsAFolderThatGoesWhenItIsMet)
{
    makeFolder("a");
    makeFolder("b");
    WalkRecorder recorder;
    recorder.setReaction([this](const std::string& line) {
        if (line == "folder " + mRoot + " | a") fs::remove(mRoot + "/a");
    });
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_THAT(recorder.getLines("enter "), ElementsAre(mRoot, mRoot + "/b"));
}

TEST_F(FileSystemVisitorTest, WalksWhatAppearsInAFolderBeforeItIsEntered)
{
    makeFolder("a");
    WalkRecorder recorder;
    recorder.setReaction([this](const std::string& line) {
        if (line == "folder " + mRoot + " | a") makeFolder("a/new");
        if (line == "folder " + mRoot + "/a | new") write("a/new/file");
    });
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_THAT(recorder.getLines("file "), ElementsAre(mRoot + "/a/new | file"));
}

TEST_F(FileSystemVisitorTest, EndsInAFolderWhoseFilesAreRenamedMeanwhile)
{
    for (int i = 0; i < 100; ++i)
        write("file" + std::to_string(i));
    WalkRecorder recorder;
    int renamed = 0;
    recorder.setReaction([&](const std::string& line) {
        if (line.rfind("file ", 0) != 0 || renamed == 500) return;
        const std::string name = line.substr(line.find(" | ") + 3);
        fs::rename(mRoot + '/' + name, mRoot + "/renamed" + std::to_string(renamed++));
    });
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_GE(recorder.getLines("file ").size(), 100U);
}

// --- Against the plain form

class TreeOfChance {
public:
    TreeOfChance(const std::string& root, unsigned int seed) : mChance(seed) { fill(root, 0); }

private:
    unsigned int take(unsigned int end) { return static_cast<unsigned int>(mChance() % end); }
    void fill(const std::string& folder, int depth)
    {
        static const char* const kNames[] = {"a",
                                             "b.txt",
                                             "C.TXT",
                                             ".hidden",
                                             "d\\a",
                                             "\\a",
                                             "..x",
                                             "caf\xc3\xa9",
                                             "\xff",
                                             "e.tar.gz",
                                             "long name of a file"};
        for (const char* name : kNames) {
            const std::string path = folder + '/' + name;
            switch (take(depth < 3 ? 6 : 4)) {
                case 0:
                    break;
                case 1:
                case 2:
                    support::writeFile(path, "");
                    break;
                case 3:
                    fs::create_symlink(take(2) == 0 ? "/dev/null" : "/proc/self/fdinfo/none", path);
                    break;
                default:
                    fs::create_directory(path);
                    fill(path, depth + 1);
            }
        }
    }

    std::mt19937 mChance;
};

TEST_F(FileSystemVisitorTest, WalksTreesOfChanceAsThePlainFormDoes)
{
    const Lines none;
    const Lines some = {"txt", ".gz"};
    for (unsigned int seed = 1; seed <= 6; ++seed) {
        const support::ScratchFolder folder;
        const TreeOfChance tree(folder.getPath(), seed);
        for (const Lines* extensions : {&none, &some}) {
            for (const bool ignoreCase : {false, true}) {
                WalkRecorder recorder;
                WalkRecorder plainRecorder;
                EXPECT_TRUE(
                    recorder.visit(folder.getPath(), true, extensions, ignoreCase, nullptr));
                plain::Walk(plainRecorder, true, *extensions, ignoreCase).run(folder.getPath());
                EXPECT_EQ(recorder.getLines(), plainRecorder.getLines()) << "seed " << seed;
            }
        }
    }
}

}  // namespace

}  // namespace qz
