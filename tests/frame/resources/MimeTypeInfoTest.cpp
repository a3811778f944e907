// SPDX-License-Identifier: MIT
#include <qz/MimeTypeInfo.h>

#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "io/VirtualSlots.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"

namespace qz {

namespace {

constexpr auto kYes = MimeTypeInfo::CompressibleYes;
constexpr auto kNo = MimeTypeInfo::CompressibleNo;
constexpr auto kUnknown = MimeTypeInfo::CompressibleUnknown;

static_assert(kYes == 0 && kNo == 1 && kUnknown == 2);
static_assert(sizeof(MimeTypeInfo::Compressible) == 4);
static_assert(sizeof(MimeTypeInfo) == 40);
static_assert(!std::is_polymorphic_v<MimeTypeInfo>);
static_assert(std::is_constructible_v<MimeTypeInfo, std::string&&, MimeTypeInfo::Compressible>);
static_assert(!std::is_constructible_v<MimeTypeInfo, std::string&, MimeTypeInfo::Compressible>);

const MimeTypeInfo& look(const std::string& nameOrExtension)
{
    return MimeTypeInfo::GetMimeTypeInfoFromFileNameOrExt(nameOrExtension);
}

std::string toUpper(std::string text)
{
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

struct TypeRow {
    const char* key;
    const char* type;
    MimeTypeInfo::Compressible compressible;
};

const TypeRow kTypeRows[] = {
    {"7z", "application/x-7z-compressed", kNo},
    {"bin", "application/octet-stream", kNo},
    {"bmp", "image/bmp", kYes},
    {"boz", "application/x-bzip2", kNo},
    {"bz", "application/x-bzip", kNo},
    {"bz2 ", "application/x-bzip2", kNo},
    {"cgr", "application/octet-stream", kYes},
    {"css", "text/css", kYes},
    {"csv", "text/csv", kYes},
    {"dae", "application/xml", kYes},
    {"eot", "application/vnd.ms-fontobject", kNo},
    {"fbx", "application/octet-stream", kYes},
    {"gif", "image/gif", kYes},
    {"glb", "application/octet-stream", kYes},
    {"gltf", "text/plain", kYes},
    {"gz", "application/gzip", kNo},
    {"htm", "text/html", kYes},
    {"html", "text/html", kYes},
    {"ico", "image/x-icon", kYes},
    {"jpeg", "image/jpeg", kNo},
    {"jpg", "image/jpeg", kNo},
    {"js", "application/javascript", kYes},
    {"js.map", "application/json", kYes},
    {"json", "application/json", kYes},
    {"jt", "application/octet-stream", kYes},
    {"mp3", "audio/mpeg", kNo},
    {"mp4", "video/mp4", kNo},
    {"mpeg", "video/mpeg", kNo},
    {"mtl", "text/plain", kYes},
    {"obj", "text/plain", kYes},
    {"otf", "font/otf", kNo},
    {"pdf", "application/pdf", kNo},
    {"png", "image/png", kNo},
    {"rar", "application/x-rar-compressed", kNo},
    {"rtf", "application/rtf", kYes},
    {"sat", "text/plain", kYes},
    {"step", "text/plain", kYes},
    {"stl", "application/octet-stream", kYes},
    {"stp", "text/plain", kYes},
    {"svg", "image/svg+xml", kYes},
    {"svgz", "image/svg+xml", kNo},
    {"tar", "application/x-tar", kYes},
    {"text", "text/plain", kYes},
    {"tif", "image/tiff", kYes},
    {"tiff", "image/tiff", kYes},
    {"ttf", "font/ttf", kYes},
    {"txt", "text/plain", kYes},
    {"weba", "audio/webm", kNo},
    {"webm", "video/webm", kNo},
    {"webmanifest", "application/manifest+json", kYes},
    {"webp", "image/webp", kNo},
    {"woff", "font/woff", kNo},
    {"woff2", "font/woff2", kNo},
    {"wrml", "text/plain", kYes},
    {"wrz", "application/octet-stream", kNo},
    {"xml", "application/xml", kYes},
    {"xsl", "application/xml", kYes},
    {"zip", "application/zip", kNo},
};

static_assert(std::size(kTypeRows) == 58);

}  // namespace

class MimeTypeInfoRow : public ::testing::TestWithParam<TypeRow> {
protected:
    support::LibraryStart mLibrary;
};

TEST_P(MimeTypeInfoRow, IsFoundByNamePathAndBareExtension)
{
    const std::string key = GetParam().key;
    for (const std::string& asked :
         {"file." + key, "FILE." + toUpper(key), "a.b/c d/e." + key, "/abs/olute.tar." + key,
          "dir\\file." + key, ".hidden." + key, key, toUpper(key)}) {
        const MimeTypeInfo& found = look(asked);
        EXPECT_EQ(found.type, GetParam().type) << asked;
        EXPECT_EQ(found.compressible, GetParam().compressible) << asked;
    }
}

TEST_P(MimeTypeInfoRow, IsOneRecord)
{
    EXPECT_EQ(&look("a." + std::string(GetParam().key)), &look(GetParam().key));
}

INSTANTIATE_TEST_SUITE_P(Rows, MimeTypeInfoRow, ::testing::ValuesIn(kTypeRows),
                         [](const auto& row) {
                             std::string name = row.param.key;
                             for (char& c : name) {
                                 if (c == '.') c = '_';
                                 if (c == ' ') c = 'X';
                             }
                             return name;
                         });

// --- Names

struct NameRow {
    const char* name;
    std::string asked;
    const char* type;  // empty for the unknown kind
};

const NameRow kNameRows[] = {
    {"UpperCase", "photo.JPG", "image/jpeg"},
    {"LastPartOfTwo", "a/b/c.tar.gz", "application/gzip"},
    {"BothParts", "bundle.js.map", "application/json"},
    {"BothPartsUpperCase", "Bundle.JS.Map", "application/json"},
    {"BareBothParts", "js.map", "application/json"},
    {"BareUpperCase", "PNG", "image/png"},
    {"OnlyTheSecondPartIsKnown", "photo.png.unknown", ""},
    {"OtherBothParts", "styles.css.map", ""},
    {"NoRow", "file.unknown", ""},
    {"NoRowOfTheLetters", "archive.bz2", ""},
    {"BareWithoutTheBlank", "bz2", ""},
    {"WithTheBlank", "archive.bz2 ", "application/x-bzip2"},
    {"Empty", "", ""},
    {"BlankOnly", " ", ""},
    {"NoExtension", "Makefile", ""},
    {"FolderOnly", "photos.png/", ""},
    {"ExtensionOfTheFolder", "photos.png/file", ""},
    {"BareExtensionInAFolder", "folder/png", ""},
    {"HiddenFile", ".png", ""},
    {"HiddenFileWithAnExtension", ".photo.png", "image/png"},
    {"TrailingDot", "photo.png.", ""},
    {"DotOnly", ".", ""},
    {"TwoDots", "photo..png", "image/png"},
    {"NumberedVolume", "archive.7z.001", ""},
    {"NumberAheadOfTheLastPart", "archive.001.7z", "application/x-7z-compressed"},
    {"BlankBehind", "photo.png ", ""},
    {"BlankAhead", "photo. png", ""},
    {"EmbeddedZero", std::string("photo.pn\0g", 10), ""},
    {"ZeroBehind", std::string("photo.png\0", 10), ""},
    {"NotUtf8", "\xE9t\xE9.png", "image/png"},
    {"HighBytesInTheExtension", "photo.p\xC9g", ""},
};

class MimeTypeInfoName : public ::testing::TestWithParam<NameRow> {
protected:
    support::LibraryStart mLibrary;
};

TEST_P(MimeTypeInfoName, IsOfTheTypeOfItsRow)
{
    const MimeTypeInfo& found = look(GetParam().asked);
    EXPECT_EQ(found.type, GetParam().type);
    EXPECT_EQ(found.compressible == kUnknown, found.type.empty());
}

INSTANTIATE_TEST_SUITE_P(Rows, MimeTypeInfoName, ::testing::ValuesIn(kNameRows),
                         [](const auto& row) { return std::string(row.param.name); });

// --- The class

TEST(MimeTypeInfoTest, IsUnknownByDefault)
{
    const MimeTypeInfo info;
    EXPECT_EQ(info.type, "");
    EXPECT_EQ(info.compressible, kUnknown);
}

TEST(MimeTypeInfoTest, HoldsWhatItIsGiven)
{
    std::string type = "application/x-a-type-that-is-long";
    const MimeTypeInfo info(std::move(type), kNo);
    EXPECT_EQ(info.type, "application/x-a-type-that-is-long");
    EXPECT_EQ(info.compressible, kNo);
}

TEST(MimeTypeInfoTest, HasItsTypeBeforeTheRest)
{
    const MimeTypeInfo info("image/png", kNo);
    EXPECT_EQ(static_cast<const void*>(&info.type), &info);
    EXPECT_EQ(readField<int>(&info, sizeof(std::string)), kNo);
}

TEST(MimeTypeInfoTest, GivesOneRecordForAllThatIsUnknown)
{
    const support::LibraryStart library;
    EXPECT_EQ(&look("a.unknown"), &look(""));
}

TEST(MimeTypeInfoTest, FindsANameOfManyParts)
{
    const support::LibraryStart library;
    std::string name(70'000, '.');
    EXPECT_EQ(look(name + "png").type, "") << "more parts than any extension has";
    name.resize(60'000);
    EXPECT_EQ(look(name + "png").type, "image/png");
}

TEST(MimeTypeInfoTest, FindsAllInOtherLocales)
{
    for (const char* locale : {"de_DE.ISO-8859-1", "fr_FR.UTF-8", "ja_JP.EUC-JP"}) {
        const support::LocaleGuard guard(locale);
        const support::LibraryStart library;
        for (const TypeRow& row : kTypeRows)
            EXPECT_EQ(look("FILE." + toUpper(row.key)).type, row.type) << locale;
    }
}

TEST(MimeTypeInfoTest, KnowsNothingBeforeTheFirstStartAndForgetsNothingByAStop)
{
    const support::ChildResult result = support::runProgram({.program = "mime_types"});
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
    EXPECT_EQ(result.out,
              "loaded: unknown unknown unknown\n"
              "started: image/png application/json unknown\n"
              "stopped: image/png application/json unknown\n"
              "started again: image/png application/json unknown\n"
              "the same records\n");
}

}  // namespace qz
