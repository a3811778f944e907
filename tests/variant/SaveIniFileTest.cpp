// SPDX-License-Identifier: MIT
#include <qz/qzIniFile.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <limits>
#include <list>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/Limits.h"
#include "variant/CountedUserData.h"
#include "variant/GlobalLocale.h"
#include "variant/IniFixture.h"
#include "variant/PlainIni.h"

namespace qz {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

class SaveIniFileTest : public IniFixture {
protected:
    // Saves and gives the text of the file.
    std::string save(const Map& map, bool merge = false)
    {
        EXPECT_TRUE(SaveIniFile(mPath, map, merge));
        return read();
    }
};

qzVariant makeVec3()
{
    const double values[] = {1, 2, 3};
    return {qzVariant::VEC3D, values};
}

// --- Values

struct LineRow {
    const char* name;
    qzVariant value;
    std::string line;
};

std::vector<LineRow> getLineRows()
{
    return {
        {"Integer", -12, "k=-12"},
        {"Real", 3.14159265, "k=3.14159"},
        {"RealWhole", 2.0, "k=2"},
        {"RealLarge", 1e20, "k=1e+20"},
        {"RealNaN", std::numeric_limits<double>::quiet_NaN(), "k=nan"},
        {"True", true, "k=true"},
        {"False", false, "k=false"},
        {"String", "text", "k=text"},
        {"StringEmpty", "", "k="},
        {"StringNumber", "12", "k=12"},
        {"StringWithBlanks", " a ", "k= a "},
        {"StringWithQuotes", R"(he said "x")", R"(k="he said \"x\"")"},
        {"StringOfAQuote", "\"", R"(k="\"")"},
        {"StringWithABackslash", R"(a\b)", R"(k=a\\b)"},
        {"StringWithALineFeed", "a\nb", R"(k=a\nb)"},
        {"StringWithACarriageReturn", "a\rb", R"(k=a\rb)"},
        {"StringWithATab", "a\tb", R"(k=a\tb)"},
        {"StringWithAll", "\\\n\r\t\"", R"(k="\\\n\r\t\"")"},
        {"StringWithABackslashAheadOfN", R"(\n)", R"(k=\\n)"},
        {"StringWithAnApostrophe", "it's", "k=it's"},
        {"StringWithASemicolon", ";a=b", "k=;a=b"},
        {"StringWithZeroBytes", std::string("a\0b", 3), std::string("k=a\0b", 5)},
        {"StringOfOtherBytes", "\xff\x80\x01\v\f", "k=\xff\x80\x01\v\f"},
    };
}

class SaveIniFileLine : public IniFixture, public ::testing::WithParamInterface<LineRow> {};

TEST_P(SaveIniFileLine, IsWrittenAsItsRow)
{
    EXPECT_TRUE(SaveIniFile(mPath, {{"k", GetParam().value}}, false));
    EXPECT_EQ(read(), "[General]\n" + GetParam().line + "\n");
    EXPECT_TRUE(SaveIniFile(mPath, {{"s", Map{{"k", GetParam().value}}}}, false));
    EXPECT_EQ(read(), "[General]\n\n[s]\n" + GetParam().line + "\n");
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Rows, SaveIniFileLine, ::testing::ValuesIn(getLineRows()),
                         [](const auto& row) { return std::string(row.param.name); });

// --- Values that can't be written

struct UnsupportedRow {
    const char* name;
    qzVariant value;
    int number;
};

std::vector<UnsupportedRow> getUnsupportedRows()
{
    const double values[16] = {};
    return {
        {"Unknown", {}, 0},
        {"Vec2d", qzVariant(qzVariant::VEC2D, values), 5},
        {"Vec3d", makeVec3(), 6},
        {"Vec4d", qzVariant(qzVariant::VEC4D, values), 7},
        {"Mat3d", qzVariant(qzVariant::MAT3D, values), 12},
        {"Mat4d", qzVariant(qzVariant::MAT4D, values), 13},
        {"DateTime", qzVariant::DateTime(1), 14},
        {"UserData", qzVariant(new CountedUserData(1)), 15},
    };
}

class SaveIniFileUnsupported : public IniFixture,
                               public ::testing::WithParamInterface<UnsupportedRow> {
protected:
    static std::string unsupported(const std::string& key)
    {
        return "WARNING saveVariantToIni unsupported variant type (" +
               std::to_string(GetParam().number) + ") for key " + key;
    }
};

TEST_P(SaveIniFileUnsupported, EndsTheFileAtTheTop)
{
    mFolder.write(kName, std::string(1000, 'x'));
    const Map map{{"a", 1}, {"b", GetParam().value}, {"c", 2}, {"s", Map{{"d", 3}}}};
    EXPECT_FALSE(SaveIniFile(mPath, map, false));
    EXPECT_EQ(read(), "[General]\na=1\n");
    EXPECT_THAT(mLog.getLines(), ElementsAre(unsupported("b")));
}

TEST_P(SaveIniFileUnsupported, EndsTheFileInASection)
{
    const Map section{{"a", 1}, {"b", Map{{"c", GetParam().value}}}, {"d", 2}};
    EXPECT_FALSE(SaveIniFile(mPath, {{"s", section}, {"t", Map{{"a", 1}}}, {"z", 1}}, false));
    EXPECT_EQ(read(), "[General]\nz=1\n\n[s]\na=1\n");
    EXPECT_THAT(mLog.getLines(), ElementsAre(unsupported("b/c")));
}

TEST_P(SaveIniFileUnsupported, EndsTheFileInAMapNamedGeneral)
{
    const Map general{{"a", 1}, {"b", GetParam().value}, {"c", 1}};
    EXPECT_FALSE(SaveIniFile(mPath, {{"General", general}, {"s", Map{{"a", 1}}}}, false));
    EXPECT_EQ(read(), "[General]\na=1\n");
    EXPECT_THAT(mLog.getLines(), ElementsAre(unsupported("b")));
}

TEST_P(SaveIniFileUnsupported, EndsAMergeToo)
{
    mFolder.write(kName, "a=1\nz=1\n");
    EXPECT_FALSE(SaveIniFile(mPath, {{"b", GetParam().value}}, true));
    EXPECT_EQ(read(), "[General]\na=1\n");
    EXPECT_THAT(mLog.getLines(), ElementsAre(unsupported("b")));
}

INSTANTIATE_TEST_SUITE_P(Rows, SaveIniFileUnsupported, ::testing::ValuesIn(getUnsupportedRows()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(SaveIniFileTest, WritesNoDestroyedValue)
{
    Map map{{"a", 1}};
    map["a"].destroy();
    EXPECT_FALSE(SaveIniFile(mPath, map, false));
    // The values of a section are copied on their way, and a copy of such a value is empty.
    Map section;
    section["s"] = Map{{"a", 1}};
    section.editValuePath("s/a", 1, '/').destroy();
    EXPECT_FALSE(SaveIniFile(mPath, section, false));
    EXPECT_THAT(mLog.getMessages(),
                ElementsAre("saveVariantToIni unsupported variant type (16) for key a",
                            "saveVariantToIni unsupported variant type (0) for key a"));
}

TEST_F(SaveIniFileTest, WritesNoListAtTheTop)
{
    EXPECT_FALSE(SaveIniFile(mPath, {{"a", List{1}}}, false));
    EXPECT_EQ(read(), "[General]\n");
    EXPECT_THAT(mLog.getMessages(),
                ElementsAre("saveVariantToIni unsupported variant type (11) for key a"));
}

TEST_F(SaveIniFileTest, WritesAListOfASectionWhenOneValueIsLeftOfIt)
{
    EXPECT_EQ(save({{"s", Map{{"a", List{1}}, {"b", List{"x", "x"}}, {"c", List()}}}}),
              "[General]\n\n[s]\na/=1\nb/=x\n");
    EXPECT_FALSE(SaveIniFile(mPath, {{"s", Map{{"a", List{1, 2}}}}}, false));
    EXPECT_THAT(mLog.getMessages(),
                ElementsAre("saveVariantToIni unsupported variant type (11) for key a/"));
}

// --- The whole file

struct FileRow {
    const char* name;
    Map map;
    const char* text;
};

std::vector<FileRow> getFileRows()
{
    return {
        {"Empty", {}, "[General]\n"},
        {"Flat", {{"b", 1}, {"a", "x"}}, "[General]\na=x\nb=1\n"},
        {"Nested", {{"m", Map{{"a", Map{{"b", 1}}}}}}, "[General]\n\n[m]\na/b=1\n"},
        {"EmptySection", {{"m", Map()}}, "[General]\n\n[m]\n"},
        {"SectionOfEmptyMaps", {{"m", Map{{"n", Map()}}}}, "[General]\n\n[m]\n"},
        {"ScalarsAheadOfSections",
         {{"a", Map{{"x", 1}}}, {"b", 2}, {"c", Map{{"y", 3}}}},
         "[General]\nb=2\n\n[a]\nx=1\n\n[c]\ny=3\n"},
        {"MapNamedGeneral",
         {{"General", Map{{"b", 2}, {"m", Map{{"n", 3}}}}}, {"Z", 4}, {"a", 1}},
         "[General]\nZ=4\na=1\nb=2\nm/n=3\n"},
        {"ValueNamedGeneral", {{"General", 1}, {"H", 2}}, "[General]\nGeneral=1\nH=2\n"},
        {"GeneralInOtherCase", {{"general", Map{{"a", 1}}}}, "[General]\n\n[general]\na=1\n"},
        {"EmptyKeys", {{"", 1}, {"m", Map{{"", 2}}}}, "[General]\n=1\n\n[m]\n=2\n"},
        {"EmptySectionName", {{"", Map{{"a", 1}}}}, "[General]\n\n[]\na=1\n"},
        {"KeysAreWrittenAsTheyAre",
         {{"a=b", 1}, {"m]\n", Map{{" k\\", 2}}}},
         "[General]\na=b=1\n\n[m]\n]\n k\\=2\n"},
        {"Order",
         {{"m", Map{{"a", Map{{"b", 1}}}, {"a.", 2}, {"a0", 3}}}},
         "[General]\n\n[m]\na.=2\na/b=1\na0=3\n"},
    };
}

class SaveIniFileWhole : public IniFixture, public ::testing::WithParamInterface<FileRow> {};

TEST_P(SaveIniFileWhole, IsWrittenAsItsRow)
{
    mFolder.write(kName, std::string(1000, 'x'));
    EXPECT_TRUE(SaveIniFile(mPath, GetParam().map, false));
    EXPECT_EQ(read(), GetParam().text);
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Rows, SaveIniFileWhole, ::testing::ValuesIn(getFileRows()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(SaveIniFileTest, ReadsBackWhatItWrote)
{
    const Map map{{"a", 1},
                  {"b", "he said \"x\""},
                  {"c", true},
                  {"m", Map{{"a", Map{{"b", 1}}}, {"t", "\t\r\n"}}},
                  {"x", Map{{"y", Map{{"z", 0.5}}}}}};
    EXPECT_EQ(loadText(save(map)), describe(map));
}

TEST_F(SaveIniFileTest, ReadsSomeTextsBackAsSomethingElse)
{
    EXPECT_EQ(loadText(save(
                  {{"a", "12"}, {"b", " x "}, {"c", "TRUE"}, {"d", R"(a\nb)"}, {"e", 3.14159265}})),
              R"({"a": 12, "b": "x", "c": true, "d": "a\\\x0ab", "e": 3.14159})");
}

TEST_F(SaveIniFileTest, WritesTreesOfChanceAsThePlainForm)
{
    const MemoryFile file;
    std::size_t whole = 0;
    for (unsigned int seed = 0; seed != 1000; ++seed) {
        const Map map = TreeMaker(seed).makeMap(3);
        const plain::IniSave wanted = plain::saveIni(map);
        mLog.clear();
        ASSERT_EQ(SaveIniFile(file.getPath(), map, false), wanted.isWhole) << seed << map;
        ASSERT_EQ(file.read(), wanted.text) << seed << map;
        ASSERT_EQ(mLog.getMessages(), wanted.isWhole ? std::vector<std::string>()
                                                     : std::vector<std::string>{wanted.warning});
        whole += wanted.isWhole ? 1 : 0;
    }
    EXPECT_GT(whole, 200U);
}

// --- Merging

struct MergeRow {
    const char* name;
    const char* present;
    Map map;
    const char* text;
};

std::vector<MergeRow> getMergeRows()
{
    return {
        {"BothEmpty", "", {}, "[General]\n"},
        {"Nothing", "b=1\n[s]\na=2\n", {}, "[General]\nb=1\n\n[s]\na=2\n"},
        {"NewKeys", "a=1\n", {{"b", 2}}, "[General]\na=1\nb=2\n"},
        {"OldKeys", "a=1\nb=1\n", {{"a", 2}}, "[General]\na=2\nb=1\n"},
        {"EqualStrings", "a=x\n", {{"a", "x"}}, "[General]\na=x\n"},
        {"Sections",
         "[s]\na=1\nb=1\n[t]\nc=1\n",
         {{"s", Map{{"b", 2}, {"d", 2}}}},
         "[General]\n\n[s]\na=1\nb=2\nd=2\n\n[t]\nc=1\n"},
        {"ScalarGivesWayToAMap", "a=1\n", {{"a", Map{{"b", 2}}}}, "[General]\n\n[a]\nb=2\n"},
        {"MapGivesWayToAScalar", "[a]\nb=1\n", {{"a", 2}}, "[General]\na=2\n"},
        {"EmptySectionsAreLost", "[s]\n", {{"m", Map()}}, "[General]\n"},
        {"CommentsAndBadLinesAreLost", "; c\nx\na=1\n", {}, "[General]\na=1\n"},
        {"ValuesAreTyped", "a=0x10\nb=TRUE\nc=1e3\n", {}, "[General]\na=16\nb=true\nc=1000\n"},
        {"ListOfASection",
         "[s]\na=1\n",
         {{"s", Map{{"l", List{5}}}}},
         "[General]\n\n[s]\na=1\nl/=5\n"},
        {"ListAtTheTop", "a=1\n", {{"l", List{5}}}, "[General]\na=1\n\n[l]\n=5\n"},
        {"MapNamedGeneral", "a=1\n", {{"General", Map{{"b", 2}}}}, "[General]\na=1\nb=2\n"},
        {"FlatKeysThatMeet", "", {{"s", Map{{"a", "x"}}}, {"s/a", "x"}}, "[General]\n\n[s]\na=x\n"},
    };
}

class SaveIniFileMerge : public IniFixture, public ::testing::WithParamInterface<MergeRow> {};

TEST_P(SaveIniFileMerge, IsWrittenAsItsRow)
{
    mFolder.write(kName, GetParam().present);
    EXPECT_TRUE(SaveIniFile(mPath, GetParam().map, true));
    EXPECT_EQ(read(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Rows, SaveIniFileMerge, ::testing::ValuesIn(getMergeRows()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(SaveIniFileTest, MergesWithNothingWhereNoFileIs)
{
    EXPECT_EQ(save({{"a", 1}, {"m", Map()}}, true), "[General]\na=1\n\n[m]\n");
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

TEST_F(SaveIniFileTest, ReplacesTheContentWithoutAMerge)
{
    mFolder.write(kName, "a=1\n");
    EXPECT_EQ(save({{"b", 2}}), "[General]\nb=2\n");
}

// The list comes under the empty key of a map that is named as the list, and is flattened again.
TEST_F(SaveIniFileTest, FailsForAListOfSeveralValuesAfterAMerge)
{
    mFolder.write(kName, "a=1\n");
    EXPECT_FALSE(SaveIniFile(mPath, {{"s", Map{{"l", List{1, 2}}}}}, true));
    EXPECT_EQ(read(), "[General]\na=1\n\n[s]\n");
    EXPECT_THAT(mLog.getMessages(),
                ElementsAre("saveVariantToIni unsupported variant type (11) for key l//"));
}

TEST_F(SaveIniFileTest, ReportsTheBadLinesOfTheFileThatItMergesWith)
{
    mFolder.write(kName, "x\na=1\n");
    EXPECT_EQ(save({}, true), "[General]\na=1\n");
    EXPECT_THAT(mLog.getLines(), ElementsAre(warning("Invalid line (", 0)));
}

TEST_F(SaveIniFileTest, MergesTreesOfChanceAsThePlainForm)
{
    const MemoryFile file;
    for (unsigned int seed = 0; seed != 500; ++seed) {
        TreeMaker maker(seed);
        const std::string content = plain::saveIni(maker.makeMap(3)).text;
        const Map map = maker.makeMap(3);
        file.write(content);
        Map present;
        plain::loadIni(content, file.getPath(), present);
        const plain::IniSave wanted = plain::saveIni(plain::mergeIni(present, map));
        ASSERT_EQ(SaveIniFile(file.getPath(), map, true), wanted.isWhole) << seed << map;
        ASSERT_EQ(file.read(), wanted.text) << seed << map;
    }
}

// --- Failures

TEST_F(SaveIniFileTest, FailsWhereNoFileCanBeMade)
{
    for (const std::string& path : {mFolder.getPath(), mFolder.getPath("none/file"), std::string(),
                                    mFolder.getPath(std::string(300, 'x'))}) {
        EXPECT_FALSE(SaveIniFile(path, {{"a", 1}}, false)) << path;
        EXPECT_FALSE(SaveIniFile(path, {{"a", 1}}, true)) << path;
    }
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

// A socket stands in the file system, but nothing opens it.
TEST_F(SaveIniFileTest, LeavesAloneWhatItCanNotLoad)
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    ASSERT_LT(mPath.size(), sizeof address.sun_path);
    std::memcpy(address.sun_path, mPath.data(), mPath.size());
    ASSERT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_FALSE(SaveIniFile(mPath, {{"a", 1}}, true));
    EXPECT_THAT(mLog.getLines(), ElementsAre("WARNING Fail to load " + mPath));
    EXPECT_TRUE(std::filesystem::is_socket(mPath));
    ::close(fd);
}

TEST_F(SaveIniFileTest, LeavesTheFileAloneWithoutTheRightToReadIt)
{
    mFolder.write(kName, "a=1\n");
    std::filesystem::permissions(mFolder.getPath(), std::filesystem::perms(0755));
    std::filesystem::permissions(mPath, std::filesystem::perms(0222));
    const support::ChildResult result = support::runInChild([&] {
        support::becomeNobody();
        const bool isSaved = SaveIniFile(mPath, {{"b", 1}}, true);
        const std::vector<std::string> wanted{"WARNING Fail to load " + mPath};
        return isSaved || mLog.getLines() != wanted ? 1 : 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    std::filesystem::permissions(mPath, std::filesystem::perms(0644));
    EXPECT_EQ(read(), "a=1\n");
}

TEST_F(SaveIniFileTest, LeavesTheFileAloneWithoutTheRightToWriteIt)
{
    mFolder.write(kName, "a=1\n");
    std::filesystem::permissions(mFolder.getPath(), std::filesystem::perms(0755));
    std::filesystem::permissions(mPath, std::filesystem::perms(0444));
    const support::ChildResult result = support::runInChild([&] {
        support::becomeNobody();
        const bool isSaved =
            SaveIniFile(mPath, {{"b", 1}}, true) || SaveIniFile(mPath, {{"b", 1}}, false);
        return isSaved || !mLog.getLines().empty() ? 1 : 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(read(), "a=1\n");
}

TEST_F(SaveIniFileTest, FailsOnAFullDiskWithoutAReport)
{
    EXPECT_FALSE(SaveIniFile("/dev/full", {{"a", 1}, {"s", Map{{"b", 2}}}}, false));
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

// Nothing is written after the write that failed, so no line is missing between others.
TEST_F(SaveIniFileTest, LeavesAShortFileWhenTheDiskIsFull)
{
    const Map map{{"a", std::string(50, 'x')}, {"b", 1}, {"c", 2}};
    const std::string whole = save(map);
    {
        const support::FileSizeLimit limit(40);
        EXPECT_FALSE(SaveIniFile(mPath, map, false));
    }
    EXPECT_EQ(read(), whole.substr(0, 40));
    EXPECT_THAT(mLog.getLines(), IsEmpty());
}

TEST_F(SaveIniFileTest, StillFailsForAValueWhenTheDiskIsFull)
{
    EXPECT_FALSE(SaveIniFile("/dev/full", {{"a", makeVec3()}}, false));
    EXPECT_THAT(mLog.getMessages(),
                ElementsAre("saveVariantToIni unsupported variant type (6) for key a"));
}

// A file is read with the C forms of numbers, so it must be written with them.
TEST_F(SaveIniFileTest, WritesTheSameNumbersInEveryGlobalLocale)
{
    const Map map{{"i", 1234567}, {"r", 1234.5}, {"t", true}, {"s", Map{{"x", -0.25}}}};
    const std::string expected = save(map);
    const GlobalLocale locale(makeGroupedLocale());
    EXPECT_EQ(save(map), expected);
    Map loaded;
    EXPECT_TRUE(LoadIniFile(mPath, loaded));
    EXPECT_EQ(describe(loaded), describe(map));
}

TEST_F(SaveIniFileTest, WritesRealsWithSixDigits)
{
    EXPECT_EQ(save({{"a", 1.0 / 3}, {"b", 1e300}, {"c", 123456789.0}, {"d", -0.0}}),
              "[General]\na=0.333333\nb=1e+300\nc=1.23457e+08\nd=-0\n");
}

TEST_F(SaveIniFileTest, WritesThroughLinksAndKeepsTheModeOfTheFile)
{
    const std::string link = mFolder.getPath("link");
    mFolder.write(kName, "old");
    std::filesystem::permissions(mPath, std::filesystem::perms(0600));
    std::filesystem::create_symlink(mPath, link);
    EXPECT_TRUE(SaveIniFile(link, {{"a", 1}}, true));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(read(), "[General]\na=1\n");
    EXPECT_EQ(std::filesystem::status(mPath).permissions(), std::filesystem::perms(0600));
}

TEST_F(SaveIniFileTest, MakesAFileThatTheMaskLetsRead)
{
    const mode_t before = ::umask(027);
    save({});
    ::umask(before);
    EXPECT_EQ(std::filesystem::status(mPath).permissions(), std::filesystem::perms(0640));
}

TEST_F(SaveIniFileTest, KeepsNoDescriptor)
{
    const std::size_t before = support::countOpenDescriptors();
    save({{"a", 1}}, true);
    SaveIniFile(mPath, {{"a", makeVec3()}}, true);
    EXPECT_EQ(support::countOpenDescriptors(), before);
}

TEST_F(SaveIniFileTest, PassesALackOfMemoryOnAndKeepsNothing)
{
    const Map map{{"a", std::string(100, 'x')}, {"s", Map{{"m", Map{{"b", "y"}}}}}};
    mFolder.write(kName, "c=1\n[s]\nd=2\n");
    const std::size_t descriptors = support::countOpenDescriptors();
    bool result = false;
    support::failEachAllocation(
        [&] {
            {
                const support::AllocationPause ownWork;
                mFolder.write(kName, "c=1\n[s]\nd=2\n");
            }
            result = SaveIniFile(mPath, map, true);
        },
        [&](const support::AllocationFailure&) {
            EXPECT_EQ(support::countOpenDescriptors(), descriptors);
        });
    EXPECT_TRUE(result);
    EXPECT_EQ(read(), "[General]\na=" + std::string(100, 'x') + "\nc=1\n\n[s]\nd=2\nm/b=y\n");
}

// The warning comes in the middle of the writing, on this thread.
TEST_F(SaveIniFileTest, HasWrittenEachLineBeforeTheNextOne)
{
    struct Reader {
        static void Receive(std::list<qzLog::LogEntry>& /*batch*/, void* reader)
        {
            auto& self = *static_cast<Reader*>(reader);
            self.content = support::readFile(self.path);
        }
        std::string path;
        std::string content;
    };
    Reader reader{mPath, ""};
    qzLog::msInstance->installCustomHandler(nullptr, nullptr);
    ASSERT_TRUE(qzLog::msInstance->installCustomHandler(&Reader::Receive, &reader));
    EXPECT_FALSE(SaveIniFile(mPath, {{"a", 1}, {"b", 2}, {"c", List{1}}}, /*merge=*/false));
    qzLog::msInstance->installCustomHandler(nullptr, nullptr);
    EXPECT_EQ(reader.content, "[General]\na=1\nb=2\n");
}

}  // namespace

}  // namespace qz
