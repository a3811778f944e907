// SPDX-License-Identifier: MIT
#include <qz/qzIniFile.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "support/Limits.h"
#include "variant/IniFixture.h"
#include "variant/PlainIni.h"

namespace qz {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class LoadIniFileTest : public IniFixture {};

// --- Values

struct ValueRow {
    const char* name;
    std::string text;
    qzVariant value;
};

std::vector<ValueRow> getValueRows()
{
    return {
        {"Word", "word", "word"},
        {"TrimmedBlanks", " \t word with blanks \v\f", "word with blanks"},
        {"TrueLower", "true", true},
        {"TrueUpper", "TRUE", true},
        {"TrueMixed", "tRuE", true},
        {"FalseMixed", "FaLsE", false},
        {"QuotedTrue", R"("true")", true},
        {"TrueWithBlanksInQuotes", R"(" true")", " true"},
        {"NoOtherWordsOfTruth", "t", "t"},
        {"On", "on", "on"},
        {"AlmostTrue", std::string("\x54\x52\x55\x65\x01", 5), std::string("TRUe\x01")},
        {"Integer", "12", 12},
        {"NegativeInteger", "-12", -12},
        {"Hexadecimal", "0x10", 16},
        {"Octal", "010", 8},
        {"Clamped", "99999999999999999999", 0x7fffffffffffffff},
        {"QuotedInteger", R"("12")", 12},
        {"IntegerWithBlanksInQuotes", R"(" 12")", 12},
        {"IntegerWithABlankBehindInQuotes", R"("12 ")", "12 "},
        {"Real", "1.5", 1.5},
        {"RealWithExponent", "1e3", 1000.0},
        {"Infinity", "inf", std::numeric_limits<double>::infinity()},
        {"CommaIsNoPoint", "1,5", "1,5"},
        {"Empty", "", ""},
        {"OnlyBlanks", " \t ", ""},
        {"EmptyQuotes", R"("")", ""},
        {"OneQuote", R"(")", "\""},
        {"ThreeQuotes", R"(""")", "\""},
        {"FourQuotes", R"("""")", R"("")"},
        {"QuoteAhead", R"("a)", R"("a)"},
        {"QuoteBehind", R"(a")", R"(a")"},
        {"QuotesWithin", R"(a"b"c)", R"(a"b"c)"},
        {"BlanksInQuotes", R"(" a ")", " a "},
        {"Comment", "a ; b", "a ; b"},
        {"HashIsNoComment", "# a", "# a"},
        {"EqualSigns", "a=b=c", "a=b=c"},
        {"Brackets", "[a]", "[a]"},

        {"EscapedQuote", R"(\")", "\""},
        {"EscapedQuotesInQuotes", R"("he said \"x\"")", R"(he said "x")"},
        {"EscapedTab", R"(a\tb)", "a\tb"},
        {"EscapedCarriageReturn", R"(a\rb)", "a\rb"},
        {"EscapedLineFeed", R"(a\nb)", "a\nb"},
        {"EscapedBackslash", R"(a\\b)", R"(a\b)"},
        {"AllEscapes", R"(\"\t\r\n\\)", "\"\t\r\n\\"},
        {"UnknownEscape", R"(a\xb)", R"(a\xb)"},
        {"LoneBackslash", "\\", "\\"},
        {"ThreeBackslashes", R"(\\\)", R"(\\)"},
        {"FourBackslashes", R"(\\\\)", R"(\\)"},
        // The passes come one after another: each takes the backslash next to it.
        {"DoubledBackslashAheadOfN", R"(\\n)", "\\\n"},
        {"DoubledBackslashAheadOfT", R"(\\t)", "\\\t"},
        {"DoubledBackslashAheadOfR", R"(\\r)", "\\\r"},
        {"DoubledBackslashAheadOfAQuote", R"(\\")", R"(\")"},
        {"BackslashQuoteAheadOfN", R"(\\"n)", R"(\"n)"},
        {"QuotesAroundALoneEscape", R"("a\")", R"(a\)"},
        {"EscapedBlanksStay", R"(\ta\n)", "\ta\n"},
        {"EscapedTabAheadOfANumber", R"(\t12)", 12},
        {"EscapedLineFeedBehindANumber", R"(12\n)", "12\n"},

        {"ZeroByte", std::string("a\0b", 3), std::string("a\0b", 3)},
        {"ZeroByteBehindANumber", std::string("12\0", 3), std::string("12\0", 3)},
        {"OnlyAZeroByte", std::string("\0", 1), std::string("\0", 1)},
        {"NoUtf8", "\xff\xfe\x80", "\xff\xfe\x80"},
        {"Utf8", "\xc3\xa9", "\xc3\xa9"},
    };
}

class LoadIniFileValue : public IniFixture, public ::testing::WithParamInterface<ValueRow> {};

TEST_P(LoadIniFileValue, DecodesAsItsRow)
{
    const Map map = load("k=" + GetParam().text + "\nnext=1\n");
    ASSERT_EQ(map.count("k"), 1U);
    EXPECT_EQ(map.find("k")->second, GetParam().value);
    EXPECT_EQ(map.find("next")->second, 1);
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Rows, LoadIniFileValue, ::testing::ValuesIn(getValueRows()),
                         [](const auto& row) { return std::string(row.param.name); });

// The first key replaces the text that holds the path; the second line is reported with that path.
TEST_F(LoadIniFileTest, TakesAPathThatIsATextOfTheMapItself)
{
    mFolder.write(kName, "file/depth=1\njunk\n");
    Map map{{"file", mPath}};
    EXPECT_TRUE(LoadIniFile(*map["file"].getString(), map));
    EXPECT_THAT(mLog.getLines(), ElementsAre(warning("Invalid line (", 1)));
    EXPECT_EQ(describe(map), describe(Map{{"file", Map{{"depth", 1}}}}));
}

TEST_F(LoadIniFileTest, GuessesTheSameInAGermanProcess)
{
    const support::LocaleGuard locale("de_DE.UTF-8");
    EXPECT_EQ(loadText("a=1.5\nb=1,5\nc=1.234\n"), R"({"a": 1.5, "b": "1,5", "c": 1.234})");
}

// --- Lines

struct LinesRow {
    const char* name;
    std::string content;
    const char* tree;
    std::vector<std::pair<const char*, int>> warnings = {};
};

std::vector<LinesRow> getLinesRows()
{
    return {
        {"Nothing", "", "{}"},
        {"OnlyALineEnd", "\n", "{}"},
        {"EmptyLines", "\n \n\t\n\na=1\n\n", R"({"a": 1})"},
        {"NoLineEnd", "a=1", R"({"a": 1})"},
        {"CarriageReturns", "[s]\r\na=x\r\n\r\n", R"({"s": {"a": "x"}})"},
        {"LoneCarriageReturnIsNoLineEnd", "a=x\rb=1\n", R"({"a": "x\x0db=1"})"},
        {"BlanksAround", "  a  =  1  \n", R"({"a": 1})"},
        {"BlanksWithinAKey", "a b = 1\n", R"({"a b": 1})"},
        {"ByteOrderMarkIsPartOfTheKey",
         "\xef\xbb\xbf"
         "a=1\n",
         "{\"\xef\xbb\xbf"
         "a\": 1}"},

        {"Comments", "; a=1\n  ; b=1\n;\n;[s]\nc=1\n", R"({"c": 1})"},
        {"CommentWithoutAnEqualSign", ";x\n", "{}"},
        {"SemicolonWithin", "a;b=1\n", R"({"a;b": 1})"},
        {"HashIsAKey", "# a=1\n", R"({"# a": 1})"},
        {"HashAloneIsInvalid", "# a\n", "{}", {{"Invalid line (", 0}}},

        {"Section", "[s]\na=1\n", R"({"s": {"a": 1}})"},
        {"SectionAlone", "[s]\n", "{}"},
        {"SectionAndGeneral", "[s]\na=1\n[General]\nb=2\n", R"({"b": 2, "s": {"a": 1}})"},
        {"GeneralIsCaseSensitive", "[general]\na=1\n", R"({"general": {"a": 1}})"},
        {"GeneralWithABlank", "[General ]\na=1\n", R"({"General ": {"a": 1}})"},
        {"SectionNameIsNotTrimmed", "[ s ]\na=1\n", R"({" s ": {"a": 1}})"},
        {"SectionLineIsTrimmed", " \t[s] \na=1\n", R"({"s": {"a": 1}})"},
        {"SectionTwice", "[s]\na=1\n[t]\na=2\n[s]\nb=3\n",
         R"({"s": {"a": 1, "b": 3}, "t": {"a": 2}})"},
        {"SectionPath", "[x/y]\na=1\n", R"({"x": {"y": {"a": 1}}})"},
        {"SectionAndKeyPath", "[s]\na/b=1\n", R"({"s": {"a": {"b": 1}}})"},
        {"EmptySection", "[]\na=1\n", R"({"": {"a": 1}})"},
        {"SectionOfASeparator", "[/]\na=1\n", R"({"": {"": {"a": 1}}})"},
        {"SectionThatEndsInASeparator", "[s/]\na=1\n", R"({"s": {"": {"a": 1}}})"},
        {"SectionWithBrackets", "[a]b]\nc=1\n", R"({"a]b": {"c": 1}})"},
        {"SectionWithAnEqualSign", "[a=b]\nc=1\n", R"({"a=b": {"c": 1}})"},
        {"SectionWithASemicolon", "[;]\nc=1\n", R"({";": {"c": 1}})"},
        {"OneBracketIsNoHeader", "[\n]\n", "{}", {{"Invalid line (", 0}, {"Invalid line (", 1}}},
        {"OpenSection", "[open\na=1\n", R"({"a": 1})", {{"Invalid line (", 0}}},
        {"OpenSectionIsAKey", "[a=b\n", R"({"[a": "b"})"},
        {"OpenSectionWithASemicolonIsAKey", "[;=b\n", R"({"[;": "b"})"},
        {"TextBehindASection", "[s] ; x\na=1\n", R"({"a": 1})", {{"Invalid line (", 0}}},

        {"NoEqualSign", "novalue\n", "{}", {{"Invalid line (", 0}}},
        {"NoKey", "=5\n", "{}", {{"Invalid key at line (", 0}}},
        {"BlankKey", "  =5\n", "{}", {{"Invalid key at line (", 0}}},
        {"OnlyAnEqualSign", "=", "{}", {{"Invalid key at line (", 0}}},
        {"NoKeyInASection", "[s]\n=5\n", "{}", {{"Invalid key at line (", 1}}},
        {"Duplicate", "x=1\nx=2\n", R"({"x": 1})", {{"Duplicated key at line (", 1}}},
        {"DuplicateInASection",
         "[s]\nx=1\n\n;\n[s]\n x =2\n",
         R"({"s": {"x": 1}})",
         {{"Duplicated key at line (", 5}}},
        {"DuplicateByPath",
         "[s]\nx=1\n[General]\ns/x=2\n",
         R"({"s": {"x": 1}})",
         {{"Duplicated key at line (", 3}}},
        {"DuplicateOfAMap",
         "a/b=1\na=2\n",
         R"({"a": {"b": 1}})",
         {{"Duplicated key at line (", 1}}},
        {"DuplicateInAnotherCaseIsNone", "x=1\nX=2\n", R"({"X": 2, "x": 1})"},
        {"ScalarInTheWay", "a=1\na/b=2\n", R"({"a": {"b": 2}})"},
        {"ScalarInTheWayOfASection", "s=1\n[s]\na=2\n", R"({"s": {"a": 2}})"},
        {"AllSorts",
         "\nx\n=\ny=1\n[s\ny=2",
         R"({"y": 1})",
         {{"Invalid line (", 1},
          {"Invalid key at line (", 2},
          {"Invalid line (", 4},
          {"Duplicated key at line (", 5}}},

        {"KeyWithSeparators", "/a=1\nb/=2\nc//d=3\n/=4\n",
         R"({"": {"": 4, "a": 1}, "b": {"": 2}, "c": {"": {"d": 3}}})"},
        {"KeyWithQuotes", "\"a\"=1\n", R"({"\"a\"": 1})"},
        {"KeyWithABackslash", "a\\n=1\n", R"({"a\\n": 1})"},

        // A path ends at a zero byte.
        {"ZeroByteInAKey",
         std::string("a\0b=1\na\0c=2\n", 12),
         R"({"a": 1})",
         {{"Duplicated key at line (", 1}}},
        {"ZeroByteForAKey", std::string("\0=1\n", 4), R"({"": 1})"},
        {"ZeroByteInASection",
         std::string("[s\0t]\na=1\nb=2\n", 14),
         R"({"s": 1})",
         {{"Duplicated key at line (", 2}}},
        {"ZeroByteForASection", std::string("[\0]\na=1\n", 8), R"({"": 1})"},
        {"ZeroByteBehindGeneral", std::string("[General\0]\na=1\n", 15), R"({"General": 1})"},
        {"ZeroByteAlone", std::string("\0\n", 2), "{}", {{"Invalid line (", 0}}},
        {"ZeroByteAheadOfAComment", std::string("\0;=1\n", 5), R"({"": 1})"},
    };
}

class LoadIniFileLines : public IniFixture, public ::testing::WithParamInterface<LinesRow> {};

TEST_P(LoadIniFileLines, ReadsAsItsRow)
{
    EXPECT_EQ(loadText(GetParam().content), GetParam().tree);
    std::vector<std::string> warnings;
    for (const auto& [what, line] : GetParam().warnings)
        warnings.push_back(warning(what, line));
    EXPECT_EQ(mLog.getLines(), warnings);
}

INSTANTIATE_TEST_SUITE_P(Rows, LoadIniFileLines, ::testing::ValuesIn(getLinesRows()),
                         [](const auto& row) { return std::string(row.param.name); });

// --- The map that is there

TEST_F(LoadIniFileTest, AddsToTheMap)
{
    mFolder.write(kName, "a=1\nb/c=2\nd=3\n[e]\nf=4\n");
    Map map{{"a", "old"}, {"b", Map{{"x", 5}}}, {"d", List{6}}, {"e", List{Map{{"f", 7}}}}};
    EXPECT_TRUE(LoadIniFile(mPath, map));
    EXPECT_EQ(describe(map), R"({"a": "old", "b": {"c": 2, "x": 5}, "d": [6], "e": {"f": 4}})");
    EXPECT_THAT(mLog.getLines(), ElementsAre(warning("Duplicated key at line (", 0),
                                             warning("Duplicated key at line (", 2)));
}

TEST_F(LoadIniFileTest, TakesAnEmptyValueForOneThatIsThere)
{
    mFolder.write(kName, "a=1\n");
    Map map{{"a", qzVariant()}};
    EXPECT_TRUE(LoadIniFile(mPath, map));
    EXPECT_EQ(describe(map), R"({"a": UNKNOWN})");
    EXPECT_THAT(mLog.getLines(), ElementsAre(warning("Duplicated key at line (", 0)));
}

// --- The file

TEST_F(LoadIniFileTest, FailsInSilenceWhereNoFileIs)
{
    Map map{{"a", 1}};
    for (const std::string& path :
         {mPath, mPath + "/below", std::string(), mFolder.getPath(std::string(300, 'x'))}) {
        EXPECT_FALSE(LoadIniFile(path, map)) << path;
    }
    EXPECT_EQ(describe(map), R"({"a": 1})");
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

TEST_F(LoadIniFileTest, FailsWithoutADescriptor)
{
    mFolder.write(kName, "a=1\n");
    Map map;
    {
        const support::DescriptorLimit noneLeft(0);
        EXPECT_FALSE(LoadIniFile(mPath, map));
    }
    EXPECT_TRUE(map.empty());
    EXPECT_TRUE(LoadIniFile(mPath, map));
}

TEST_F(LoadIniFileTest, FailsWithoutTheRightToRead)
{
    mFolder.write(kName, "a=1\n");
    std::filesystem::permissions(mFolder.getPath(), std::filesystem::perms(0755));
    std::filesystem::permissions(mPath, std::filesystem::perms::none);
    const support::ChildResult result = support::runInChild([&] {
        support::becomeNobody();
        Map map;
        return LoadIniFile(mPath, map) || !map.empty() || !mLog.getLines().empty() ? 1 : 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
}

TEST_F(LoadIniFileTest, ReadsNothingFromAFolder)
{
    Map map{{"a", 1}};
    EXPECT_TRUE(LoadIniFile(mFolder.getPath(), map));
    EXPECT_EQ(describe(map), R"({"a": 1})");
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

TEST_F(LoadIniFileTest, ReadsFilesWithoutASize)
{
    Map map;
    EXPECT_TRUE(LoadIniFile("/proc/self/status", map));
    EXPECT_TRUE(map.empty());
    EXPECT_GT(mLog.getLines().size(), 10U);
}

TEST_F(LoadIniFileTest, ReadsAPipeThatGivesItsBytesInPieces)
{
    ASSERT_EQ(::mkfifo(mPath.c_str(), 0600), 0);
    std::thread writer([this] {
        const int fd = ::open(mPath.c_str(), O_WRONLY);
        for (const char* piece : {"[s", "]\na=", "1\nb=tr", "ue"}) {
            EXPECT_EQ(::write(fd, piece, std::strlen(piece)),
                      static_cast<ssize_t>(std::strlen(piece)));
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        ::close(fd);
    });
    Map map;
    EXPECT_TRUE(LoadIniFile(mPath, map));
    writer.join();
    EXPECT_EQ(describe(map), R"({"s": {"a": 1, "b": true}})");
}

TEST_F(LoadIniFileTest, KeepsNoDescriptor)
{
    const std::size_t before = support::countOpenDescriptors();
    load("a=1\n");
    Map map;
    LoadIniFile(mFolder.getPath(), map);
    LoadIniFile(mFolder.getPath("none"), map);
    EXPECT_EQ(support::countOpenDescriptors(), before);
}

TEST_F(LoadIniFileTest, ReadsHugeLines)
{
    const std::string text(300'000, 'x');
    const Map map = load("a=" + text + "\n[" + text + "]\n" + text + "=1\n");
    EXPECT_TRUE(*map.find("a")->second.getString() == text);
    const qzVariant* const value = map.findPathImpl((text + "/" + text).c_str(), '/');
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(*value, 1);
}

TEST_F(LoadIniFileTest, ReadsLinesAtTheEndsOfItsBlocks)
{
    for (const std::size_t size : {65535U, 65536U, 65537U, 131071U, 131072U, 131073U}) {
        const Map map = load("a=" + std::string(size - 7, 'x') + "\nb=1\n");
        EXPECT_EQ(map.find("a")->second.getString()->size(), size - 7);
        EXPECT_EQ(map.find("b")->second, 1);
    }
}

TEST_F(LoadIniFileTest, ReadsManyKeysWithAllocationsInProportion)
{
    for (const int count : {1000, 2000, 4000}) {
        std::string content;
        for (int i = 0; i != count; ++i)
            content += (i % 100 == 0 ? "[section " + std::to_string(i) + "]\n" : "") + "key " +
                       std::to_string(i) + "=" + std::to_string(i) + "\n";
        mFolder.write(kName, content);
        Map map;
        const support::AllocationCounter allocations;
        EXPECT_TRUE(LoadIniFile(mPath, map));
        EXPECT_LE(allocations.getCount(), static_cast<std::size_t>(count) * 3 + 100);
        EXPECT_EQ(map.size(), static_cast<std::size_t>(count) / 100);
    }
}

TEST_F(LoadIniFileTest, NumbersItsLinesOnBeyondAHundred)
{
    load(std::string(123, '\n') + "x\n");
    EXPECT_THAT(mLog.getLines(), ElementsAre(warning("Invalid line (", 123)));
}

TEST_F(LoadIniFileTest, WarnsAtOnce)
{
    load("x\n");
    ASSERT_EQ(mLog.getEntries().size(), 1U);
    EXPECT_EQ(mLog.getEntries()[0].subType, "");
    EXPECT_EQ(mLog.getEntries()[0].systemLogTag, "");
}

// --- Names

class LoadIniFileNames : public ::testing::TestWithParam<std::pair<const char*, const char*>> {};

// The name of the file is the local one of the path.
TEST_P(LoadIniFileNames, FindsAFileByItsLocalName)
{
    const auto [locale, localName] = GetParam();
    const support::LocaleGuard guard(locale);
    const support::LibraryStart library;
    const support::ScratchFolder folder;
    support::writeFile(folder.getPath() + "/" + localName, "a=1\n");
    qzVariant::qzVariantMapImpl map;
    EXPECT_TRUE(LoadIniFile(folder.getPath() + "/\xc3\xa9", map));
    EXPECT_EQ(describe(map), R"({"a": 1})");
    EXPECT_TRUE(SaveIniFile(folder.getPath() + "/\xc3\xa9", {{"b", "\xc3\xa9"}}, true));
    EXPECT_EQ(support::readFile(folder.getPath() + "/" + localName),
              "[General]\na=1\nb=\xc3\xa9\n");
}

INSTANTIATE_TEST_SUITE_P(Locales, LoadIniFileNames,
                         ::testing::Values(std::pair("C.UTF-8", "\xc3\xa9"),
                                           std::pair("de_DE.ISO-8859-1", "\xe9"),
                                           std::pair("ja_JP.EUC-JP", "\x8f\xab\xb1")));

TEST(LoadIniFileNamesTest, FindsNothingWithoutTheTextServices)
{
    const support::ScratchFolder folder;
    folder.write("file.ini", "a=1\n");
    qzVariant::qzVariantMapImpl map;
    EXPECT_FALSE(LoadIniFile(folder.getPath("file.ini"), map));
    EXPECT_FALSE(SaveIniFile(folder.getPath("file.ini"), {{"b", 1}}, false));
    EXPECT_EQ(folder.read("file.ini"), "a=1\n");
}

TEST_F(LoadIniFileTest, FindsNothingByANameThatIsNoUtf8)
{
    support::writeFile(mFolder.getPath() + "/\xff", "a=1\n");
    Map map;
    EXPECT_FALSE(LoadIniFile(mFolder.getPath() + "/\xff", map));
}

// --- Against the plain form

std::string makeContent(unsigned int seed)
{
    constexpr std::string_view pieces[] = {
        "\n", "\n",  "\n",   "\n",  "=",   "=",         "[",     "]",       "[s]\n",
        "a",  "b",   "a/b",  "/",   ";",   "\"",        "\\",    "\\n",     " ",
        "\r", "\t",  "true", "12",  "1.5", "[General]", "\n[a]", "General", "0x1",
        "a=", "b=x", "\xff", "nan", ",",   "\\\"",      "1e5",   "[x/y]\n"};
    std::mt19937 random(seed);
    std::string content;
    for (std::size_t count = random() % 40; count != 0; --count) {
        if (random() % 50 == 0) content += '\0';
        content += pieces[random() % std::size(pieces)];
    }
    return content;
}

TEST_F(LoadIniFileTest, ReadsContentOfChanceAsThePlainForm)
{
    const MemoryFile file;
    std::size_t entries = 0;
    for (unsigned int seed = 0; seed != 2000; ++seed) {
        const std::string content = makeContent(seed);
        file.write(content);
        Map plainMap;
        const std::vector<std::string> warnings = plain::loadIni(content, file.getPath(), plainMap);
        Map map;
        mLog.clear();
        ASSERT_TRUE(LoadIniFile(file.getPath(), map));
        ASSERT_EQ(describe(map), describe(plainMap)) << seed << ":\n" << content;
        ASSERT_EQ(mLog.getMessages(), warnings) << seed << ":\n" << content;
        entries += plainMap.size();
    }
    EXPECT_GT(entries, 2000U) << "the content of chance is all invalid";
}

// --- Missing memory

TEST_F(LoadIniFileTest, PassesALackOfMemoryOnAndKeepsNothing)
{
    mFolder.write(kName, "a=1\n[s]\nb=" + std::string(100, 'x') + "\nc=\\n\n");
    const std::size_t descriptors = support::countOpenDescriptors();
    Map map;
    bool result = false;
    // Without memory for its name the file isn't there.
    support::failEachAllocation(
        [&] {
            map.clear();
            result = LoadIniFile(mPath, map);
        },
        [&](const support::AllocationFailure& failure) {
            EXPECT_TRUE(failure.threwBadAlloc || !result) << failure.number;
            EXPECT_EQ(support::countOpenDescriptors(), descriptors);
        });
    EXPECT_TRUE(result);
    EXPECT_EQ(map.size(), 2U);
}

}  // namespace

}  // namespace qz
