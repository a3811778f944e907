// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ext/process/LineSplitter.h"

namespace {

using qz::ext::LineSplitter;

// The plain reference: all bytes at once.
std::vector<std::string> split(const std::string& text, std::size_t maxLineBytes)
{
    std::vector<std::string> lines;
    std::string line;
    bool isCut = false;
    for (const char byte : text) {
        if (byte == '\n') {
            if (!isCut || !line.empty()) lines.push_back(line);
            line.clear();
            isCut = false;
            continue;
        }
        line += byte;
        if (line.size() < maxLineBytes) continue;
        lines.push_back(line);
        line.clear();
        isCut = true;
    }
    if (!line.empty()) lines.push_back(line);
    return lines;
}

// All texts of a length over an alphabet of three bytes.
std::vector<std::string> makeTexts(std::size_t size)
{
    std::vector<std::string> texts = {""};
    for (std::size_t i = 0; i < size; ++i) {
        std::vector<std::string> longer;
        for (const std::string& text : texts) {
            for (const char byte : {'a', '\n', '\0'})
                longer.push_back(text + byte);
        }
        texts = longer;
    }
    return texts;
}

TEST(LineSplitterTest, CutsEveryTextAtEveryBoundaryLikeTheReference)
{
    for (const std::string& text : makeTexts(7)) {
        for (const std::size_t maxLineBytes : {1U, 2U, 3U, 100U}) {
            for (std::size_t boundary = 0; boundary <= text.size(); ++boundary) {
                std::vector<std::string> lines;
                LineSplitter splitter([&](std::string_view line) { lines.emplace_back(line); },
                                      maxLineBytes);
                splitter.add(std::string_view(text).substr(0, boundary));
                splitter.add(std::string_view(text).substr(boundary));
                splitter.finish();
                ASSERT_EQ(lines, split(text, maxLineBytes))
                    << ::testing::PrintToString(text) << " at " << boundary << ", pieces of "
                    << maxLineBytes;
            }
        }
    }
}

TEST(LineSplitterTest, MakesProgressWithoutALimitAboveZero)
{
    std::vector<std::string> lines;
    LineSplitter splitter([&](std::string_view line) { lines.emplace_back(line); }, 0);
    splitter.add("ab\n");
    EXPECT_EQ(lines, (std::vector<std::string>{"a", "b"}));
}

}  // namespace
