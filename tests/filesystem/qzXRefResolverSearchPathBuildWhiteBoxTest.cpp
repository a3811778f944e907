// SPDX-License-Identifier: MIT
#include <qz/qzXRefResolverSearchPath.h>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <csignal>
#include <cstddef>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FolderFixture.h"
#include "PlainResolver.h"
#include "WalkRecorder.h"
#include "qzXRefResolverSearchPathTestPeer.h"
#include "support/Files.h"
#include "support/LogCapture.h"

namespace qz {

namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Peer = qzXRefResolverSearchPathTestPeer;
using SearchPath = qzXRefResolverSearchPath;
using Files = std::vector<std::string>;

constexpr unsigned long kPlenty = 1000000;

class XRefBuild : public FolderFixture {
protected:
    void write(const std::string& name) const
    {
        fs::create_directories(fs::path(mRoot + '/' + name).parent_path());
        mFolder.write("r/" + name, "");
    }
    SearchPath scan(const std::string& root) const
    {
        SearchPath path;
        EXPECT_TRUE(path.initializeSearchPath(root, {}, kPlenty));
        return path;
    }
    std::string getTooManyText(unsigned long maxFiles, const std::string& root) const
    {
        return "CRITICAL qzXRefResolverSearchPath too many files (more than " +
               std::to_string(maxFiles) + ") in '" + root + "/'";
    }

    std::string mRoot = getPath("r");
    support::LogCapture mLog;
};

// --- From the disk

TEST_F(XRefBuild, IndexesFilesByNameAndReversedFolder)
{
    write("sub/dir/model.prt.12");
    write("sub/other");
    write("top.txt");
    const SearchPath path = scan(mRoot);
    EXPECT_TRUE(path.isInitialized());
    const Peer::Dump wanted = {{"prt.model.12", {{"model.prt.12", "rid/bus"}}},
                               {"other", {{"other", "bus"}}},
                               {"txt.top", {{"top.txt", ""}}}};
    EXPECT_EQ(Peer::dump(path), wanted);
    EXPECT_EQ(path.resolveXRef("/old/sub/dir/model.prt.12").path, mRoot + "/sub/dir/model.prt.12");
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

TEST_F(XRefBuild, IndexesTheSameFromARootWithASlashOrBackslashes)
{
    write("sub/p");
    const SearchPath slash = scan(mRoot + "/");
    EXPECT_EQ(Peer::dump(slash), Peer::dump(scan(mRoot)));
    EXPECT_EQ(slash.resolveXRef("p").path, mRoot + "//sub/p");
    const SearchPath backslash = scan(mFolder.getPath() + "\\r");
    EXPECT_TRUE(backslash == scan(mRoot));
    EXPECT_EQ(backslash.resolveXRef("p").path, mRoot + "/sub/p");
}

TEST_F(XRefBuild, TakesABackslashInAFileNameForASlash)
{
    write("a\\b.c");
    write("\\");
    write("\\d");
    const Peer::Dump wanted = {{"c.b", {{"b.c", "a"}}}, {"d", {{"d", ""}}}};
    EXPECT_EQ(Peer::dump(scan(mRoot)), wanted);
}

TEST_F(XRefBuild, FindsVersionsAfterEachWayToBuild)
{
    write("s/p.prt.1");
    write("s/p.prt.2");
    SearchPath path = scan(mRoot);
    EXPECT_EQ(path.resolveXRef("p.prt").path, mRoot + "/s/p.prt.2");
    SearchPath below;
    EXPECT_TRUE(below.initializeSearchPath(mRoot + "/s", {&path}, kPlenty));
    EXPECT_EQ(below.resolveXRef("p.prt").path, mRoot + "/s/p.prt.2");
    write("s/p.prt.3");
    EXPECT_TRUE(path.initializeSearchPath(kPlenty));
    EXPECT_EQ(path.resolveXRef("p.prt").path, mRoot + "/s/p.prt.3");
    write("s/p.prt.4");
    EXPECT_FALSE(path.initializeSearchPath(4));
    EXPECT_EQ(path.resolveXRef("p.prt").path, mRoot + "/s/p.prt.4") << "after too many files";
}

TEST_F(XRefBuild, IsBuiltOverAMissingFolder)
{
    SearchPath path;
    EXPECT_TRUE(path.initializeSearchPath(getPath("missing"), {}, 0));
    EXPECT_TRUE(path.isInitialized());
    EXPECT_EQ(path.resolveXRef("a").type, SearchPath::MatchNotFound);
}

// So many files are too many: the last one ends the walk.
TEST_F(XRefBuild, EndsAtItsLimitWithTheFileThatReachesIt)
{
    for (const char* name : {"a", "b", "s/c"})
        write(name);
    for (unsigned long maxFiles = 0; maxFiles <= 3; ++maxFiles) {
        mLog.clear();
        SearchPath path;
        EXPECT_FALSE(path.initializeSearchPath(mRoot, {}, maxFiles)) << maxFiles;
        EXPECT_FALSE(path.isInitialized());
        EXPECT_EQ(Peer::dump(path).size(), maxFiles);
        EXPECT_THAT(mLog.getLines(), ElementsAre(getTooManyText(maxFiles, mRoot)));
    }
    mLog.clear();
    SearchPath path;
    EXPECT_TRUE(path.initializeSearchPath(mRoot, {}, 4));
    EXPECT_EQ(Peer::dump(path).size(), 3U);
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

TEST_F(XRefBuild, AddsToTheIndexWhenItScansAgain)
{
    write("a");
    SearchPath path = scan(mRoot);
    EXPECT_TRUE(path.initializeSearchPath(kPlenty));
    EXPECT_EQ(Peer::dump(path)["a"].size(), 2U);
    EXPECT_FALSE(path.initializeSearchPath(1));
    EXPECT_TRUE(path.isInitialized()) << "it stays as it was";
    EXPECT_EQ(Peer::dump(path)["a"].size(), 3U);
}

TEST_F(XRefBuild, ScansTheRootThatWasSet)
{
    write("a");
    SearchPath path;
    path.setPath(mRoot);
    EXPECT_FALSE(path.isInitialized());
    EXPECT_TRUE(path.initializeSearchPath(kPlenty));
    EXPECT_TRUE(path.isInitialized());
    EXPECT_EQ(path.resolveXRef("a").path, mRoot + "/a");
}

TEST_F(XRefBuild, StartsAnewForARoot)
{
    write("a");
    SearchPath path = scan(mRoot);
    EXPECT_TRUE(path.initializeSearchPath(path.getOriginalRootPath(), {}, kPlenty));
    EXPECT_EQ(Peer::dump(path)["a"].size(), 1U);
    EXPECT_FALSE(path.initializeSearchPath("", {}, kPlenty));
    EXPECT_FALSE(path.isInitialized());
    EXPECT_EQ(path.getOriginalRootPath(), "");
    EXPECT_EQ(Peer::dump(path).size(), 0U);
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

// The example of the header.
TEST_F(XRefBuild, FindsAFileThatAnotherSystemKnewElsewhere)
{
    write("parts/door.asm");
    write("old/door.asm");
    SearchPath project;
    ASSERT_TRUE(project.initializeSearchPath(mRoot, {}, /*maxFiles=*/1000000));
    const auto found = project.resolveXRef("C:\\work\\parts\\door.asm");
    EXPECT_EQ(found.type, SearchPath::MatchFull);
    EXPECT_EQ(found.path, mRoot + "/parts/door.asm");
}

TEST_F(XRefBuild, IndexesATreeDeeperThanTheFreeDescriptors)
{
    std::string folder;
    for (int i = 0; i != 20; ++i) {
        folder += "d/";
        write(folder + "file" + std::to_string(i));
    }
    const SearchPath whole = scan(mRoot);
    EXPECT_EQ(Peer::dump(whole).size(), 20U);
    const support::DescriptorLimit two(2);
    EXPECT_TRUE(scan(mRoot) == whole);
}

// --- From an ancestor

TEST_F(XRefBuild, TakesWhatIsBelowFromAnAncestor)
{
    const SearchPath ancestor = Peer::make(
        "/r", {"sub/x/f", "sub/f", "subway/f", "a/sub/f", "f", "sub/x/y/g", "ub/f", "sub/sub/f"});
    SearchPath path;
    EXPECT_TRUE(path.initializeSearchPath("/r/sub", {&ancestor}, kPlenty));
    EXPECT_TRUE(path.isInitialized());
    const Peer::Dump wanted = {{"f", {{"f", "x"}, {"f", ""}, {"f", "bus"}}}, {"g", {{"g", "y/x"}}}};
    EXPECT_EQ(Peer::dump(path), wanted);
    EXPECT_EQ(path.resolveXRef("x/y/g").path, "/r/sub/x/y/g");
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

TEST_F(XRefBuild, TakesTheWholeIndexOfTheSameRoot)
{
    const SearchPath ancestor = Peer::make("/r\\s", {"a/f", "f"});
    SearchPath path;
    EXPECT_TRUE(path.initializeSearchPath("/r/s", {&ancestor}, 2));
    EXPECT_TRUE(path == ancestor);
    EXPECT_EQ(path.getOriginalRootPath(), "/r/s");
}

TEST_F(XRefBuild, GivesItsOwnIndexUpForTheOneOfTheSameRoot)
{
    const SearchPath ancestor = Peer::make("/r", {"new/f"});
    SearchPath path = Peer::make("/r", {"old/f", "old/g"});
    EXPECT_FALSE(path.initializeSearchPathFromAnAncestor(ancestor, 0));
    EXPECT_TRUE(path == ancestor);
    EXPECT_THAT(mLog.getLines(), ElementsAre(getTooManyText(0, "/r")));
}

// A second slash after the root leaves no name to compare: only the files in the root pass.
TEST_F(XRefBuild, TakesTheFilesInTheRootFromAnAncestorWithASlashLess)
{
    const SearchPath ancestor = Peer::make("/r", {"f", "a/g", "a/b/h"});
    SearchPath path;
    EXPECT_TRUE(path.initializeSearchPath("/r/", {&ancestor}, kPlenty));
    const Peer::Dump wanted = {{"f", {{"f", ""}}}};
    EXPECT_EQ(Peer::dump(path), wanted);
    EXPECT_EQ(path.resolveXRef("f").path, "/r//f");
}

TEST_F(XRefBuild, TakesNothingFromAnyOtherRoot)
{
    const SearchPath other = Peer::make("/r/su", {"b/f", "f"});
    SearchPath path;
    path.setPath("/r/sub");
    EXPECT_FALSE(path.initializeSearchPathFromAnAncestor(other, kPlenty));
    EXPECT_FALSE(path.initializeSearchPathFromAnAncestor(Peer::make("/r/sub/x", {"f"}), kPlenty));
    EXPECT_EQ(Peer::dump(path).size(), 0U);
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

TEST_F(XRefBuild, LeavesTheStateToItsCallerWhenItTakesAnIndex)
{
    const SearchPath ancestor = Peer::make("/r", {"sub/f"});
    SearchPath path;
    path.setPath("/r/sub");
    EXPECT_TRUE(path.initializeSearchPathFromAnAncestor(ancestor, 1));
    EXPECT_FALSE(path.isInitialized());
    EXPECT_EQ(Peer::dump(path).size(), 1U);
}

TEST_F(XRefBuild, ReplacesNamesThatWereThere)
{
    const SearchPath ancestor = Peer::make("/r", {"sub/new/f", "sub/h"});
    SearchPath path = Peer::make("/r/sub", {"old/f", "old/g"});
    EXPECT_TRUE(path.initializeSearchPathFromAnAncestor(ancestor, kPlenty));
    const Peer::Dump wanted = {{"f", {{"f", "wen"}}}, {"g", {{"g", "dlo"}}}, {"h", {{"h", ""}}}};
    EXPECT_EQ(Peer::dump(path), wanted);
}

TEST_F(XRefBuild, CountsItsOwnIndexAsTheAncestorOfItself)
{
    SearchPath path = Peer::make("/r", {"a", "b"});
    EXPECT_TRUE(path.initializeSearchPathFromAnAncestor(path, 2));
    EXPECT_FALSE(path.initializeSearchPathFromAnAncestor(path, 1));
    EXPECT_EQ(Peer::dump(path).size(), 2U);
    EXPECT_THAT(mLog.getLines(), ElementsAre(getTooManyText(1, "/r")));
}

// As many files as the limit are welcome here, other than from the disk.
TEST_F(XRefBuild, TakesAsManyFilesAsTheLimitFromAnAncestor)
{
    for (const char* name : {"s/a", "s/b", "s/c"})
        write(name);
    const SearchPath ancestor = scan(mRoot);
    SearchPath path;
    EXPECT_TRUE(path.initializeSearchPath(mRoot + "/s", {&ancestor}, 3));
    EXPECT_FALSE(path.initializeSearchPath(mRoot + "/s", {}, 3));
    const SearchPath same = scan(mRoot + "/s");
    EXPECT_TRUE(path.initializeSearchPath(mRoot + "/s", {&same}, 3));
}

TEST_F(XRefBuild, KeepsTheNamesThatWereCompleteAtTheLimit)
{
    const SearchPath ancestor =
        Peer::make("/r", {"s/c", "s/b", "s/1/b", "s/a", "other/a", "s/2/b"});
    const Peer::Dump wanted = {{"a", {{"a", ""}}}};
    for (unsigned long maxFiles = 1; maxFiles <= 3; ++maxFiles) {
        mLog.clear();
        SearchPath path;
        path.setPath("/r/s");
        EXPECT_FALSE(path.initializeSearchPathFromAnAncestor(ancestor, maxFiles));
        EXPECT_EQ(Peer::dump(path), wanted) << maxFiles;
        EXPECT_THAT(mLog.getLines(), ElementsAre(getTooManyText(maxFiles, "/r/s")));
    }
    SearchPath path;
    path.setPath("/r/s");
    EXPECT_FALSE(path.initializeSearchPathFromAnAncestor(ancestor, 4));
    EXPECT_EQ(Peer::dump(path).size(), 2U);
    EXPECT_FALSE(path.initializeSearchPathFromAnAncestor(ancestor, 0));
}

// The index is the sum of both, and callers see that in the order of the matches.
TEST_F(XRefBuild, ScansTheDiskOnTopOfWhatAFailedAncestorLeft)
{
    write("s/a");
    const SearchPath ancestor = Peer::make(mRoot, {"s/gone/a", "s/b", "s/c"});
    SearchPath path;
    EXPECT_TRUE(path.initializeSearchPath(mRoot + "\\s", {&ancestor}, 2));
    EXPECT_TRUE(path.isInitialized());
    const Peer::Dump wanted = {{"a", {{"a", "enog"}, {"a", ""}}}, {"b", {{"b", ""}}}};
    EXPECT_EQ(Peer::dump(path), wanted);
    EXPECT_EQ(path.resolveXRef("a").path, mRoot + "/s/gone/a");
    EXPECT_THAT(mLog.getLines(),
                ElementsAre(getTooManyText(2, mRoot + "/s"),
                            "WARNING Fail to initialize search path '" + mRoot + "\\s' from '" +
                                mRoot + "', try the default method "));
}

TEST_F(XRefBuild, FailsWhenTheDiskHasTooManyFilesAsWell)
{
    write("s/a");
    const SearchPath ancestor = Peer::make(mRoot, {"s/a"});
    SearchPath path;
    EXPECT_FALSE(path.initializeSearchPath(mRoot + "/s", {&ancestor}, 0));
    EXPECT_FALSE(path.isInitialized());
    EXPECT_EQ(mLog.getLines().size(), 3U);
}

TEST_F(XRefBuild, PrefersTheLongestAncestorAndOfEqualOnesTheFirst)
{
    const SearchPath far = Peer::make("/r", {"a/b/far"});
    const SearchPath near = Peer::make("/r/a", {"b/near"});
    const SearchPath twin = Peer::make("\\r\\a", {"b/twin"});
    const SearchPath beside = Peer::make("/r/a/bc", {"beside"});
    SearchPath unbuilt;
    unbuilt.setPath("/r/a/b");
    SearchPath path;
    EXPECT_TRUE(path.initializeSearchPath(
        "/r/a/b", {nullptr, &far, &unbuilt, &beside, &near, &twin}, kPlenty));
    EXPECT_EQ(path.resolveXRef("near").type, SearchPath::MatchFull);
    EXPECT_TRUE(path.initializeSearchPath("/r/a/b", {&twin, &near, &far}, kPlenty));
    EXPECT_EQ(path.resolveXRef("twin").type, SearchPath::MatchFull);
    EXPECT_TRUE(path.initializeSearchPath("/r/a/b", {&far}, kPlenty));
    EXPECT_EQ(path.resolveXRef("far").type, SearchPath::MatchFull);
}

// --- Calls of the system

// Lets the process ask for memory and its end alone; anything else ends it.
void allowMemoryAlone()
{
    std::vector<sock_filter> filter = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    const auto answer = [&filter](int call, unsigned int action) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, action));
    };
#ifdef __SANITIZE_ADDRESS__
    // The sanitizer asks the system for this and that by itself, but not for files.
    for (const int call : {SYS_open, SYS_openat, SYS_stat, SYS_lstat, SYS_newfstatat, SYS_statx,
                           SYS_getdents64, SYS_access, SYS_readlink})
        answer(call, SECCOMP_RET_KILL_PROCESS);
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
#else
    for (const int call : {SYS_brk, SYS_mmap, SYS_munmap, SYS_mremap, SYS_madvise, SYS_futex,
                           SYS_write, SYS_exit_group})
        answer(call, SECCOMP_RET_ALLOW);
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS));
#endif
    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

TEST_F(XRefBuild, MakesNoSystemCallWhenItTakesAnIndex)
{
    for (int i = 0; i < 100; ++i)
        write("s/" + std::to_string(i % 10) + "/file" + std::to_string(i));
    const SearchPath ancestor = scan(mRoot);
    const support::ChildResult child = support::runInChild([&] {
        allowMemoryAlone();
        SearchPath path;
        if (!path.initializeSearchPath(mRoot + "/s", {&ancestor}, kPlenty)) return 1;
        return path.resolveXRef("old/3/file3").path == mRoot + "/s/3/file3" ? 0 : 2;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    const support::ChildResult scanning = support::runInChild([&] {
        allowMemoryAlone();
        SearchPath path;
        return path.initializeSearchPath(mRoot + "/s", {}, kPlenty) ? 0 : 1;
    });
    EXPECT_EQ(scanning.signal, SIGSYS) << "a scan gets by: " << scanning.getEnd();
}

// --- Against the plain form

class TreeOfChance {
public:
    TreeOfChance(const std::string& root, unsigned int seed) : mChance(seed)
    {
        fs::create_directory(root);
        fill(root, 0);
    }

private:
    void fill(const std::string& folder, int depth)
    {
        for (const char* name : {"p.prt", "p.prt.1", "p.prt.2", "q", "x.y.z", ".h"})
            if (mChance() % 2 == 0) support::writeFile(folder + '/' + name, "");
        for (const char* name : {"a", "ab", "b"}) {
            if (depth == 3 || mChance() % 3 == 0) continue;
            fs::create_directory(folder + '/' + name);
            fill(folder + '/' + name, depth + 1);
        }
    }

    std::mt19937 mChance;
};

plain::Resolver makePlain(const std::string& root)
{
    WalkRecorder recorder;
    recorder.walk(root);
    plain::Resolver plainPath(root);
    for (const std::string& line : recorder.getLines("file ")) {
        const std::size_t cut = line.find(" | ");
        const std::string path = line.substr(0, cut) + '/' + line.substr(cut + 3);
        plainPath.add(path.substr(root.size() + 1));
    }
    return plainPath;
}

Peer::Dump dump(const plain::Resolver& path)
{
    Peer::Dump dump;
    for (const auto& [key, entries] : path.index)
        for (const auto& entry : entries)
            dump[key].emplace_back(entry.fileName, entry.reversedFolder);
    return dump;
}

TEST_F(XRefBuild, BuildsAsThePlainFormInTreesOfChance)
{
    for (unsigned int seed = 1; seed <= 3; ++seed) {
        const std::string root = getPath("tree" + std::to_string(seed));
        const TreeOfChance tree(root, seed);
        const SearchPath path = scan(root);
        const plain::Resolver plainPath = makePlain(root);
        EXPECT_EQ(Peer::dump(path), dump(plainPath)) << "seed " << seed;
        for (const char* xref : {"p.prt", "b/p.prt", "a/ab/p.prt.1", "p.prt.3", "p", "a/q", "y.z"})
            EXPECT_EQ(path.resolveXRef(xref).path, plainPath.resolve(xref).path) << xref;
        for (const char* sub : {"", "/a", "/ab", "/b", "/a/b", "/ab/a/b", "/none"}) {
            for (const unsigned long maxFiles : {0UL, 1UL, 5UL, 20UL, kPlenty}) {
                SearchPath derived;
                derived.setPath(root + sub);
                plain::Resolver plainDerived(root + sub);
                EXPECT_EQ(derived.initializeSearchPathFromAnAncestor(path, maxFiles),
                          plainDerived.derive(plainPath, maxFiles));
                EXPECT_EQ(Peer::dump(derived), dump(plainDerived))
                    << "seed " << seed << ' ' << sub << ' ' << maxFiles;
            }
        }
    }
}

TEST_F(XRefBuild, TakesFromAnAncestorWhatAScanFinds)
{
    const std::string root = getPath("tree");
    const TreeOfChance tree(root, 7);
    const SearchPath ancestor = scan(root);
    for (const char* sub : {"/a", "/ab", "/b", "/a/b", "/ab/a"}) {
        SearchPath derived;
        EXPECT_TRUE(derived.initializeSearchPath(root + sub, {&ancestor}, kPlenty));
        EXPECT_TRUE(derived == scan(root + sub)) << sub;
    }
}

}  // namespace

}  // namespace qz
