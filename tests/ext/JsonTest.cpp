// The code about JSON in the guide and in the header.

#include <cmath>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ext/Json.h>
#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzLogObject.h>
#include <qz/qzVariant.h>

#include "ext/GuideBlocks.h"
#include "ext/JsonFixture.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

namespace guide {

bool loadSettings(const std::string& path, qz::qzVariant& settings)
{
    qz::qzIoDeviceFileStream file(path, qz::qzIoDevice::DataWayRead, /*truncate=*/false);
    qz::ext::JsonReadResult read = qz::ext::readJson(file);
    if (!read.isSuccess()) {
        qz::logWarning() << path << ": " << read.error.toString();
        return false;
    }
    settings = std::move(read.value);
    return true;
}

std::string toPrettyText(const qz::qzVariant& value)
{
    qz::ext::JsonWriteOptions options;
    options.indentation = 2;
    std::string text;
    if (const qz::ext::JsonError error = qz::ext::writeJson(value, text, options))
        qz::logWarning() << error.toString();
    return text;
}

std::vector<qz::qzVariant> readLines(std::string_view text)
{
    qz::ext::JsonReadOptions options;
    options.allowsTrailingText = true;
    std::vector<qz::qzVariant> values;
    while (text.find_first_not_of(" \t\r\n") != std::string_view::npos) {
        qz::ext::JsonReadResult read = qz::ext::readJson(text, options);
        if (!read.isSuccess()) break;
        values.push_back(std::move(read.value));
        text.remove_prefix(read.endOffset);
    }
    return values;
}

}  // namespace guide

namespace qz::ext {

using ::testing::HasSubstr;

namespace {

std::string fail(const std::string& error)
{
    return error;
}

// The example of the header.
std::string addPort(std::string_view settings)
{
    qz::ext::JsonReadResult read = qz::ext::readJson(settings);
    if (!read.isSuccess()) return fail(read.error.toString());
    qz::qzVariant::qzVariantMapImpl* const map = read.value.editMap();
    if (map == nullptr) return fail("no settings");
    (*map)["port"] = 8080;
    std::string text;
    const qz::ext::JsonError error = qz::ext::writeJson(read.value, text);
    if (error) return fail(error.toString());
    return text;
}

TEST(JsonHeader, AddsAPort)
{
    EXPECT_EQ(addPort(R"({"name": "north"})"), R"({"name":"north","port":8080})");
    EXPECT_EQ(addPort(R"({"name":)"), "line 1, column 9: The text ends too early");
    EXPECT_EQ(addPort("1"), "no settings");
}

class JsonGuide : public ::testing::Test {
protected:
    support::LibraryStart mLibrary;
    support::ScratchFolder mFolder;
};

TEST_F(JsonGuide, IsTheCodeOfThisFile)
{
    const std::string source = readProjectFile("tests/ext/JsonTest.cpp");
    int count = 0;
    for (const std::string& block : readGuideBlocks("docs/guide-values.md")) {
        if (block.find("qz::ext::") == std::string::npos) continue;
        EXPECT_NE(source.find('\n' + block), std::string::npos) << block;
        ++count;
    }
    EXPECT_EQ(count, 3);
}

TEST_F(JsonGuide, LoadsSettings)
{
    qzVariant settings;
    EXPECT_TRUE(guide::loadSettings(mFolder.write("good.json", "{\"a\": [1, 2.5]}\n"), settings));
    EXPECT_EQ(settings, (Map{{"a", List{1, 2.5}}}));
    const support::LogCapture capture;
    EXPECT_FALSE(guide::loadSettings(mFolder.write("bad.json", "{\n\"a\": }"), settings));
    ASSERT_EQ(capture.getMessages().size(), 1U);
    EXPECT_THAT(capture.getMessages()[0], HasSubstr("line 2, column 6: A value is missing"));
    EXPECT_EQ(settings, (Map{{"a", List{1, 2.5}}}));
}

TEST_F(JsonGuide, MakesAPrettyText)
{
    EXPECT_EQ(guide::toPrettyText(Map{{"a", 1}}), "{\n  \"a\": 1\n}");
    const support::LogCapture capture;
    EXPECT_EQ(guide::toPrettyText(List{std::nan("")}), "");
    EXPECT_THAT(capture.getMessages(), ::testing::ElementsAre("[0]: A NaN has no form in JSON"));
}

TEST_F(JsonGuide, ReadsAValueALine)
{
    const std::vector<qzVariant> values = guide::readLines("{\"a\":1}\n[2]\n3\n");
    EXPECT_EQ(values, (std::vector<qzVariant>{Map{{"a", 1}}, List{2}, 3}));
    EXPECT_EQ(guide::readLines("1 x 2").size(), 1U);
}

}  // namespace

}  // namespace qz::ext
