// SPDX-License-Identifier: MIT
#include "text/LocalPath.h"

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"

namespace qz {

namespace {

struct LocalPathRow {
    const char* name;
    const char* locale;
    std::string path;
    std::string localPath;  // empty for a path that the local set can't hold
};

const LocalPathRow kLocalPathRows[] = {
    {"Empty", "C", "", ""},
    {"Ascii", "C", "a/b.txt", "a/b.txt"},
    {"NoCharacterBeyondAscii", "C", "a/\u00e4.txt", ""},
    {"NoneAfterAZeroByte", "C", std::string("a\0\u00e4", 4), ""},
    {"ZeroByte", "C", std::string("a\0b", 3), std::string("a\0b", 3)},
    {"Latin1", "de_DE.ISO-8859-1", "a/\u00e4.txt", "a/\xE4.txt"},
    {"NoEuro", "de_DE.ISO-8859-1", "\u20ac", ""},
    {"NoEuroBesideAnUmlaut", "de_DE.ISO-8859-1", "\u00e4/\u20ac", ""},
    {"NoKanjiInLatin1", "de_DE.ISO-8859-1", "\u65e5", ""},
    {"Kanji", "ja_JP.EUC-JP", "\u65e5\u672c", "\xC6\xFC\xCB\xDC"},
    {"NoUmlautInJapanese", "ja_JP.EUC-JP", "\u20ac.txt", ""},
    // One byte each, and three in UTF-8: `convertCharset` has no buffer for the way back.
    {"Euros", "de_DE.ISO-8859-15", "\u20ac\u20ac\u20ac\u20ac", "\xA4\xA4\xA4\xA4"},
    {"Utf8", "de_DE.UTF-8", "\u00e4\u20ac\u65e5", "\u00e4\u20ac\u65e5"},
    {"IllFormed", "de_DE.UTF-8", "a\xFF", ""},
};

class LocalPath : public ::testing::TestWithParam<LocalPathRow> {};

TEST_P(LocalPath, NeverNamesAnotherFile)
{
    const LocalPathRow& row = GetParam();
    const support::ChildResult child = support::runInChild([&row] {
        const support::EnvironmentLocale locale(row.locale);
        const support::LibraryStart library;
        EXPECT_EQ(text::toLocal(row.path), row.localPath);
        std::fflush(stdout);
        return ::testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0") << child.out << child.err;
}

INSTANTIATE_TEST_SUITE_P(Rows, LocalPath, ::testing::ValuesIn(kLocalPathRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(LocalPathEnd, IsTheFirstZeroByte)
{
    EXPECT_EQ(text::endAtZeroByte(std::string("a\0b", 3)), "a");
    EXPECT_EQ(text::endAtZeroByte("ab"), "ab");
    EXPECT_EQ(text::endAtZeroByte(std::string("\0b", 2)), "");
}

TEST(LocalPathWithoutStart, NamesNothing)
{
    EXPECT_EQ(text::toLocal("a"), "");
}

}  // namespace

}  // namespace qz
