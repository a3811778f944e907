// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <climits>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "PathTexts.h"
#include "PlainPath.h"
#include "support/Environment.h"

namespace qz {

namespace {

using namespace std::string_literals;

// --- JoinPath

struct JoinRow {
    const char* name;
    std::string left;
    std::string right;
    std::string result;
};

const JoinRow kJoinRows[] = {
    {"Both", "a", "b", "a/b"},
    {"LeftEmpty", "", "b", "b"},
    {"RightEmpty", "a", "", "a"},
    {"BothEmpty", "", "", ""},
    {"LeftEmptyKeepsSlash", "", "/b", "/b"},
    {"RightEmptyKeepsSlash", "a/", "", "a/"},
    {"SlashAtLeft", "a/", "b", "a/b"},
    {"SlashAtRight", "a", "/b", "a/b"},
    {"SlashAtBoth", "a/", "/b", "a/b"},
    {"OneIsRemovedOnly", "a//", "//b", "a///b"},
    {"BackslashAtLeft", "a\\", "b", "a\\b"},
    {"BackslashAtRight", "a", "\\b", "a\\b"},
    {"BackslashAndSlash", "a\\", "/b", "a\\b"},
    {"SlashAndBackslash", "a/", "\\b", "a/b"},
    {"Roots", "/", "/", "/"},
    {"NothingElseIsRewritten", "a\\..", "./b", "a\\.././b"},
    {"EmbeddedZero", "a\0"s, "\0b"s, "a\0/\0b"s},
};

class qzDirUtilsJoinRows : public ::testing::TestWithParam<JoinRow> {};

TEST_P(qzDirUtilsJoinRows, GivesTheResultOfTheRow)
{
    EXPECT_EQ(qzDirUtils::JoinPath(GetParam().left, GetParam().right), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzDirUtilsJoinRows, ::testing::ValuesIn(kJoinRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzDirUtilsJoin, IsThePlainFormForAllShortPaths)
{
    visitTexts("/\\a", 3, [](const std::string& left) {
        visitTexts("/\\a", 3, [&left](const std::string& right) {
            ASSERT_EQ(qzDirUtils::JoinPath(left, right), plain::joinPath(left, right));
        });
    });
}

TEST(qzDirUtilsJoin, JoinsThreeFromTheLeft)
{
    EXPECT_EQ(qzDirUtils::JoinPath("a", "b", "c"), "a/b/c");
    EXPECT_EQ(qzDirUtils::JoinPath("a", "", "c"), "a/c");
    // The middle one ends the left pair, which then begins at a separator with the last one.
    EXPECT_EQ(qzDirUtils::JoinPath("a", "/", "/c"), "a/c");
    EXPECT_EQ(qzDirUtils::JoinPath("", "", "c"), "c");
}

TEST(qzDirUtilsJoin, JoinsFourByPairs)
{
    EXPECT_EQ(qzDirUtils::JoinPath("a", "b", "c", "d"), "a/b/c/d");
    EXPECT_EQ(qzDirUtils::JoinPath("a", "", "", "d"), "a/d");
    EXPECT_EQ(qzDirUtils::JoinPath("", "", "", ""), "");
    EXPECT_EQ(qzDirUtils::JoinPath("a/", "/", "/", "/d"), "a/d");
    EXPECT_EQ(qzDirUtils::JoinPath("a", "//", "//", "d"), "a///d");
    EXPECT_EQ(qzDirUtils::JoinPath("", "a/", "/", "/d"), "a/d");
}

// --- ExtractFileExtension

struct ExtensionRow {
    const char* name;
    std::string path;
    bool lowerCase;
    int partCount;
    std::string result;
};

const ExtensionRow kExtensionRows[] = {
    {"Lowered", "A.TXT", true, 1, "txt"},
    {"AsItIs", "A.TXT", false, 1, "TXT"},
    {"NumberedVolume", "archive.tar.001", true, 1, "tar.001"},
    {"LastPart", "archive.tar.gz", true, 1, "gz"},
    {"TwoParts", "a.tar.gz", true, 2, "tar.gz"},
    {"MorePartsThanThere", "a.tar.gz", true, 5, "tar.gz"},
    {"LargestCount", "a.tar.gz", true, INT_MAX, "tar.gz"},
    {"OnePart", "a.tar.gz", true, 1, "gz"},
    {"ZeroParts", "a.tar.gz", true, 0, "gz"},
    {"NegativeParts", "a.tar.gz", true, -3, "gz"},
    {"LeastParts", "a.tar.1", true, INT_MIN, "tar.1"},
    {"HiddenFile", ".bashrc", true, 1, ""},
    {"HiddenFileTwoParts", ".bashrc", true, 2, ""},
    {"HiddenFileWithExtension", ".config.ini", true, 1, "ini"},
    {"HiddenFileManyParts", ".config.tar.gz", true, 9, "tar.gz"},
    {"HiddenNumber", ".1", true, 1, ""},
    {"DotAtEnd", "file.", true, 1, ""},
    {"DotAtEndTwoParts", "file.", true, 2, ""},
    {"DotAtEndBehindExtension", "a.gz.", true, 1, "gz."},
    {"EmptyPartAhead", "a..b", true, 2, "b"},
    {"EmptyPartsAhead", "a...b", true, 3, "b"},
    {"EmptyPartInside", "a.b..c", true, 3, "b..c"},
    {"EmptyPartBehindNumber", "a..1", true, 1, "1"},
    {"NoDot", "file", true, 1, ""},
    {"NoDotNumber", "12", true, 1, ""},
    {"NoDotTwoParts", "file", true, 2, ""},
    {"Empty", "", true, 1, ""},
    {"FolderAlone", "a.b/", true, 1, ""},
    {"Dot", ".", true, 1, ""},
    {"Dots", "..", true, 1, ""},
    {"ThreeDots", "...", true, 2, ""},
    {"DotInFolder", "a.d/file", true, 1, ""},
    {"DotInFolderByBackslash", "a.d\\file", true, 1, ""},
    {"FileInFolder", "a.d/b.c", true, 1, "c"},
    {"FileInFolderByBackslash", "a.d\\b.c", true, 1, "c"},
    {"Decimal", "f.x.12", true, 1, "x.12"},
    {"Octal", "f.x.012", true, 1, "x.012"},
    {"NotOctal", "f.x.08", true, 1, "08"},
    {"Hexadecimal", "f.x.0x1f", true, 1, "x.0x1f"},
    {"HexadecimalAlone", "file.0x1F", false, 0, "0x1F"},
    {"HexadecimalWithoutDigit", "f.x.0x", true, 1, "0x"},
    {"HexadecimalCapital", "F.X.0X1F", true, 1, "x.0x1f"},
    {"Signed", "f.x.-1", true, 1, "x.-1"},
    {"Plus", "f.x.+1", true, 1, "x.+1"},
    {"SignAlone", "f.x.-", true, 1, "-"},
    {"BlankAhead", "f.x. 1", true, 1, "x. 1"},
    {"BlankBehind", "f.x.1 ", true, 1, "1 "},
    {"BlankAlone", "f.x. ", true, 1, " "},
    {"BeyondSixtyFourBits", "f.x.99999999999999999999", true, 1, "x.99999999999999999999"},
    {"DigitsAndLetters", "f.x.7z", true, 1, "7z"},
    {"Real", "f.x.1e5", true, 1, "1e5"},
    {"NotANumberInWords", "f.x.inf", true, 1, "inf"},
    {"ZeroByteBehindNumber", "f.x.1\0"s, true, 1, "1\0"s},
    {"ZeroByteAlone", "f.x.\0"s, true, 1, "\0"s},
    {"CountOfTwoTakesNoNumberInto", "f.w.x.1", true, 2, "x.1"},
    {"LettersOfSeveralBytesStay", "a.\xc3\x84", true, 1, "\xc3\x84"},
};

class qzDirUtilsExtensionRows : public ::testing::TestWithParam<ExtensionRow> {};

TEST_P(qzDirUtilsExtensionRows, GivesTheResultOfTheRow)
{
    const ExtensionRow& row = GetParam();
    EXPECT_EQ(qzDirUtils::ExtractFileExtension(row.path, row.lowerCase, row.partCount), row.result);
}

TEST_P(qzDirUtilsExtensionRows, AgreesWithThePlainForm)
{
    const ExtensionRow& row = GetParam();
    EXPECT_EQ(plain::extractFileExtension(row.path, row.lowerCase, row.partCount), row.result);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzDirUtilsExtensionRows, ::testing::ValuesIn(kExtensionRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzDirUtilsExtension, IsThePlainFormForAllShortNames)
{
    visitTexts("./0xA ", 5, [](const std::string& path) {
        for (const int count : {1, 2, 3}) {
            ASSERT_EQ(qzDirUtils::ExtractFileExtension(path, true, count),
                      plain::extractFileExtension(path, true, count))
                << path << ", " << count;
        }
    });
}

TEST(qzDirUtilsExtension, EndsAtTheMostParts)
{
    const std::string mostDots(65534, '.');
    EXPECT_EQ(qzDirUtils::ExtractFileExtension("a" + mostDots + "b", true, 1), "b");
    EXPECT_EQ(qzDirUtils::ExtractFileExtension("a." + mostDots + "b", true, 1), "");
    EXPECT_EQ(qzDirUtils::ExtractFileExtension("a." + mostDots + "b", true, 2), "");
    EXPECT_EQ(qzDirUtils::ExtractFileExtension(mostDots + "b", true, 1), "b");
    EXPECT_EQ(qzDirUtils::ExtractFileExtension("." + mostDots + "b", true, 1), "");
    // Dots of folders and other characters don't count.
    EXPECT_EQ(qzDirUtils::ExtractFileExtension("a." + mostDots + "/a.b", true, 1), "b");
    EXPECT_EQ(qzDirUtils::ExtractFileExtension(std::string(100'000, 'a') + ".b", true, 1), "b");
}

TEST(qzDirUtilsExtension, IsLoweredAsTheLocaleHasIt)
{
    EXPECT_EQ(qzDirUtils::ExtractFileExtension("a.\xc4", true, 1), "\xc4");
    const support::LocaleGuard locale("de_DE.ISO-8859-1");
    EXPECT_EQ(qzDirUtils::ExtractFileExtension("a.\xc4", true, 1), "\xe4");
    EXPECT_EQ(qzDirUtils::ExtractFileExtension("a.\xc4", false, 1), "\xc4");
}

// --- Base name, folder, parent

struct PartsRow {
    const char* name;
    std::string path;
    std::string baseName;
    std::string folder;       // by ExtractFolder
    std::string splitFolder;  // by SplitFolderFilename
    std::string fileName;
    std::string parent;
};

const PartsRow kPartsRows[] = {
    {"Empty", "", "", "", "", "", ""},
    {"Name", "a", "a", "", "", "a", ""},
    {"Below", "a/b", "b", "a", "a", "b", "a"},
    {"Extensions", "a/b.tar.gz", "b.tar", "a", "a", "b.tar.gz", "a"},
    {"Hidden", ".hidden", "", "", "", ".hidden", ""},
    {"DotInFolder", "a.d/file", "file", "a.d", "a.d", "file", "a.d"},
    {"Closed", "a/", "", "a", "a", "", "a"},
    {"BelowRoot", "/a", "a", "", "", "a", ""},
    {"Root", "/", "", "", "", "", ""},
    {"Backslash", "a\\b", "b", "a", "a", "b", ""},
    {"Backslashes", "a\\b\\c", "c", "a/b", "a\\b", "c", ""},
    {"BackslashThenSlash", "a\\b/c", "c", "a/b", "a\\b", "c", "a\\b"},
    {"SlashThenBackslash", "a/b\\c.d", "c", "a/b", "a/b", "c.d", "a"},
    {"Deep", "a/b/c", "c", "a/b", "a/b", "c", "a/b"},
    {"DeepClosed", "a/b/", "", "a/b", "a/b", "", "a/b"},
    {"Doubled", "a//b", "b", "a/", "a/", "b", "a/"},
    {"ShortBelowRoot", "/x", "x", "", "", "x", ""},
    {"BackslashAtEnd", "a\\", "", "a", "a", "", ""},
    {"Parent", "..", ".", "", "", "..", ""},
    {"EmbeddedZero", "a\0b/c\0d.e"s, "c\0d"s, "a\0b"s, "a\0b"s, "c\0d.e"s, "a\0b"s},
};

class qzDirUtilsPartsRows : public ::testing::TestWithParam<PartsRow> {};

TEST_P(qzDirUtilsPartsRows, GiveTheResultsOfTheRow)
{
    const PartsRow& row = GetParam();
    EXPECT_EQ(qzDirUtils::ExtractFileBaseName(row.path), row.baseName);
    EXPECT_EQ(qzDirUtils::ExtractFolder(row.path), row.folder);
    EXPECT_EQ(qzDirUtils::GetParentPathUtf8(row.path), row.parent);
    std::string folder = "before";
    std::string fileName = "before";
    qzDirUtils::SplitFolderFilename(row.path, folder, fileName);
    EXPECT_EQ(folder, row.splitFolder);
    EXPECT_EQ(fileName, row.fileName);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzDirUtilsPartsRows, ::testing::ValuesIn(kPartsRows),
                         [](const auto& row) { return std::string(row.param.name); });

void expectPlainParts(const std::string& path)
{
    ASSERT_EQ(qzDirUtils::ExtractFileBaseName(path), plain::extractFileBaseName(path)) << path;
    ASSERT_EQ(qzDirUtils::ExtractFolder(path), plain::extractFolder(path)) << path;
    ASSERT_EQ(qzDirUtils::GetParentPathUtf8(path), plain::getParentPath(path)) << path;
    const plain::SplitPath expected = plain::splitFolderFilename(path);
    std::string folder;
    std::string fileName;
    qzDirUtils::SplitFolderFilename(path, folder, fileName);
    ASSERT_EQ(folder, expected.folder) << path;
    ASSERT_EQ(fileName, expected.fileName) << path;
}

TEST(qzDirUtilsParts, AreThePlainFormsForAllShortPaths)
{
    visitTexts("/\\.a", 6, expectPlainParts);
}

// The last separator is searched in several bytes at a time, and there may be more than one in
// them.
TEST(qzDirUtilsParts, AreThePlainFormsForSeparatorsAtAllPlacesOfALongPath)
{
    for (std::size_t size = 1; size != 40; ++size) {
        for (std::size_t last = 0; last != size; ++last) {
            for (std::size_t first = 0; first <= last; ++first) {
                std::string path(size, 'a');
                path[first] = '/';
                path[last] = (first + last) % 2 == 0 ? '/' : '\\';
                expectPlainParts(path);
            }
        }
    }
}

TEST(qzDirUtilsParts, CanBeCutFromTheTextThatReceivesThem)
{
    std::string path = "a\\b/c";
    std::string other;
    qzDirUtils::SplitFolderFilename(path, path, other);
    EXPECT_EQ(path, "a\\b");
    EXPECT_EQ(other, "c");
    path = "a\\b/c";
    qzDirUtils::SplitFolderFilename(path, other, path);
    EXPECT_EQ(other, "a\\b");
    EXPECT_EQ(path, "c");
    path = "name";
    qzDirUtils::SplitFolderFilename(path, other, path);
    EXPECT_EQ(other, "");
    EXPECT_EQ(path, "name");
}

// --- IsPathRelativeUtf8, GenerateValidFileName

TEST(qzDirUtilsIsPathRelative, ChecksTheFirstByteAlone)
{
    EXPECT_TRUE(qzDirUtils::IsPathRelativeUtf8(""));
    EXPECT_TRUE(qzDirUtils::IsPathRelativeUtf8("a/b"));
    EXPECT_TRUE(qzDirUtils::IsPathRelativeUtf8("C:/x"));
    EXPECT_TRUE(qzDirUtils::IsPathRelativeUtf8("\\x"));
    EXPECT_TRUE(qzDirUtils::IsPathRelativeUtf8(" /x"));
    EXPECT_FALSE(qzDirUtils::IsPathRelativeUtf8("/"));
    EXPECT_FALSE(qzDirUtils::IsPathRelativeUtf8("/a"));
    EXPECT_FALSE(qzDirUtils::IsPathRelativeUtf8("//a"));
}

TEST(qzDirUtilsGenerateValidFileName, ReplacesNineCharactersAndNoOther)
{
    const std::string reserved = "\"*/:<>?\\|";
    for (int i = 0; i < 256; ++i) {
        const std::string byte(1, static_cast<char>(i));
        const bool isReserved = reserved.find(byte) != std::string::npos;
        EXPECT_EQ(qzDirUtils::GenerateValidFileName(byte, '_'), isReserved ? "_" : byte) << i;
    }
}

TEST(qzDirUtilsGenerateValidFileName, ReplacesByteForByte)
{
    EXPECT_EQ(qzDirUtils::GenerateValidFileName(std::string("a:b*c"), '_'), "a_b_c");
    EXPECT_EQ(qzDirUtils::GenerateValidFileName(std::string("<<\xc3\xa9>>"), '-'), "--\xc3\xa9--");
    EXPECT_EQ(qzDirUtils::GenerateValidFileName(std::string("a?"), '*'), "a*");
    EXPECT_EQ(qzDirUtils::GenerateValidFileName(std::string("a?"), '\0'), "a\0"s);
    EXPECT_EQ(qzDirUtils::GenerateValidFileName(std::string(), '_'), "");
}

TEST(qzDirUtilsGenerateValidFileName, WorksInPlaceToo)
{
    std::string name = "C:\\a b\n|";
    qzDirUtils::GenerateValidFileName(name, '_');
    EXPECT_EQ(name, "C__a b\n_");
    const std::string constant = "x/y";
    EXPECT_EQ(qzDirUtils::GenerateValidFileName(constant, '_'), "x_y");
    EXPECT_EQ(constant, "x/y");
}

}  // namespace

}  // namespace qz
