// SPDX-License-Identifier: MIT
#include <qz/AsciiTableBuilder.h>

#include <iomanip>
#include <locale>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "text/PlainTable.h"

namespace qz {

using namespace std::string_literals;

namespace {

using EndOfRow = AsciiTableBuilder::EndOfRow;
using Fuse = AsciiTableBuilder::FuseWithNextCell;

static_assert(sizeof(Fuse) == 1 && std::is_empty_v<EndOfRow>);
static_assert(std::is_same_v<decltype(Fuse::count), unsigned char>);
static_assert(sizeof(AsciiTableBuilder) ==
              sizeof(std::list<std::list<AsciiTableBuilder::CellContent>>) + sizeof(std::string));

AsciiTableBuilder makeExample(const std::string& title)
{
    AsciiTableBuilder table(title);
    table << "a"
          << "bb" << EndOfRow{};
    table << "ccc"
          << "d" << EndOfRow{};
    return table;
}

}  // namespace

// --- Whole tables

TEST(AsciiTableBuilderTest, DrawsATableWithoutTitle)
{
    EXPECT_EQ(makeExample("").toString(),
              "\n┌─────┬────┐"
              "\n│ a   │ bb │"
              "\n├─────┼────┤"
              "\n│ ccc │ d  │"
              "\n└─────┴────┘");
}

TEST(AsciiTableBuilderTest, DrawsATitle)
{
    EXPECT_EQ(makeExample("X").toString(),
              "╒══════════╕\n"
              "│    X     │\n"
              "╞═════╤════╡\n"
              "│ a   │ bb │\n"
              "├─────┼────┤\n"
              "│ ccc │ d  │\n"
              "└─────┴────┘");
}

TEST(AsciiTableBuilderTest, DrawsAFusedCell)
{
    AsciiTableBuilder table("");
    table << Fuse{1} << "wide" << EndOfRow{} << "ab"
          << "cd" << EndOfRow{};
    EXPECT_EQ(table.toString(),
              "\n┌─────────┐"
              "\n│  wide   │"
              "\n├────┬────┤"
              "\n│ ab │ cd │"
              "\n└────┴────┘");
}

TEST(AsciiTableBuilderTest, DrawsFusedCellsBelowOthersAndAtTheBottom)
{
    AsciiTableBuilder table("T");
    table << "a"
          << "b"
          << "c" << EndOfRow{};
    table << "d" << Fuse{1} << "ef" << EndOfRow{};
    table << Fuse{2} << "ghi";
    EXPECT_EQ(table.toString(),
              "╒═══════════╕\n"
              "│     T     │\n"
              "╞═══╤═══╤═══╡\n"
              "│ a │ b │ c │\n"
              "├───┼───┴───┤\n"
              "│ d │  ef   │\n"
              "├───┴───────┤\n"
              "│    ghi    │\n"
              "└───────────┘");
}

TEST(AsciiTableBuilderTest, DrawsNothingThroughTheFirstLineOverFusedCells)
{
    AsciiTableBuilder table("");
    table << Fuse{1} << "ab"
          << "c";
    EXPECT_EQ(table.toString(),
              "\n┌─────┬───┐"
              "\n│ ab  │ c │"
              "\n└─────┴───┘");
}

TEST(AsciiTableBuilderTest, DrawsMissingCellsAsBlanksWithTheirBorders)
{
    AsciiTableBuilder table("");
    table << "a" << EndOfRow{} << "b"
          << "c"
          << "d" << EndOfRow{} << EndOfRow{} << "e";
    EXPECT_EQ(table.toString(),
              "\n┌───┬───┬───┐"
              "\n│ a │   │   │"
              "\n├───┼───┼───┤"
              "\n│ b │ c │ d │"
              "\n├───┼───┼───┤"
              "\n│   │   │   │"
              "\n├───┼───┼───┤"
              "\n│ e │   │   │"
              "\n└───┴───┴───┘");
}

TEST(AsciiTableBuilderTest, DrawsFusedCellsOverAShortRow)
{
    AsciiTableBuilder table("");
    table << Fuse{2} << "abc" << EndOfRow{} << "d" << EndOfRow{} << Fuse{1} << "e"
          << "f";
    EXPECT_EQ(table.toString(),
              "\n┌──────────┐"
              "\n│   abc    │"
              "\n├───┬──┬───┤"
              "\n│ d │  │   │"
              "\n├───┴──┼───┤"
              "\n│  e   │ f │"
              "\n└──────┴───┘");
}

TEST(AsciiTableBuilderTest, WidensTheLastColumnOnlyForALongTitle)
{
    EXPECT_EQ(makeExample("a title of 20 points").toString(),
              "╒════════════════════╕\n"
              "│a title of 20 points│\n"
              "╞═════╤══════════════╡\n"
              "│ a   │ bb           │\n"
              "├─────┼──────────────┤\n"
              "│ ccc │ d            │\n"
              "└─────┴──────────────┘");
}

// A line of the table has seven characters.
TEST(AsciiTableBuilderTest, WidensTheLastColumnJustAsFarAsATitleNeeds)
{
    const char* const lines[][3] = {
        {"1234", "│1234 │", "│ abc │"},
        {"12345", "│12345│", "│ abc │"},
        {"123456", "│123456│", "│ abc  │"},
        {"1234567", "│1234567│", "│ abc   │"},
    };
    for (const auto& [title, titleLine, cellLine] : lines) {
        AsciiTableBuilder table(title);
        table << std::string("abc");
        const std::string text = table.toString();
        EXPECT_NE(text.find(std::string("╕\n") + titleLine + "\n╞"), std::string::npos) << text;
        EXPECT_NE(text.find(std::string("╡\n") + cellLine + "\n└"), std::string::npos) << text;
    }
}

TEST(AsciiTableBuilderTest, SharesAWideSpanAmongItsColumnsRoundedUp)
{
    AsciiTableBuilder table("");
    table << Fuse{2} << "12345678";
    EXPECT_EQ(table.toString(),
              "\n┌──────────────┐"
              "\n│   12345678   │"
              "\n└──────────────┘");
}

TEST(AsciiTableBuilderTest, PutsTheOddBlankOnTheRight)
{
    AsciiTableBuilder table("");
    table << Fuse{1} << "1234" << EndOfRow{};
    EXPECT_EQ(table.toString(),
              "\n┌───────┐"
              "\n│ 1234  │"
              "\n└───────┘");
}

// --- Empty ones

TEST(AsciiTableBuilderTest, ReportsThatItIsEmpty)
{
    EXPECT_EQ(AsciiTableBuilder("").toString(), "## Empty Table ##");
    EXPECT_EQ(AsciiTableBuilder("x").toString(), "## Empty Table : x ##");
}

TEST(AsciiTableBuilderTest, IsEmptyWithRowsThatAreEmpty)
{
    AsciiTableBuilder table("x");
    table << EndOfRow{} << EndOfRow{} << EndOfRow{};
    EXPECT_EQ(table.toString(), "## Empty Table : x ##");
    EXPECT_EQ(table.getRowCount(), 2U);
}

TEST(AsciiTableBuilderTest, DrawsACellWithoutText)
{
    AsciiTableBuilder table("");
    table << std::string();
    EXPECT_EQ(table.toString(), "\n┌──┐\n│  │\n└──┘");
}

// --- Widths in code points

TEST(AsciiTableBuilderTest, CountsCodePoints)
{
    AsciiTableBuilder table("日本");
    table << "é"
          << "日本" << EndOfRow{} << "x"
          << "yy";
    EXPECT_EQ(table.toString(),
              "╒════════╕\n"
              "│   日本   │\n"
              "╞═══╤════╡\n"
              "│ é │ 日本 │\n"
              "├───┼────┤\n"
              "│ x │ yy │\n"
              "└───┴────┘");
}

TEST(AsciiTableBuilderTest, GivesMalformedTextNoWidth)
{
    AsciiTableBuilder table("");
    table << "ab\xE9" << EndOfRow{} << "c";
    EXPECT_EQ(table.toString(),
              "\n┌───┐"
              "\n│ ab\xE9  │"
              "\n├───┤"
              "\n│ c │"
              "\n└───┘");
}

TEST(AsciiTableBuilderTest, GivesMalformedTextInFusedCellsNoWidth)
{
    AsciiTableBuilder table("");
    table << Fuse{1} << "ab\xE9" << EndOfRow{} << "c"
          << "d";
    EXPECT_EQ(table.toString(),
              "\n┌───────┐"
              "\n│   ab\xE9    │"
              "\n├───┬───┤"
              "\n│ c │ d │"
              "\n└───┴───┘");
}

TEST(AsciiTableBuilderTest, GivesAMalformedTitleNoWidth)
{
    AsciiTableBuilder table("\xC0\x80");
    table << "c";
    EXPECT_EQ(table.toString(), "╒═══╕\n│ \xC0\x80  │\n╞═══╡\n│ c │\n└───┘");
}

// --- Fusing

TEST(AsciiTableBuilderTest, MakesAFusedCellAtTheEndOrdinary)
{
    AsciiTableBuilder table("");
    table << "a" << Fuse{1} << EndOfRow{} << "b"
          << "c";
    EXPECT_EQ(table.toString(),
              "\n┌───┬───┐"
              "\n│ a │   │"
              "\n├───┼───┤"
              "\n│ b │ c │"
              "\n└───┴───┘");
}

// It isn't joined with what comes later either.
TEST(AsciiTableBuilderTest, KeepsAFusedCellAtTheEndOrdinary)
{
    AsciiTableBuilder table("");
    table << Fuse{1};
    EXPECT_EQ(table.toString(), "\n┌──┐\n│  │\n└──┘");
    table << "a";
    EXPECT_EQ(table.toString(), "\n┌──┬───┐\n│  │ a │\n└──┴───┘");
}

TEST(AsciiTableBuilderTest, FusesNothingWithACountOfZero)
{
    AsciiTableBuilder table("");
    table << Fuse{0} << "a" << Fuse{0};
    EXPECT_EQ(table.toString(), "\n┌───┐\n│ a │\n└───┘");
}

TEST(AsciiTableBuilderTest, FusesUpTo255Cells)
{
    AsciiTableBuilder table("");
    table << Fuse{255} << "a";
    const std::string text = table.toString();
    // 256 columns of one and the lines between them
    EXPECT_EQ(PlainTable::count(text.substr(0, text.find('\n', 1))), 1U + 1 + 256 * 2);
}

// --- State

TEST(AsciiTableBuilderTest, CountsEndedRows)
{
    AsciiTableBuilder table("");
    EXPECT_EQ(table.getRowCount(), 0U);
    table << "a";
    EXPECT_EQ(table.getRowCount(), 0U);
    table << EndOfRow{};
    EXPECT_EQ(table.getRowCount(), 1U);
    table.toString();
    EXPECT_EQ(table.getRowCount(), 0U) << "the row under construction is gone";
}

TEST(AsciiTableBuilderTest, DrawsTheSameAgain)
{
    AsciiTableBuilder table = makeExample("X");
    const std::string text = table.toString();
    EXPECT_EQ(table.toString(), text);
    EXPECT_EQ(table.toString(), text);
}

TEST(AsciiTableBuilderTest, ExtendsTheLastEndedRowAfterADrawing)
{
    AsciiTableBuilder table("");
    table << "a" << EndOfRow{};
    table.toString();
    table << "b";
    EXPECT_EQ(table.toString(), "\n┌───┬───┐\n│ a │ b │\n└───┴───┘");
}

TEST(AsciiTableBuilderTest, StartsARowAfterTheOnlyOneWasDropped)
{
    AsciiTableBuilder table("");
    EXPECT_EQ(table.toString(), "## Empty Table ##");
    EXPECT_EQ(table.getRowCount(), 0U);
    EXPECT_EQ(table.toString(), "## Empty Table ##");
    table << Fuse{0};
    EXPECT_EQ(table.getRowCount(), 0U);
    table << "a" << EndOfRow{};
    EXPECT_EQ(table.getRowCount(), 1U);
    EXPECT_EQ(table.toString(), "\n┌───┐\n│ a │\n└───┘");
}

TEST(AsciiTableBuilderTest, EndsARowAfterTheOnlyOneWasDropped)
{
    AsciiTableBuilder table("");
    table.toString();
    table << EndOfRow{};
    EXPECT_EQ(table.getRowCount(), 0U);
    table << "a";
    EXPECT_EQ(table.toString(), "\n┌───┐\n│ a │\n└───┘");
}

TEST(AsciiTableBuilderTest, DropsOneEmptyRowADrawing)
{
    AsciiTableBuilder table("");
    table << "a" << EndOfRow{} << EndOfRow{};
    EXPECT_EQ(table.toString(), "\n┌───┐\n│ a │\n├───┤\n│   │\n└───┘");
    EXPECT_EQ(table.toString(), "\n┌───┐\n│ a │\n└───┘");
}

TEST(AsciiTableBuilderTest, StartsAnewOnReset)
{
    AsciiTableBuilder table = makeExample("X");
    table.resetTableBuilder("Y");
    EXPECT_EQ(table.getRowCount(), 0U);
    EXPECT_EQ(table.toString(), "## Empty Table : Y ##");
}

TEST(AsciiTableBuilderTest, ReplacesItsTitle)
{
    AsciiTableBuilder table = makeExample("X");
    const std::string titled = table.toString();
    table.setTitle("");
    EXPECT_EQ(table.toString(), makeExample("").toString());
    table.setTitle("X");
    EXPECT_EQ(table.toString(), titled);
}

// --- Cells

TEST(AsciiTableBuilderTest, MakesCells)
{
    const AsciiTableBuilder::CellContent empty;
    EXPECT_EQ(empty.content, "");
    EXPECT_FALSE(empty.fused);
    const AsciiTableBuilder::CellContent text(std::string("text"));
    EXPECT_EQ(text.content, "text");
    EXPECT_FALSE(text.fused);
    const AsciiTableBuilder::CellContent fused(Fuse{3});
    EXPECT_EQ(fused.content, "");
    EXPECT_TRUE(fused.fused);
}

TEST(AsciiTableBuilderTest, TakesWhateverAStreamPrints)
{
    AsciiTableBuilder table("");
    const char* const pointer = "pointer";
    table << 1 << 2.5 << 'c' << std::string("string") << pointer << ""
          << "1"
          << "12"
          << "123"
          << "1234"
          << "12345" << true;
    EXPECT_EQ(table.toString(),
              "\n┌───┬─────┬───┬────────┬─────────┬──┬───┬────┬─────┬──────┬───────┬───┐"
              "\n│ 1 │ 2.5 │ c │ string │ pointer │  │ 1 │ 12 │ 123 │ 1234 │ 12345 │ 1 │"
              "\n└───┴─────┴───┴────────┴─────────┴──┴───┴────┴─────┴──────┴───────┴───┘");
}

TEST(AsciiTableBuilderTest, TakesStringsWholeAndArraysUpToTheirZero)
{
    AsciiTableBuilder table("");
    table << "a\0b"s
          << "c\0d"
          << "longer\0";
    EXPECT_EQ(table.toString(),
              "\n┌─────┬───┬────────┐"
              "\n│ a\0b │ c │ longer │"
              "\n└─────┴───┴────────┘"s);
}

// Every cell has a stream of its own.
TEST(AsciiTableBuilderTest, KeepsNoFormatFromCellToCell)
{
    AsciiTableBuilder table("");
    table << std::setw(4) << 1 << std::setprecision(2) << 3.14159;
    EXPECT_EQ(table.toString(),
              "\n┌──┬───┬──┬─────────┐"
              "\n│  │ 1 │  │ 3.14159 │"
              "\n└──┴───┴──┴─────────┘");
}

class GroupedNumbers : public std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(AsciiTableBuilderTest, WritesNumbersInTheGlobalLocale)
{
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new GroupedNumbers));
    AsciiTableBuilder table("");
    table << 1234567;
    std::locale::global(before);
    EXPECT_EQ(table.toString(), "\n┌───────────┐\n│ 1.234.567 │\n└───────────┘");
}

// --- Against the plain steps

class AsciiTableBuilderGenerated : public ::testing::TestWithParam<unsigned> {};

TEST_P(AsciiTableBuilderGenerated, DrawsAsThePlainSteps)
{
    std::mt19937 random(GetParam());
    const std::string texts[] = {"", "a", "bc", "déf", "日本語", "a longer text of a cell"};
    const std::string titles[] = {"", "t", "Titre é", "a title that is longer than most tables"};
    for (int i = 0; i < 300; ++i) {
        const std::string& title = titles[random() % std::size(titles)];
        AsciiTableBuilder table(title);
        std::vector<std::vector<PlainTable::Cell>> rows(1);
        for (auto steps = random() % 30; steps > 0; --steps) {
            const auto kind = random() % 8;
            if (kind == 0) {
                table << EndOfRow{};
                rows.emplace_back();
            } else if (kind == 1) {
                const auto count = static_cast<unsigned char>(random() % 4);
                table << Fuse{count};
                rows.back().resize(rows.back().size() + count, {"", true});
            } else {
                const std::string& text = texts[random() % std::size(texts)];
                table << text;
                rows.back().push_back({text});
            }
        }
        EXPECT_EQ(table.toString(), PlainTable::draw(rows, title)) << "table " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, AsciiTableBuilderGenerated, ::testing::Values(1U, 2U, 3U));

}  // namespace qz
