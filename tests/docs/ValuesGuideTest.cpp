// SPDX-License-Identifier: MIT
// The code of the guide to values, and of the header for JSON, does what the text says.

#include <cmath>
#include <iterator>
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

#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

namespace guide {

#include "samples/load-settings.inc"

#include "samples/to-pretty-text.inc"

#include "samples/read-lines.inc"

}  // namespace guide

namespace qz::ext {

namespace {

using ::testing::HasSubstr;
using List = qzVariant::qzVariantListImpl;
using Map = qzVariant::qzVariantMapImpl;

TEST(ValuesGuideTest, EditsMapsAndLists)
{
#include "samples/maps-and-lists.inc"
    EXPECT_EQ(names, (List{"a", "b"}));
    EXPECT_EQ(map["count"], 2);
    EXPECT_EQ(map["names"], names);
}

std::string fail(const std::string& error)
{
    return error;
}

std::string addPort(std::string_view settings)
{
#include "samples/ext/Json.1.inc"
    return text;
}

TEST(JsonHeaderTest, AddsAPort)
{
    EXPECT_EQ(addPort(R"({"name": "north"})"), R"({"name":"north","port":8080})");
    EXPECT_EQ(addPort(R"({"name":)"), "line 1, column 9: The text ends too early");
    EXPECT_EQ(addPort("1"), "no settings");
}

class JsonGuideTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary;
    support::ScratchFolder mFolder;
};

TEST_F(JsonGuideTest, LoadsSettings)
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

TEST_F(JsonGuideTest, MakesAPrettyText)
{
    EXPECT_EQ(guide::toPrettyText(Map{{"a", 1}}), "{\n  \"a\": 1\n}");
    const support::LogCapture capture;
    EXPECT_EQ(guide::toPrettyText(List{std::nan("")}), "");
    EXPECT_THAT(capture.getMessages(), ::testing::ElementsAre("[0]: A NaN has no form in JSON"));
}

TEST_F(JsonGuideTest, ReadsAValueALine)
{
    const std::vector<qzVariant> values = guide::readLines("{\"a\":1}\n[2]\n3\n");
    EXPECT_EQ(values, (std::vector<qzVariant>{Map{{"a", 1}}, List{2}, 3}));
    EXPECT_EQ(guide::readLines("1 x 2").size(), 1U);
}

}  // namespace

}  // namespace qz::ext
