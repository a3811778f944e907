// SPDX-License-Identifier: MIT
#include <cstddef>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzProcess.h>

#include "support/Allocations.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "system/PlainCommandLine.h"

namespace qz {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::string_literals;

namespace plain {

static void PrintTo(const CommandLine& line, std::ostream* out)
{
    *out << (line.isAccepted ? "true" : "false") << ", program "
         << ::testing::PrintToString(line.program) << ", arguments "
         << ::testing::PrintToString(line.arguments) << ", log "
         << ::testing::PrintToString(line.logLines);
}

}  // namespace plain

namespace {

const std::string kInvalid = "CRITICAL Invalid command line : ";

std::vector<std::string> makeQuoteFailure(const std::string& text)
{
    return {"DEBUG Fail to split command line : '" + text + "'", kInvalid + text};
}

}  // namespace

// Splits with the log at hand.
class qzProcessSplit : public ::testing::Test {
protected:
    plain::CommandLine split(const std::string& text)
    {
        mCapture.clear();
        plain::CommandLine result{.program = "old", .arguments = {"old", "older"}};
        result.isAccepted = qzProcess::SplitCommandLine(text, result.program, result.arguments);
        result.logLines = mCapture.getLines();
        return result;
    }

private:
    support::LibraryStart mStart;
    support::LogCapture mCapture{LogLevelDebug};
};

// --- What is accepted

struct AcceptedRow {
    const char* name;
    std::string text;
    std::string program;
    std::vector<std::string> arguments;
};

class qzProcessSplitAccepted : public qzProcessSplit,
                               public ::testing::WithParamInterface<AcceptedRow> {};

TEST_P(qzProcessSplitAccepted, GivesTheTokensOfItsRow)
{
    const AcceptedRow& row = GetParam();
    EXPECT_EQ(split(row.text), (plain::CommandLine{true, row.program, row.arguments}));
}

const AcceptedRow kAcceptedRows[] = {
    {"Program", "prog", "prog", {}},
    {"SpacesAndATab", "prog  a\tb", "prog", {"a", "b"}},
    {"BlanksAround", " \t prog a \t", "prog", {"a"}},
    {"Quoted", R"("my prog" "x y")", "my prog", {"x y"}},
    {"QuotedTab", "\"a\tb\"", "a\tb", {}},
    {"NeverClosed", R"(prog "unterminated text)", "prog", {"unterminated text"}},
    {"NeverClosedProgram", R"("my prog)", "my prog", {}},
    {"BlankBehindAnOpenQuote", "prog \"a ", "prog", {"a "}},
    {"QuoteAtTheEnd", "prog \"", "prog", {""}},
    {"ClosingQuoteEndsTheToken", R"("a"b)", "a", {"b"}},
    {"QuoteBehindAQuote", R"("a""b")", "a", {"b"}},
    {"ThreeQuotes", R"(a """)", "a", {"", ""}},
    {"EmptyToken", R"(prog "" x)", "prog", {"", "x"}},
    {"EmptyTokens", R"(prog """" "")", "prog", {"", "", ""}},
    {"BackslashAheadOfAQuote", R"("a\")", "a\\", {}},
    {"BackslashOutsideQuotes", R"(a\ b\\)", "a\\", {"b\\\\"}},
    {"PathWithABlank", R"("C:\Program Files\x.exe" /s)", "C:\\Program Files\\x.exe", {"/s"}},
    {"SingleQuotes", "'a b'", "'a", {"b'"}},
    {"NoVariables", "$HOME %x% ~ * `a`", "$HOME", {"%x%", "~", "*", "`a`"}},
    {"LineEndsAreOrdinary", "a\nb \r \n", "a\nb", {"\r", "\n"}},
    {"OtherBlanksAreOrdinary", "a\vb\fc\xC2\xA0 \xE3\x80\x80", "a\vb\fc\xC2\xA0", {"\xE3\x80\x80"}},
    {"Zeros", "a\0b \0 \"\0 \""s, "a\0b"s, {"\0"s, "\0 "s}},
    {"NonAscii", "\"\xC3\xA9t\xC3\xA9\"", "\xC3\xA9t\xC3\xA9", {}},
    {"NonAsciiPlain", "\xE6\x97\xA5 \xF0\x9F\x98\x80", "\xE6\x97\xA5", {"\xF0\x9F\x98\x80"}},
    {"TypographicQuotes",
     "\xE2\x80\x9C"
     "a b\xE2\x80\x9D",
     "\xE2\x80\x9C"
     "a",
     {"b\xE2\x80\x9D"}},
    {"HighestCodePoint", "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF", {}},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzProcessSplitAccepted, ::testing::ValuesIn(kAcceptedRows),
                         [](const auto& row) { return std::string(row.param.name); });

// --- What has no program, which isn't worth a report

TEST_F(qzProcessSplit, FindsNoProgramInBlanks)
{
    for (const char* text : {" ", "\t", " \t  \t"})
        EXPECT_EQ(split(text), plain::CommandLine()) << '"' << text << '"';
}

TEST_F(qzProcessSplit, KeepsTheArgumentsBehindAnEmptyProgram)
{
    EXPECT_EQ(split(R"("" x)"), (plain::CommandLine{false, "", {"x"}}));
    EXPECT_EQ(split(R"("""y z" ")"), (plain::CommandLine{false, "", {"y z", ""}}));
    EXPECT_EQ(split(R"("")"), plain::CommandLine());
    EXPECT_EQ(split("\""), plain::CommandLine());
}

// --- What is refused

struct RefusedRow {
    const char* name;
    std::string text;
    std::string program;
    std::vector<std::string> arguments;
};

class qzProcessSplitAtQuote : public qzProcessSplit,
                              public ::testing::WithParamInterface<RefusedRow> {};

TEST_P(qzProcessSplitAtQuote, KeepsWhatWasFinishedAndReportsTwice)
{
    const RefusedRow& row = GetParam();
    EXPECT_EQ(split(row.text),
              (plain::CommandLine{false, row.program, row.arguments, makeQuoteFailure(row.text)}));
}

const RefusedRow kQuoteRows[] = {
    {"InTheProgram", R"(a"b)", "", {}},
    {"BehindTheProgram", R"(a")", "", {}},
    {"InTheFirstArgument", R"(prog a"b)", "prog", {}},
    {"InALaterArgument", R"(prog "a b" "" c d"e f)", "prog", {"a b", "", "c"}},
    {"BehindABackslash", R"(prog \")", "prog", {}},
    {"BehindAQuotedBackslash", R"("a\"b")", "a\\", {}},
    {"BehindAnEmptyProgram", R"("" x y" z)", "", {"x"}},
    {"AheadOfMalformedText", "prog a\"\xFF", "prog", {}},
    {"BehindNonAscii", "\xC3\xA9\"", "", {}},
    {"BehindZeros", "a \0\"\0"s, "a", {}},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzProcessSplitAtQuote, ::testing::ValuesIn(kQuoteRows),
                         [](const auto& row) { return std::string(row.param.name); });

class qzProcessSplitNotUtf8 : public qzProcessSplit,
                              public ::testing::WithParamInterface<RefusedRow> {};

TEST_P(qzProcessSplitNotUtf8, KeepsWhatWasFinishedAndReportsOnce)
{
    const RefusedRow& row = GetParam();
    EXPECT_EQ(split(row.text),
              (plain::CommandLine{false, row.program, row.arguments, {kInvalid + row.text}}));
}

const RefusedRow kNotUtf8Rows[] = {
    {"Empty", "", "", {}},
    {"Alone", "\xFF", "", {}},
    {"AtTheBegin", "\xFFprog a", "", {}},
    {"BehindBlanks", " \t\xFF", "", {}},
    {"InTheProgram", "pr\xFFog", "", {}},
    {"BehindTheProgram", "prog \xFF", "prog", {}},
    {"InAPlainArgument", "prog a b\xFF", "prog", {"a"}},
    {"InAQuotedArgument", "prog a \"b \xFF\"", "prog", {"a"}},
    {"AheadOfTheClosingQuote", "\"a\xFF\"", "", {}},
    {"BehindTheClosingQuote", "\"a\"\xFF", "a", {}},
    {"AheadOfAMisplacedQuote", "prog a\xFF\"", "prog", {}},
    {"AtTheEnd", "prog \"a\" b \xFF", "prog", {"a", "b"}},
    {"CutShortByTheEnd", "prog a \xE2\x82", "prog", {"a"}},
    {"CutShortByABlank", "prog \xC3 a", "prog", {}},
    {"CutShortByAQuote", "prog \"a\xC3\" b", "prog", {}},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzProcessSplitNotUtf8, ::testing::ValuesIn(kNotUtf8Rows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzProcessSplit, RefusesEachKindOfMalformedTextAtEachPlace)
{
    const char* const kinds[] = {"\x80",
                                 "\xBF",
                                 "\xC0\x80",
                                 "\xC1\xBF",
                                 "\xC3",
                                 "\xE0\x9F\xBF",
                                 "\xED\xA0\x80",
                                 "\xED\xBF\xBF",
                                 "\xE2\x82",
                                 "\xF0\x9F\x98",
                                 "\xF5\x80\x80\x80",
                                 "\xFE",
                                 "\xF8\x88\x80\x80\x80",
                                 "\xF0\x8F\xBF\xBF",
                                 "\xF4\x90\x80\x80"};
    const std::string text = "prog \"x y\"z \"\" '\\' \"w";
    for (const std::string malformed : kinds) {
        for (std::size_t place = 0; place <= text.size(); ++place) {
            const std::string broken = std::string(text).insert(place, malformed);
            const plain::CommandLine result = split(broken);
            EXPECT_THAT(result.logLines, ElementsAre(kInvalid + broken));
            EXPECT_EQ(result, plain::splitCommandLine(broken)) << broken;
        }
    }
}

TEST_F(qzProcessSplit, ReportsTheWholeTextWithItsLineEndsAndZeros)
{
    const std::string text = "a\n\0\tb\xC3\xA9\r\""s;
    EXPECT_EQ(split(text).logLines, makeQuoteFailure(text));
}

TEST_F(qzProcessSplit, ForgetsTheFailureBefore)
{
    EXPECT_FALSE(split("a b c\"").isAccepted);
    EXPECT_EQ(split("\"d\""), (plain::CommandLine{true, "d"}));
}

// --- Against the plain form

TEST_F(qzProcessSplit, SplitsEveryShortTextAsThePlainFormDoes)
{
    for (const std::string& text : plain::makeAllTexts(" \t\"a\\\xC3\xA9", 5))
        ASSERT_EQ(split(text), plain::splitCommandLine(text)) << ::testing::PrintToString(text);
}

TEST_F(qzProcessSplit, SplitsEveryShortTextOfQuotesAndBlanksAsThePlainFormDoes)
{
    for (const std::string& text : plain::makeAllTexts(" \"a", 8))
        ASSERT_EQ(split(text), plain::splitCommandLine(text)) << ::testing::PrintToString(text);
}

namespace {

const char* const kPieces[] = {" ",     "\t", " \"",      "\" ",          "\"\"",
                               "a",     "\\", "\xC3\xA9", "\xE6\x97\xA5", "\xF0\x9F\x98\x80",
                               "\" \"", "\n", "word",     " two words ",  " \"q q\" "};

std::string makeCommandLine(std::mt19937& random, std::size_t pieces)
{
    std::string text;
    for (std::size_t i = 0; i < pieces; ++i)
        text += kPieces[plain::choose(random, std::size(kPieces))];
    return text;
}

// Plain and quoted tokens of any letters, with blanks between them, and what they stand for.
std::string writeCommandLine(std::mt19937& random, std::vector<std::string>& tokens)
{
    std::string text;
    for (std::size_t count = 1 + plain::choose(random, 200); count > 0; --count) {
        const bool isQuoted = plain::choose(random, 2) == 0;
        const char* const letters = isQuoted ? " \tab\\'\n" : "ab\\'\n";
        tokens.push_back(
            plain::makeText(random, letters, plain::choose(random, 40) + (isQuoted ? 0 : 1)));
        text += isQuoted ? '"' + tokens.back() + '"' : tokens.back();
        text += plain::makeText(random, " \t", 1 + plain::choose(random, 3));
    }
    return text;
}

}  // namespace

TEST_F(qzProcessSplit, SplitsGeneratedTextsAsThePlainFormDoes)
{
    for (const unsigned seed : plain::kSeeds) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        for (int i = 0; i < 300; ++i) {
            std::string text = makeCommandLine(random, 1 + plain::choose(random, 60));
            if (i % 5 == 0) text[plain::choose(random, text.size())] = '\xFF';
            ASSERT_EQ(split(text), plain::splitCommandLine(text)) << ::testing::PrintToString(text);
        }
    }
}

TEST_F(qzProcessSplit, GivesBackTheTokensThatATextWasWrittenFrom)
{
    for (const unsigned seed : plain::kSeeds) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        for (int i = 0; i < 20; ++i) {
            std::vector<std::string> tokens{"prog"};
            const std::string text = "prog " + writeCommandLine(random, tokens);
            tokens.erase(tokens.begin());
            ASSERT_EQ(split(text), (plain::CommandLine{true, "prog", tokens}));
        }
    }
}

TEST_F(qzProcessSplit, TakesTextsOfAnySize)
{
    const std::string word(1 << 20, 'x');
    EXPECT_EQ(split(word + " \"" + word), (plain::CommandLine{true, word, {word}}));
    std::string text = "prog";
    for (int i = 0; i < 50000; ++i)
        text += " \"\"a";
    const plain::CommandLine result = split(text);
    EXPECT_TRUE(result.isAccepted);
    EXPECT_EQ(result.arguments.size(), 100000U);
}

// --- Around it

TEST(qzProcessSplitCommandLine, ReportsTheFailureAloneWhileDebugIsOff)
{
    const support::LibraryStart start;
    const support::LogCapture capture;
    std::string program;
    std::vector<std::string> arguments;
    EXPECT_FALSE(qzProcess::SplitCommandLine("a\"b", program, arguments));
    EXPECT_THAT(capture.getLines(), ElementsAre(kInvalid + "a\"b"));
}

TEST(qzProcessSplitCommandLine, SplitsBeforeTheStart)
{
    std::string program;
    std::vector<std::string> arguments;
    EXPECT_TRUE(qzProcess::SplitCommandLine("\"\xC3\xA9t\xC3\xA9\" a", program, arguments));
    EXPECT_EQ(program, "\xC3\xA9t\xC3\xA9");
    EXPECT_THAT(arguments, ElementsAre("a"));
}

TEST(qzProcessSplitCommandLine, PassesAFailedAllocationOn)
{
    const std::string word(100, 'x');
    std::string program;
    std::vector<std::string> arguments;
    const auto work = [&] {
        program = std::string();
        arguments = std::vector<std::string>();
        qzProcess::SplitCommandLine(word + ' ' + word + " \"" + word, program, arguments);
    };
    const auto check = [](const support::AllocationFailure& failure) {
        EXPECT_TRUE(failure.threwBadAlloc) << failure.number;
    };
    EXPECT_GT(support::failEachAllocation(work, check), 3U);
    EXPECT_EQ(program, word);
    EXPECT_THAT(arguments, ElementsAre(word, word));
}

TEST(qzProcessSplitCommandLine, SplitsOnManyThreadsAtOnce)
{
    const auto splitOften = [](const std::string& word) {
        std::string program;
        std::vector<std::string> arguments;
        for (int i = 0; i < 200; ++i) {
            EXPECT_TRUE(qzProcess::SplitCommandLine(word + " \"a b\"", program, arguments));
            EXPECT_EQ(program, word);
            EXPECT_THAT(arguments, ElementsAre("a b"));
        }
    };
    std::vector<std::thread> threads;
    for (const char* word : {"one", "two", "three", "four"})
        threads.emplace_back(splitOften, word);
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace qz
