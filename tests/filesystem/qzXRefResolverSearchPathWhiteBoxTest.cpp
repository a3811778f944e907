// SPDX-License-Identifier: MIT
#include <qz/qzXRefResolverSearchPath.h>

#include <cstddef>
#include <list>
#include <map>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PlainResolver.h"
#include "qzXRefResolverSearchPathTestPeer.h"
#include "support/Allocations.h"

namespace qz {

namespace {

using ::testing::ElementsAre;
using Peer = qzXRefResolverSearchPathTestPeer;
using SearchPath = qzXRefResolverSearchPath;
using Files = std::vector<std::string>;

// --- Texts

struct KeyRow {
    const char* name;
    const char* fileName;
    const char* key;
};

constexpr KeyRow kKeyRows[] = {
    {"NoDot", "noext", "noext"},
    {"OneDot", "x.y", "y.x"},
    {"TwoDots", "x.y.z", "y.x.z"},
    {"ThreeDots", "x.y.z.w", "y.x.z.w"},
    {"Letters", "a.b.c.d", "b.a.c.d"},
    {"Part", "model.prt", "prt.model"},
    {"Version", "model.prt.12", "prt.model.12"},
    {"LongTail", "a.bb.c..d.", "bb.a.c..d."},
    {"Hidden", ".hidden", "hidden."},
    {"HiddenWithExtension", ".a.b", "a..b"},
    {"DotBehind", "a.", ".a"},
    {"DotAlone", ".", "."},
    {"TwoDotsAlone", "..", ".."},
    {"ThreeDotsAlone", "...", "..."},
    {"DoubledDot", "a..c", ".a.c"},
    {"Empty", "", ""},
    {"Backslash", "a\\b.c", "c.a/b"},
    {"CaseKept", "Model.PRT", "PRT.Model"},
};

class XRefKey : public ::testing::TestWithParam<KeyRow> {};

TEST_P(XRefKey, IsThatOfItsRow)
{
    EXPECT_EQ(SearchPath::ComputeFileIndex(GetParam().fileName), GetParam().key);
    EXPECT_EQ(plain::Resolver::computeKey(GetParam().fileName), GetParam().key);
}

INSTANTIATE_TEST_SUITE_P(Rows, XRefKey, ::testing::ValuesIn(kKeyRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(XRefKeys, AreThoseOfThePlainFormForAllSmallNames)
{
    Files names = {""};
    for (std::size_t i = 0; i != names.size() && names[i].size() < 6; ++i)
        for (const char byte : {'.', 'a', 'b', '\\'})
            names.push_back(names[i] + byte);
    for (const std::string& name : names)
        EXPECT_EQ(SearchPath::ComputeFileIndex(name), plain::Resolver::computeKey(name)) << name;
}

struct SplitRow {
    const char* name;
    const char* full;
    const char* folder;
    const char* fileName;
};

constexpr SplitRow kSplitRows[] = {
    {"NoFolder", "a", "", "a"},
    {"Root", "/a", "", "a"},
    {"NoName", "a/", "a", ""},
    {"Both", "a/b/c", "a/b", "c"},
    {"DoubledSlash", "a//b", "a/", "b"},
    {"SlashAlone", "/", "", ""},
    {"Empty", "", "", ""},
    {"BackslashIsNoSlash", "a\\b", "", "a\\b"},
};

class XRefSplit : public ::testing::TestWithParam<SplitRow> {};

TEST_P(XRefSplit, GivesThePartsOfItsRow)
{
    std::string folder = "before";
    std::string name = "before";
    SearchPath::SplitFullFilePath(GetParam().full, folder, name);
    EXPECT_EQ(folder, GetParam().folder);
    EXPECT_EQ(name, GetParam().fileName);
}

INSTANTIATE_TEST_SUITE_P(Rows, XRefSplit, ::testing::ValuesIn(kSplitRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(XRefCleanPath, MakesBackslashesSlashesAndNothingElse)
{
    EXPECT_EQ(SearchPath::CleanFilePath("C:\\a\\\\b/../c\\"), "C:/a//b/../c/");
    EXPECT_EQ(SearchPath::CleanFilePath(""), "");
    const std::string withZero("a\\\0\\b", 5);
    EXPECT_EQ(SearchPath::CleanFilePath(withZero), std::string("a/\0/b", 5));
}

// --- Values

TEST(XRefValues, HaveTheirNumbers)
{
    EXPECT_EQ(SearchPath::MatchNotInitialized, 0);
    EXPECT_EQ(SearchPath::MatchNotFound, 1);
    EXPECT_EQ(SearchPath::MatchPartial, 2);
    EXPECT_EQ(SearchPath::MatchFull, 3);
    EXPECT_FALSE(std::is_polymorphic_v<SearchPath>);
}

TEST(XRefValues, KeepTheirFieldsInOrder)
{
    EXPECT_EQ(offsetof(SearchPath::tMatchResult, type), 0U);
    EXPECT_EQ(offsetof(SearchPath::tMatchResult, matchLength), 8U);
    EXPECT_EQ(offsetof(SearchPath::tMatchResult, path), 16U);
    EXPECT_EQ(offsetof(SearchPath::IndexEntry, fileName), 0U);
    EXPECT_EQ(offsetof(SearchPath::IndexEntry, reversedFolder), sizeof(std::string));
    const std::ptrdiff_t index = sizeof(std::map<std::string, std::list<SearchPath::IndexEntry>>);
    const std::ptrdiff_t text = sizeof(std::string);
    EXPECT_THAT(Peer::getOffsets(),
                ElementsAre(0, index, index + text, index + 2 * text, index + 3 * text));
    EXPECT_EQ(sizeof(SearchPath), 152U);
}

TEST(XRefValues, AreMadeAndCleared)
{
    SearchPath::tMatchResult result(SearchPath::MatchPartial);
    EXPECT_EQ(result.type, SearchPath::MatchPartial);
    EXPECT_EQ(result.matchLength, 0U);
    EXPECT_EQ(result.path, "");
    result.matchLength = 7;
    result.path = "path";
    result.clearResult();
    EXPECT_EQ(result.type, SearchPath::MatchNotInitialized);
    EXPECT_EQ(result.matchLength, 0U);
    EXPECT_EQ(result.path, "");
}

TEST(XRefValues, AreEqualInBothParts)
{
    const SearchPath::IndexEntry entry("a", "b");
    EXPECT_TRUE(entry == SearchPath::IndexEntry("a", "b"));
    EXPECT_FALSE(entry == SearchPath::IndexEntry("c", "b"));
    EXPECT_FALSE(entry == SearchPath::IndexEntry("a", "c"));
}

// --- The root

TEST(XRefRoot, IsKeptAsGivenAndCleaned)
{
    SearchPath path;
    EXPECT_EQ(path.getOriginalRootPath(), "");
    EXPECT_EQ(path.getCleanedRootPath(), "");
    EXPECT_FALSE(path.isInitialized());
    path.setPath("C:\\a/b");
    EXPECT_EQ(path.getOriginalRootPath(), "C:\\a/b");
    EXPECT_EQ(path.getCleanedRootPath(), "C:/a/b");
    EXPECT_EQ(Peer::getRootWithSlash(path), "C:/a/b/");
    path.setPath(path.getOriginalRootPath());
    EXPECT_EQ(path.getOriginalRootPath(), "C:\\a/b");
    EXPECT_EQ(Peer::getRootWithSlash(path), "C:/a/b/");
    path.setPath(path.getCleanedRootPath());
    EXPECT_EQ(path.getOriginalRootPath(), "C:/a/b");
    EXPECT_EQ(Peer::getRootWithSlash(path), "C:/a/b/");
}

TEST(XRefRoot, GetsASlashInAnyCaseButTheEmptyOne)
{
    SearchPath path;
    path.setPath("a/");
    EXPECT_EQ(path.getCleanedRootPath(), "a/");
    EXPECT_EQ(Peer::getRootWithSlash(path), "a//");
    path.setPath("");
    EXPECT_EQ(path.getOriginalRootPath(), "");
    EXPECT_EQ(path.getCleanedRootPath(), "");
    EXPECT_EQ(Peer::getRootWithSlash(path), "");
}

TEST(XRefRoot, ChangesNeitherIndexNorState)
{
    SearchPath path = Peer::make("r", {"a/p"});
    path.setPath("s");
    EXPECT_TRUE(path.isInitialized());
    EXPECT_EQ(path.resolveXRef("p").path, "s/a/p");
    path.setPath("");
    EXPECT_EQ(path.resolveXRef("p").path, "a/p");
}

TEST(XRefRoot, GoesWithTheIndex)
{
    SearchPath path = Peer::make("r", {"a/p"});
    path.clearSearchPath();
    EXPECT_EQ(path.getOriginalRootPath(), "");
    EXPECT_FALSE(path.isInitialized());
    EXPECT_EQ(Peer::dump(path).size(), 0U);
}

// --- Resolving

struct ResolveRow {
    const char* name;
    Files files;
    const char* xref;
    SearchPath::MatchResultType type;
    unsigned long matchLength;
    const char* path;
};

void PrintTo(const ResolveRow& row, std::ostream* out)
{
    *out << row.name;
}

const Files kTwo = {"a/p.prt", "b/p.prt"};
const Files kVersions = {"p.prt.1", "p.prt.3"};

const ResolveRow kResolveRows[] = {
    {"UnknownName", kTwo, "q.prt", SearchPath::MatchNotFound, 0, ""},
    {"EmptyXRef", kTwo, "", SearchPath::MatchNotFound, 0, ""},
    {"FolderAlone", kTwo, "a/", SearchPath::MatchNotFound, 0, ""},
    {"OtherCase", kTwo, "a/P.prt", SearchPath::MatchNotFound, 0, ""},
    {"SecondFolderWithBackslashes", kTwo, "C:\\old\\b\\p.prt", SearchPath::MatchFull, 1,
     "r/b/p.prt"},
    {"NoFolderAgrees", kTwo, "C:\\old\\c\\p.prt", SearchPath::MatchPartial, 0, "r/a/p.prt"},
    {"NameAlone", kTwo, "p.prt", SearchPath::MatchPartial, 0, "r/a/p.prt"},
    {"NameAloneInTheRoot", {"p.prt", "a/p.prt"}, "p.prt", SearchPath::MatchFull, 0, "r/p.prt"},
    {"NameAloneInTheRootBehind",
     {"a/p.prt", "p.prt"},
     "p.prt",
     SearchPath::MatchPartial,
     0,
     "r/a/p.prt"},
    {"RootFirstWinsOverAll", {"p.prt", "a/p.prt"}, "a/p.prt", SearchPath::MatchFull, 0, "r/p.prt"},
    {"AbsoluteInTheRoot", {"p.prt"}, "/p.prt", SearchPath::MatchFull, 0, "r/p.prt"},
    {"WholeFolder", {"x/a/b/p"}, "x/a/b/p", SearchPath::MatchFull, 5, "r/x/a/b/p"},
    {"PartOfTheFolders", {"x/a/b/p"}, "y/a/b/p", SearchPath::MatchPartial, 3, "r/x/a/b/p"},
    {"PartOfAName", {"xa/b/p"}, "ya/b/p", SearchPath::MatchPartial, 1, "r/xa/b/p"},
    {"XRefEndsWithinAName", {"xa/b/p"}, "a/b/p", SearchPath::MatchPartial, 3, "r/xa/b/p"},
    {"EntryEndsWithinAName", {"a/b/p"}, "xa/b/p", SearchPath::MatchPartial, 1, "r/a/b/p"},
    {"EntryOfOneNameEndsWithinAName", {"b/p"}, "xb/p", SearchPath::MatchPartial, 0, "r/b/p"},
    {"LongestAgreement",
     {"b/c/p", "a/b/c/p", "x/a/b/c/p"},
     "y/a/b/c/p",
     SearchPath::MatchFull,
     3,
     "r/b/c/p"},
    {"LongerPartialAgreement",
     {"x/c/p", "x/b/c/p", "y/b/c/p"},
     "a/b/c/p",
     SearchPath::MatchPartial,
     3,
     "r/x/b/c/p"},
    {"FullBehindAnEquallyLongPartialOne",
     {"xb/p", "b/p"},
     "b/p",
     SearchPath::MatchPartial,
     1,
     "r/xb/p"},
    {"IndexedSpellingOfAnEqualKey", {"a/p.prt"}, "a/p.prt", SearchPath::MatchFull, 1, "r/a/p.prt"},
    {"LastVersion", kVersions, "p.prt", SearchPath::MatchFull, 0, "r/p.prt.3"},
    {"AskedVersion", kVersions, "p.prt.1", SearchPath::MatchFull, 0, "r/p.prt.1"},
    {"MissingVersion", kVersions, "p.prt.2", SearchPath::MatchNotFound, 0, ""},
    {"ExactHitWinsOverVersions",
     {"p.prt.9", "p.prt"},
     "p.prt",
     SearchPath::MatchFull,
     0,
     "r/p.prt"},
    {"VersionsAreNumbers",
     {"p.prt.9", "p.prt.10"},
     "p.prt",
     SearchPath::MatchFull,
     0,
     "r/p.prt.10"},
    {"VersionsAreDecimal",
     {"p.prt.9", "p.prt.010", "p.prt.0x20"},
     "p.prt",
     SearchPath::MatchFull,
     0,
     "r/p.prt.010"},
    {"EarlierOfEqualVersions",
     {"p.prt.01", "p.prt.1"},
     "p.prt",
     SearchPath::MatchFull,
     0,
     "r/p.prt.01"},
    {"VersionThatIsNoNumber",
     {"p.prt.x", "p.prt.-1"},
     "p.prt",
     SearchPath::MatchFull,
     0,
     "r/p.prt.x"},
    {"NegativeVersion", {"p.prt.-2"}, "p.prt", SearchPath::MatchFull, 0, "r/p.prt.-2"},
    {"NumberWithATail", {"p.prt.3", "p.prt.12a"}, "p.prt", SearchPath::MatchFull, 0, "r/p.prt.12a"},
    {"AssemblyVersions", {"p.asm.1", "p.asm.2"}, "p.asm", SearchPath::MatchFull, 0, "r/p.asm.2"},
    {"NeutralVersions", {"p.neu.2", "p.neu.1"}, "p.neu", SearchPath::MatchFull, 0, "r/p.neu.2"},
    {"OtherKindsHaveNoVersions", {"p.txt.1"}, "p.txt", SearchPath::MatchNotFound, 0, ""},
    {"OtherCaseHasNoVersions", {"p.PRT.1"}, "p.PRT", SearchPath::MatchNotFound, 0, ""},
    {"KindNeedsNoDot", {"prtx.1"}, "prt", SearchPath::MatchNotFound, 0, ""},
    {"LongerKind", {"p.prtx.1", "p.prtx.4"}, "p.prtx", SearchPath::MatchFull, 0, "r/p.prtx.4"},
    {"NameWithoutDot", {"prtA"}, "prt", SearchPath::MatchFull, 0, "r/prtA"},
    {"LongerNameCountsAsVersion",
     {"p.prt.1", "pq7.prt"},
     "p.prt",
     SearchPath::MatchFull,
     0,
     "r/pq7.prt"},
    {"VersionsByFolder",
     {"a/p.prt.2", "b/p.prt.2"},
     "b/p.prt",
     SearchPath::MatchFull,
     1,
     "r/b/p.prt.2"},
    {"ShortKey", {"pr"}, "pr.x", SearchPath::MatchNotFound, 0, ""},
};

class XRefResolve : public ::testing::TestWithParam<ResolveRow> {};

TEST_P(XRefResolve, GivesTheResultOfItsRow)
{
    const ResolveRow& row = GetParam();
    const SearchPath::tMatchResult result = Peer::make("r", row.files).resolveXRef(row.xref);
    EXPECT_EQ(result.type, row.type);
    EXPECT_EQ(result.matchLength, row.matchLength);
    EXPECT_EQ(result.path, row.path);
}

INSTANTIATE_TEST_SUITE_P(Rows, XRefResolve, ::testing::ValuesIn(kResolveRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(XRefResolving, FindsNothingWithoutAnIndex)
{
    SearchPath path;
    EXPECT_EQ(path.resolveXRef("a").type, SearchPath::MatchNotInitialized);
    path.setPath("/");
    EXPECT_EQ(path.resolveXRef("a").type, SearchPath::MatchNotInitialized);
    EXPECT_EQ(path.resolveXRef("a").path, "");
}

// Callers build such texts from foreign files.
TEST(XRefResolving, EndsANameAtAZeroByteWhenItSearchesVersions)
{
    const SearchPath path = Peer::make("r", {"p.prt", "p.prt.1"});
    EXPECT_EQ(path.resolveXRef(std::string("p\0q.prt", 7)).path, "r/p.prt");
    EXPECT_EQ(path.resolveXRef(std::string("p.txt\0", 6)).type, SearchPath::MatchNotFound);
    // The key is longer than those of the index.
    const std::string name(50, 'n');
    const SearchPath longPath = Peer::make("r", {name + ".prt"});
    const std::string xref = name + '\0' + name + ".prt";
    EXPECT_EQ(longPath.resolveXRef(xref).path, "r/" + name + ".prt");
}

TEST(XRefResolving, FindsEachOfManyNames)
{
    Files files;
    for (int i = 0; i < 2000; ++i)
        files.push_back("a/" + std::to_string(i) + ".txt");
    const SearchPath path = Peer::make("r", files);
    EXPECT_EQ(Peer::dump(path).size(), files.size());
    for (const std::string& file : files)
        EXPECT_EQ(path.resolveXRef(file).path, "r/" + file);
    EXPECT_EQ(path.resolveXRef("2000.txt").type, SearchPath::MatchNotFound);
}

TEST(XRefResolving, TakesHugePaths)
{
    const SearchPath path = Peer::make("r", {std::string(100000, 'a') + "/p"});
    const SearchPath::tMatchResult result = path.resolveXRef(std::string(100000, 'a') + "/p");
    EXPECT_EQ(result.type, SearchPath::MatchFull);
    EXPECT_EQ(result.matchLength, 100000U);
}

void expectSame(const SearchPath::tMatchResult& result, const SearchPath::tMatchResult& wanted,
                const std::string& what)
{
    EXPECT_EQ(result.type, wanted.type) << what;
    EXPECT_EQ(result.matchLength, wanted.matchLength) << what;
    EXPECT_EQ(result.path, wanted.path) << what;
}

TEST(XRefResolving, AgreesAsThePlainFormForAllSmallFolders)
{
    Files folders = {""};
    for (std::size_t i = 0; i != folders.size() && folders[i].size() < 4; ++i)
        for (const char byte : {'a', 'b', '/'})
            folders.push_back(folders[i] + byte);
    for (const std::string& indexed : folders) {
        const SearchPath path = Peer::make("r", {indexed + "/p"});
        plain::Resolver plainPath("r");
        plainPath.add(indexed + "/p");
        for (const std::string& folder : folders) {
            const std::string xref = folder + "/p";
            const SearchPath::tMatchResult wanted = plainPath.resolve(xref);
            const SearchPath::tMatchResult result = path.resolveXRef(xref);
            if (result.type != wanted.type || result.matchLength != wanted.matchLength ||
                result.path != wanted.path)
                expectSame(result, wanted, indexed + " and " + folder);
        }
    }
}

class PathsOfChance {
public:
    explicit PathsOfChance(unsigned int seed) : mChance(seed) {}
    std::string makePath()
    {
        std::string path;
        for (std::size_t depth = take(4); depth != 0; --depth)
            path += pick({"a", "b", "ab", "ba", "aab"}) + '/';
        return path + pick({"p", "q", "pq"}) + pick({"", ".prt", ".asm", ".txt", ".prtx"}) +
               pick({"", "", ".1", ".2", ".10", ".x", ".01", ".2.3"});
    }

private:
    std::size_t take(std::size_t end) { return mChance() % end; }
    std::string pick(const Files& choices) { return choices[take(choices.size())]; }

    std::mt19937 mChance;
};

TEST(XRefResolving, ResolvesAsThePlainFormInTreesOfChance)
{
    for (unsigned int seed = 1; seed <= 20; ++seed) {
        PathsOfChance chance(seed);
        Files files;
        plain::Resolver plainPath("r");
        for (int i = 0; i < 60; ++i) {
            files.push_back(chance.makePath());
            plainPath.add(files.back());
        }
        const SearchPath path = Peer::make("r", files);
        for (int i = 0; i < 200; ++i) {
            const std::string xref = chance.makePath();
            expectSame(path.resolveXRef(xref), plainPath.resolve(xref),
                       xref + ", seed " + std::to_string(seed));
        }
    }
}

// --- Equality and copies

TEST(XRefEquality, IsThatOfCleanRootAndWholeIndex)
{
    const SearchPath path = Peer::make("a/b", {"x/p", "y/p", "q"});
    EXPECT_TRUE(path == Peer::make("a\\b", {"x/p", "y/p", "q"})) << "other spelling";
    EXPECT_TRUE(path == Peer::make("a/b", {"q", "x/p", "y/p"})) << "other order of names";
    EXPECT_FALSE(path == Peer::make("a/b", {"y/p", "x/p", "q"})) << "other order within a name";
    EXPECT_FALSE(path == Peer::make("a/c", {"x/p", "y/p", "q"})) << "other root";
    EXPECT_FALSE(path == Peer::make("a/b", {"x/p", "y/p"})) << "fewer names";
    EXPECT_FALSE(path == Peer::make("a/b", {"x/p", "y/p", "q", "z"})) << "more names";
    EXPECT_FALSE(path == Peer::make("a/b", {"x/p", "y/p", "q", "z/p"})) << "more files";
    EXPECT_FALSE(path == Peer::make("a/b", {"x/p", "y/p", "r"})) << "another name";
}

TEST(XRefEquality, LeavesTheStateOut)
{
    SearchPath notBuilt;
    notBuilt.setPath("r");
    EXPECT_TRUE(notBuilt == Peer::make("r", {}));
    EXPECT_FALSE(notBuilt.isInitialized());
}

TEST(XRefEquality, HoldsForCopies)
{
    SearchPath copy;
    {
        const SearchPath path = Peer::make("r", {"x/p.prt.1", "y/p.prt.2", "q"});
        copy = path;
        EXPECT_TRUE(copy == path);
        EXPECT_TRUE(SearchPath(path) == path);
    }
    EXPECT_TRUE(copy.isInitialized());
    EXPECT_EQ(copy.getOriginalRootPath(), "r");
    EXPECT_EQ(copy.resolveXRef("p.prt").path, "r/y/p.prt.2");
}

// --- Moves

TEST(XRefMove, TakesTheIndexWithoutACopy)
{
    SearchPath path = Peer::make("a/long/root/that/is/on/the/heap", {"x/p.prt.1", "q"});
    const SearchPath copy = path;
    const support::AllocationCounter allocations;
    const SearchPath taken(std::move(path));
    EXPECT_EQ(allocations.getCount(), 0U);
    EXPECT_TRUE(taken == copy);
    EXPECT_TRUE(taken.isInitialized());
    EXPECT_EQ(taken.resolveXRef("p.prt").path, "a/long/root/that/is/on/the/heap/x/p.prt.1");
}

TEST(XRefMove, LeavesAnEmptyObject)
{
    SearchPath path = Peer::make("r", {"x/p", "q"});
    SearchPath taken;
    taken = std::move(path);
    EXPECT_TRUE(path == SearchPath());  // NOLINT(bugprone-use-after-move)
    EXPECT_FALSE(path.isInitialized());
    EXPECT_EQ(path.getOriginalRootPath(), "");
    EXPECT_EQ(path.resolveXRef("p").type, SearchPath::MatchNotInitialized);
    EXPECT_TRUE(path.initializeSearchPath("r", {&taken}, 2));
    EXPECT_TRUE(path == taken);
}

TEST(XRefMove, ReplacesTheIndexThatWasThere)
{
    SearchPath path = Peer::make("r", {"x/p"});
    SearchPath other = Peer::make("s", {"y/q"});
    other = std::move(path);
    EXPECT_TRUE(other == Peer::make("r", {"x/p"}));
    EXPECT_EQ(other.resolveXRef("q").type, SearchPath::MatchNotFound);
}

TEST(XRefMove, IntoItselfChangesNothing)
{
    SearchPath path = Peer::make("r", {"x/p"});
    SearchPath& same = path;
    path = std::move(same);
    EXPECT_TRUE(path == Peer::make("r", {"x/p"}));
    EXPECT_TRUE(path.isInitialized());
    path = same;
    EXPECT_TRUE(path == Peer::make("r", {"x/p"}));
}

// --- Memory

std::size_t countBytes(const SearchPath& path)
{
    const support::AllocationCounter allocations;
    const SearchPath copy = path;
    return allocations.getBytes();
}

Files makeParts(int count)
{
    Files files;
    for (int i = 0; i != count; ++i) {
        files.push_back("projects/assembly_" + std::to_string(i / 2500) +
                        "/components_of_level_two/folder_" + std::to_string(i / 25) +
                        "/part_number_" + std::to_string(i) + ".prt." + std::to_string(i % 7));
    }
    return files;
}

TEST(XRefMemory, IsAtMost120BytesAFile)
{
    constexpr int kFileCount = 20000;
    EXPECT_LT(countBytes(Peer::make("r", makeParts(kFileCount))), 120UL * kFileCount);
}

TEST(XRefMemory, DoesNotGrowWithTheFolderForEachFile)
{
    const std::string folder = std::string(500, 'f') + '/';
    Files files;
    for (int i = 0; i != 1000; ++i)
        files.push_back(folder + std::to_string(i));
    EXPECT_LT(countBytes(Peer::make("r", files)), 100UL * 1000);
}

TEST(XRefMemory, DoesNotGrowWhenTheSameFilesAreTakenAgain)
{
    const SearchPath ancestor = Peer::make("r", {"s/a/p", "s/b/p", "s/q", "s/a/q", "s/c"});
    SearchPath path;
    path.setPath("r/s");
    EXPECT_TRUE(path.initializeSearchPathFromAnAncestor(ancestor, 5));
    const SearchPath once = path;
    EXPECT_TRUE(path.initializeSearchPathFromAnAncestor(ancestor, 5));
    const std::size_t bytes = countBytes(path);
    for (int i = 0; i != 100; ++i)
        EXPECT_TRUE(path.initializeSearchPathFromAnAncestor(ancestor, 5));
    EXPECT_TRUE(path == once);
    EXPECT_EQ(countBytes(path), bytes);
}

}  // namespace

}  // namespace qz
