#include <locale.h>
#include <pthread.h>
#include <stdlib.h>

#include <atomic>
#include <clocale>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

#include "TestPaths.h"
#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "text/PlainCharset.h"

namespace qz {

using support::ChildResult;
using support::EnvironmentLocale;
using support::EnvironmentVariable;
using support::LocaleGuard;
using support::runInChild;
using support::runProgram;
using ::testing::HasSubstr;
using ::testing::Not;
using namespace std::string_view_literals;

namespace {

constexpr auto kLocal = qzStringUtils::CharSetLocal;
constexpr auto kUtf8 = qzStringUtils::CharSetUtf8;
constexpr auto kAscii = qzStringUtils::CharSetAscii;
static_assert(kLocal == 0 && kUtf8 == 1 && kAscii == 2);
static_assert(sizeof(qzStringUtils::qzCharSet) == 4);

// Keeps the text services up until the end of the scope.
class TextServices {
public:
    TextServices() { mIsUp = qzStringUtils::InitializeStringUtils(); }
    ~TextServices() { qzStringUtils::TerminateStringUtils(); }
    TextServices(const TextServices&) = delete;
    TextServices& operator=(const TextServices&) = delete;
    bool isUp() const { return mIsUp; }

private:
    bool mIsUp;
};

// The locale of the environment alone, with the services up in it.
struct LocalSet {
    explicit LocalSet(const char* locale) : environment(locale) {}
    EnvironmentLocale environment;
    TextServices services;
};

std::string convert(const std::string& text, int from, int to)
{
    return qzStringUtils::convertCharset(text, qzStringUtils::qzCharSet(from),
                                         qzStringUtils::qzCharSet(to));
}

std::string toUtf8(unsigned codePoint)
{
    const auto byte = [](unsigned value) { return static_cast<char>(value); };
    const auto tail = [&](unsigned shift) { return byte(0x80 | (codePoint >> shift & 0x3f)); };
    if (codePoint < 0x80) return {byte(codePoint)};
    if (codePoint < 0x800) return {byte(0xc0 | codePoint >> 6), tail(0)};
    if (codePoint < 0x10000) return {byte(0xe0 | codePoint >> 12), tail(6), tail(0)};
    return {byte(0xf0 | codePoint >> 18), tail(12), tail(6), tail(0)};
}

}  // namespace

// --- Bringing the services up and down

TEST(qzStringUtilsServices, StandBetweenStartAndStop)
{
    EXPECT_FALSE(qzStringUtils::TerminateStringUtils()) << "they are down";
    EXPECT_TRUE(qzStringUtils::InitializeStringUtils());
    EXPECT_FALSE(qzStringUtils::InitializeStringUtils()) << "they are up";
    EXPECT_EQ(convert("a", kUtf8, kAscii), "a") << "a refused start must change nothing";
    EXPECT_TRUE(qzStringUtils::TerminateStringUtils());
    EXPECT_FALSE(qzStringUtils::TerminateStringUtils());
}

TEST(qzStringUtilsServices, HoldNothingWhileDown)
{
    {
        const TextServices services;
    }
    EXPECT_EQ(qzStringUtils::msCLocale, nullptr);
    EXPECT_EQ(qzStringUtils::msCplusLocale, nullptr);
    EXPECT_EQ(qzStringUtils::msThreadContent, nullptr);
}

TEST(qzStringUtilsServices, ConvertNothingWhileDown)
{
    qzStringUtils::InitializeForThread();
    EXPECT_EQ(convert("abc", kUtf8, kAscii), "");
    EXPECT_EQ(qzStringUtils::convertTo8Bits(L"abcdefg", kUtf8), "");
    EXPECT_EQ(qzStringUtils::convertToUnicode("abc", kUtf8), L"");
}

TEST(qzStringUtilsServices, GiveLocalesThatNoLocaleOfTheProcessChanges)
{
    const LocaleGuard commaInsteadOfPoint("de_DE.UTF-8");
    const TextServices services;
    ASSERT_NE(*qzStringUtils::msCLocale, nullptr);
    EXPECT_EQ(::strtod_l("1.5", nullptr, *qzStringUtils::msCLocale), 1.5);
    std::ostringstream text;
    text.imbue(*qzStringUtils::msCplusLocale);
    text << 1234567.5;
    EXPECT_EQ(text.str(), "1.23457e+06");
    EXPECT_EQ(qzStringUtils::msCplusLocale->name(), "C");
}

TEST(qzStringUtilsServices, PrepareTheStartingThread)
{
    const TextServices services;
    EXPECT_NE(::pthread_getspecific(*qzStringUtils::msThreadContent), nullptr);
}

TEST(qzStringUtilsServices, PrepareEveryOtherThreadOnceAtItsFirstNeed)
{
    const TextServices services;
    const auto getRecord = [] { return ::pthread_getspecific(*qzStringUtils::msThreadContent); };
    std::thread([&] {
        EXPECT_EQ(getRecord(), nullptr);
        qzStringUtils::InitializeForThread();
        const void* record = getRecord();
        EXPECT_NE(record, nullptr);
        qzStringUtils::InitializeForThread();
        EXPECT_EQ(getRecord(), record);
    }).join();
    std::thread([&] {
        EXPECT_EQ(convert("a", kUtf8, kAscii), "a");
        EXPECT_NE(getRecord(), nullptr);
    }).join();
}

TEST(qzStringUtilsServices, ServeAThreadThatOutlivesAStopAfterTheRestart)
{
    // In a child, since what the thread had before the stop is not reclaimed.
    const ChildResult result = runInChild([] {
        auto services = std::make_unique<TextServices>();
        std::atomic<int> step = 0;
        const auto waitFor = [&step](int wanted) {
            while (step < wanted)
                std::this_thread::yield();
        };
        std::thread other([&] {
            std::cout << convert("a", kUtf8, kAscii);
            step = 1;
            waitFor(2);
            std::cout << convert("b", kUtf8, kAscii);
        });
        waitFor(1);
        services.reset();
        services = std::make_unique<TextServices>();
        step = 2;
        other.join();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "ab");
}

TEST(qzStringUtilsServices, StopOnAnyThread)
{
    ASSERT_TRUE(qzStringUtils::InitializeStringUtils());
    std::thread([] { EXPECT_TRUE(qzStringUtils::TerminateStringUtils()); }).join();
    EXPECT_EQ(qzStringUtils::msCLocale, nullptr);
    EXPECT_EQ(qzStringUtils::msThreadContent, nullptr);
    EXPECT_EQ(convert("a", kUtf8, kAscii), "") << "on the thread that had started them";
    const TextServices again;
    EXPECT_TRUE(again.isUp());
    EXPECT_EQ(convert("a", kUtf8, kAscii), "a");
}

TEST(qzStringUtilsServices, DoNotStartWithoutMemoryForTheLocale)
{
    if (!support::kSeesMalloc) GTEST_SKIP() << "the sanitizer keeps malloc to itself";
    {
        const support::AllocationFault fault(1);
        EXPECT_FALSE(qzStringUtils::InitializeStringUtils());
        EXPECT_TRUE(fault.hasStruck());
    }
    EXPECT_EQ(qzStringUtils::msCLocale, nullptr);
    EXPECT_EQ(qzStringUtils::msThreadContent, nullptr);
    EXPECT_FALSE(qzStringUtils::TerminateStringUtils());
    const TextServices services;
    EXPECT_TRUE(services.isUp()) << "with memory";
}

TEST(qzStringUtilsServices, ReadTheLocalSetForEachThreadAtItsFirstNeed)
{
    const EnvironmentLocale utf8("C.UTF-8");
    const TextServices services;
    const EnvironmentLocale latin1("de_DE.ISO-8859-1");
    std::thread([] { EXPECT_EQ(convert("\xc3\xa9", kUtf8, kLocal), "\xe9"); }).join();
    EXPECT_EQ(convert("\xc3\xa9", kUtf8, kLocal), "\xc3\xa9") << "this thread has read it before";
}

TEST(qzStringUtilsServices, TakeTheSetOfAThreadsOwnLocale)
{
    const EnvironmentLocale environment("de_DE.UTF-8");
    const TextServices services;
    std::thread([] {
        const locale_t own = ::newlocale(LC_ALL_MASK, "de_DE.ISO-8859-1", nullptr);
        ASSERT_NE(own, nullptr);
        ::uselocale(own);
        EXPECT_EQ(convert("\xc3\xa9", kUtf8, kLocal), "\xe9");
        ::uselocale(LC_GLOBAL_LOCALE);
        ::freelocale(own);
    }).join();
    EXPECT_EQ(convert("\xc3\xa9", kUtf8, kLocal), "\xc3\xa9");
}

TEST(qzStringUtilsServices, LeaveTheLocaleOfTheProcessAlone)
{
    const LocaleGuard process("de_DE.ISO-8859-1");
    const EnvironmentLocale environment("ja_JP.EUC-JP");
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const TextServices services;
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
    std::thread([] { qzStringUtils::InitializeForThread(); }).join();
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
    EXPECT_EQ(convert("\xe3\x81\x82", kUtf8, kLocal), "\xa4\xa2") << "the environment's set counts";
}

TEST(qzStringUtilsServices, TakeTheProcesssOwnSetWhenTheEnvironmentNamesNoLocale)
{
    const LocaleGuard process("de_DE.ISO-8859-1");
    const EnvironmentVariable environment("LC_ALL", "xx_XX.NO-SUCH");
    const TextServices services;
    EXPECT_EQ(convert("\xc3\xa9", kUtf8, kLocal), "\xe9");
}

// --- The converters of a thread

class qzStringUtilsDescriptors : public ::testing::Test {
protected:
    static ChildResult run(const std::string& localSet, int failingOpen)
    {
        return runProgram(
            {.program = "charset_descriptors",
             .arguments = {localSet, std::to_string(failingOpen)},
             .environment = {{"LC_ALL", "ja_JP.EUC-JP"}, {"LOCPATH", QZ_TEST_LOCPATH}}});
    }

    static constexpr const char* kOpens =
        "open WCHAR_T//TRANSLIT//IGNORE < EUC-JP\n"
        "open WCHAR_T//TRANSLIT//IGNORE < UTF-8\n"
        "open WCHAR_T//TRANSLIT//IGNORE < US-ASCII\n"
        "open EUC-JP//TRANSLIT//IGNORE < WCHAR_T\n"
        "open UTF-8//TRANSLIT//IGNORE < WCHAR_T\n"
        "open US-ASCII//TRANSLIT//IGNORE < WCHAR_T\n"
        "open UTF-8//TRANSLIT//IGNORE < EUC-JP\n"
        "open US-ASCII//TRANSLIT//IGNORE < EUC-JP\n"
        "open EUC-JP//TRANSLIT//IGNORE < UTF-8\n"
        "open US-ASCII//TRANSLIT//IGNORE < UTF-8\n"
        "open EUC-JP//TRANSLIT//IGNORE < US-ASCII\n"
        "open UTF-8//TRANSLIT//IGNORE < US-ASCII\n";
};

TEST_F(qzStringUtilsDescriptors, AreOpenedAllAtOnceAndClosedWithTheirThread)
{
    const std::string all = "00= 01=abc 02=abc 10=abc 11= 12=abc 20=abc 21=abc 22= 0=a 1=a 2=a \n";
    const ChildResult result = run("", 0);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, kOpens + ("up: 12 opened, 0 closed\n" + all + all) +
                              "converted: 12 opened, 0 closed\n" + kOpens +
                              "thread ready: 24 opened, 0 closed\n" + all +
                              "thread gone: 24 opened, 12 closed\n"
                              "idle thread gone: 24 opened, 12 closed\n"
                              "down: 24 opened, 24 closed\n");
}

struct FailedOpen {
    const char* name;
    int open;
    const char* conversions;
};

constexpr FailedOpen kFailedOpens[] = {
    {"LocalToWide", 1, "00= 01=abc 02=abc 10=abc 11= 12=abc 20=abc 21=abc 22= 0=a 1=a 2=a \n"},
    {"WideToLocal", 4, "00= 01=abc 02=abc 10=abc 11= 12=abc 20=abc 21=abc 22= 0= 1=a 2=a \n"},
    {"WideToAscii", 6, "00= 01=abc 02=abc 10=abc 11= 12=abc 20=abc 21=abc 22= 0=a 1=a 2= \n"},
    {"LocalToUtf8", 7, "00= 01= 02=abc 10=abc 11= 12=abc 20=abc 21=abc 22= 0=a 1=a 2=a \n"},
    {"LocalToAscii", 8, "00= 01=abc 02= 10=abc 11= 12=abc 20=abc 21=abc 22= 0=a 1=a 2=a \n"},
    {"Utf8ToLocal", 9, "00= 01=abc 02=abc 10= 11= 12=abc 20=abc 21=abc 22= 0=a 1=a 2=a \n"},
    {"Utf8ToAscii", 10, "00= 01=abc 02=abc 10=abc 11= 12= 20=abc 21=abc 22= 0=a 1=a 2=a \n"},
    {"AsciiToLocal", 11, "00= 01=abc 02=abc 10=abc 11= 12=abc 20= 21=abc 22= 0=a 1=a 2=a \n"},
    {"AsciiToUtf8", 12, "00= 01=abc 02=abc 10=abc 11= 12=abc 20=abc 21= 22= 0=a 1=a 2=a \n"},
};

class qzStringUtilsFailedOpen : public qzStringUtilsDescriptors,
                                public ::testing::WithParamInterface<FailedOpen> {};

TEST_P(qzStringUtilsFailedOpen, EmptiesItsConversionOnThisThreadAlone)
{
    const ChildResult result = run("", GetParam().open);
    const std::string firstThread = std::string("up: 12 opened, 0 closed\n") +
                                    GetParam().conversions + GetParam().conversions +
                                    "converted: 12 opened, 0 closed\n";
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.out, HasSubstr(firstThread));
    EXPECT_THAT(result.out, HasSubstr("thread ready: 24 opened, 0 closed\n"
                                      "00= 01=abc 02=abc 10=abc 11= 12=abc 20=abc 21=abc 22= "
                                      "0=a 1=a 2=a \n"));
    EXPECT_THAT(result.out, HasSubstr("down: 24 opened, 23 closed\n"));
}

INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsFailedOpen, ::testing::ValuesIn(kFailedOpens),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzStringUtilsDescriptors, FailForALocalSetThatTheSystemCannotConvert)
{
    const ChildResult result = run("NO-SUCH-SET", 0);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.out, HasSubstr("00= 01= 02= 10= 11= 12=abc 20= 21=abc 22= 0= 1=a 2=a \n"));
    EXPECT_THAT(result.out, Not(HasSubstr("never opened")));
}

// --- convertCharset

class qzStringUtilsCharset : public ::testing::Test {};

TEST_F(qzStringUtilsCharset, GivesNothingBetweenEqualOrUnknownSets)
{
    const LocalSet local("C.UTF-8");
    for (const int set : {0, 1, 2}) {
        EXPECT_EQ(convert("abc", set, set), "") << set;
        for (const int unknown : {-1, 3, 0x10001}) {
            EXPECT_EQ(convert("abc", set, unknown), "") << set << " to " << unknown;
            EXPECT_EQ(convert("abc", unknown, set), "") << unknown << " to " << set;
        }
    }
}

struct CharsetRow {
    const char* name;
    const char* locale;
    int from;
    int to;
    std::string text;
    std::string result;
};

std::string repeat(const std::string& text, int times)
{
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

// "¼" is transliterated to 5 bytes where the set lacks it: one has room, two have not.
const CharsetRow kCharsetRows[] = {
    {"Empty", "C.UTF-8", 0, 1, "", ""},
    {"AsciiLocalToUtf8", "C", 0, 1, "abc", "abc"},
    {"AsciiUtf8ToLocal", "ja_JP.EUC-JP", 1, 0, "abc", "abc"},
    {"Nul", "C.UTF-8", 1, 2, std::string("a\0b", 3), std::string("a\0b", 3)},
    {"NulAloneLatin1", "en_US.ISO-8859-1", 1, 0, std::string(1, '\0'), std::string(1, '\0')},
    {"NulAtTheEndLatin1", "en_US.ISO-8859-1", 0, 1, std::string("\xe9\0", 2),
     std::string("\xc3\xa9\0", 3)},
    {"Utf8LocalKeepsUtf8", "C.UTF-8", 0, 1, "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80",
     "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"},
    {"Utf8ToUtf8Local", "de_DE.UTF-8", 1, 0, "\xc3\xa9", "\xc3\xa9"},
    {"BrokenUtf8Local", "C.UTF-8", 0, 1, "a\xff", ""},
    {"Latin1ToUtf8", "en_US.ISO-8859-1", 0, 1, "\xe9\xff", "\xc3\xa9\xc3\xbf"},
    {"Latin1FillsItsRoom", "en_US.ISO-8859-1", 0, 1, repeat("\xff", 3000),
     repeat("\xc3\xbf", 3000)},
    {"Utf8ToLatin1", "en_US.ISO-8859-1", 1, 0, "a\xc3\xa9z", "a\xe9z"},
    {"EucJpToUtf8", "ja_JP.EUC-JP", 0, 1, "\xa4\xa2\xb4\xc1", "\xe3\x81\x82\xe6\xbc\xa2"},
    {"Utf8ToEucJp", "ja_JP.EUC-JP", 1, 0, "\xe3\x81\x82\xe6\xbc\xa2", "\xa4\xa2\xb4\xc1"},
    {"HighByteFromAscii", "C.UTF-8", 2, 1, "a\x80", ""},
    {"HighByteFromAsciiToLocal", "en_US.ISO-8859-1", 2, 0, "\xe9", ""},
    {"HighByteFromTheCLocale", "C", 0, 1, "\xe9", ""},
    {"CutUtf8", "C.UTF-8", 1, 2, "a\xc3", ""},
    {"OverlongUtf8", "C.UTF-8", 1, 0, "\xc0\xaf", ""},
    {"SurrogateInUtf8", "C.UTF-8", 1, 0, "\xed\xa0\x80", ""},
    {"TransliteratedWithRoom", "C", 1, 2, "\xc2\xbc", " 1/4 "},
    {"TransliteratedWithoutRoom", "C", 1, 2, "\xc2\xbc\xc2\xbc", ""},
    {"TransliteratedWithRoomMade", "C", 1, 2, "abc\xc2\xbc\xc2\xbc", "abc 1/4  1/4 "},
    {"LongAscii", "C.UTF-8", 1, 2, repeat("abcdefgh", 5000), repeat("abcdefgh", 5000)},
};

class qzStringUtilsCharsetRows : public ::testing::TestWithParam<CharsetRow> {};

TEST_P(qzStringUtilsCharsetRows, ConvertAsTheirRow)
{
    const CharsetRow& row = GetParam();
    const LocalSet local(row.locale);
    EXPECT_EQ(convert(row.text, row.from, row.to), row.result);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsCharsetRows, ::testing::ValuesIn(kCharsetRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzStringUtilsCharset, ConvertsAfterAFailureAsBefore)
{
    const LocalSet local("ja_JP.EUC-JP");
    EXPECT_EQ(convert("\xe3\x81", kUtf8, kLocal), "");
    EXPECT_EQ(convert("\xe3\x81\x82", kUtf8, kLocal), "\xa4\xa2");
    EXPECT_EQ(convert("\xa4", kLocal, kUtf8), "");
    EXPECT_EQ(convert("\xa4\xa2", kLocal, kUtf8), "\xe3\x81\x82");
}

// --- The wide conversions

struct WideRow {
    const char* name;
    int to;
    std::wstring text;
    std::string result;
};

const WideRow kWideRows[] = {
    {"Empty", 1, L"", ""},
    {"Three", 1, L"abc", ""},
    {"Six", 1, L"abcdef", ""},
    {"Seven", 1, L"abcdefg", "a"},
    {"Eight", 1, L"abcdefgh", ""},
    {"Eleven", 1, L"abcdefghijk", "ab"},
    {"SevenToAscii", 2, L"abcdefg", "a"},
    {"SevenToLocal", 0, L"abcdefg", "a"},
    {"TheLastByteIsCutFromACharacter", 1, L"a\u00e9cdefg", "a\xc3"},
    {"AWideCharacterAhead", 1,
     L"\u20ac"
     L"bcdefg",
     "\xe2\x82\xac"},
    {"NotACharacterIsTransliterated", 1, std::wstring(1, static_cast<wchar_t>(-1)) + L"bcdefg",
     "?"},
    {"UnknownSet", 3, L"abcdefg", ""},
    {"UnknownNegativeSet", -1, L"abcdefg", ""},
};

class qzStringUtilsTo8Bits : public ::testing::TestWithParam<WideRow> {};

TEST_P(qzStringUtilsTo8Bits, ConvertsAsItsRow)
{
    const LocalSet local("C.UTF-8");
    const auto to = qzStringUtils::qzCharSet(GetParam().to);
    EXPECT_EQ(qzStringUtils::convertTo8Bits(GetParam().text, to), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsTo8Bits, ::testing::ValuesIn(kWideRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzStringUtilsCharset, GivesNoWideTextWhatever)
{
    const LocalSet local("C.UTF-8");
    PlainCharset plain("UTF-8");
    for (const int from : {0, 1, 2}) {
        for (const std::string& text : {std::string(), std::string("a"), std::string(5000, 'a'),
                                        std::string("\xc3\xa9"), std::string(3, '\0')}) {
            EXPECT_EQ(qzStringUtils::convertToUnicode(text, qzStringUtils::qzCharSet(from)), L"");
            EXPECT_EQ(plain.convertToUnicode(text, from), L"");
        }
    }
}

// --- Against the plain form, in each locale

struct Setting {
    const char* name;
    const char* locale;
    const char* localSet;
    bool alsoProcess;  // whether the process takes the environment's locale
};

constexpr Setting kSettings[] = {
    {"C", "C", "ANSI_X3.4-1968", true},
    {"CUtf8", "C.UTF-8", "UTF-8", true},
    {"GermanLatin1", "de_DE.ISO-8859-1", "ISO-8859-1", true},
    {"JapaneseEucJp", "ja_JP.EUC-JP", "EUC-JP", true},
    {"EnglishLatin1InTheEnvironmentAlone", "en_US.ISO-8859-1", "ISO-8859-1", false},
};

// Compares both forms, and keeps the first few texts on which they differ.
class Comparison {
public:
    explicit Comparison(const char* localSet) : mPlain(localSet) {}

    std::string compare(const std::string& text, int from, int to)
    {
        const std::string expected = mPlain.convertCharset(text, from, to);
        const std::string got = convert(text, from, to);
        note(text, from, to, expected, got);
        return expected;
    }

    void compareWide(const std::wstring& text, int to)
    {
        const std::string expected = mPlain.convertTo8Bits(text, to);
        const std::string got = qzStringUtils::convertTo8Bits(text, qzStringUtils::qzCharSet(to));
        note(std::string(reinterpret_cast<const char*>(text.data()), text.size() * 4), 9, to,
             expected, got);
    }

    const std::string& getDifferences() const { return mDifferences; }

private:
    void note(const std::string& text, int from, int to, const std::string& expected,
              const std::string& got)
    {
        if (expected == got || mDifferences.size() > 1000) return;
        mDifferences += std::to_string(from) + " to " + std::to_string(to) + " of " +
                        support::toHex(text) + ": " + support::toHex(got) + ", should be " +
                        support::toHex(expected) + '\n';
    }

    PlainCharset mPlain;
    std::string mDifferences;
};

// Each test runs in a child of its own, with the locale of its row from before the start.
class qzStringUtilsAgainstPlain : public ::testing::TestWithParam<Setting> {
protected:
    template <typename Body>
    static std::string findDifferences(const Body& body)
    {
        const ChildResult result = runInChild(
            [&] {
                const EnvironmentLocale environment(GetParam().locale);
                if (GetParam().alsoProcess) std::setlocale(LC_ALL, "");
                const TextServices services;
                Comparison comparison(GetParam().localSet);
                body(comparison);
                std::cout << comparison.getDifferences();
                return services.isUp() ? 0 : 1;
            },
            "", /*timeoutSec=*/900);
        EXPECT_EQ(result.getEnd(), "exit 0");
        return result.out;
    }
};

// Whether a code point is in a part where the sets have characters close together, all of which
// count: the letters, the signs, kana, and the forms at the end of the first plane. Elsewhere one
// of many does, and the first and the last of each 4096.
bool isWorthItsTime(unsigned codePoint)
{
    constexpr unsigned kStride = 61;
    return codePoint < 0x3400 || (codePoint >= 0xff00 && codePoint <= 0xffff) ||
           codePoint % kStride == 0 || (codePoint + 1) % 4096 < 2;
}

TEST_P(qzStringUtilsAgainstPlain, ConvertsCodePointsAlike)
{
    EXPECT_EQ(findDifferences([](Comparison& comparison) {
                  for (unsigned codePoint = 1; codePoint <= 0x10ffff; ++codePoint) {
                      if (!isWorthItsTime(codePoint)) continue;
                      const std::string text = toUtf8(codePoint);
                      const std::string localText = comparison.compare(text, kUtf8, kLocal);
                      comparison.compare(text, kUtf8, kAscii);
                      if (localText.empty()) continue;
                      comparison.compare(localText, kLocal, kUtf8);
                      comparison.compare(localText, kLocal, kAscii);
                  }
              }),
              "");
}

// The bytes at which one of the sets changes its mind.
bool isBound(unsigned byte)
{
    constexpr std::string_view kBounds =
        "\x00\x01\x7f\x80\x8e\x8f\x90\x9f\xa0\xa1\xbf\xc0\xc1\xc2\xc3\xc4\xdf\xe0\xed\xf4\xf5"
        "\xfe\xff"sv;
    return kBounds.find(static_cast<char>(byte)) != std::string_view::npos;
}

TEST_P(qzStringUtilsAgainstPlain, ConvertsTextsOfOneAndTwoBytesAlike)
{
    EXPECT_EQ(findDifferences([](Comparison& comparison) {
                  for (unsigned bytes = 0; bytes <= 0xffff; ++bytes) {
                      if (bytes >= 0x100 && !isBound(bytes >> 8) && !isBound(bytes & 0xff))
                          continue;
                      const char pair[] = {static_cast<char>(bytes >> 8), static_cast<char>(bytes)};
                      const std::string text(pair + (bytes < 0x100 ? 1 : 0), pair + 2);
                      for (int from = 0; from < 3; ++from) {
                          for (int to = 0; to < 3; ++to)
                              comparison.compare(text, from, to);
                      }
                  }
              }),
              "");
}

// What random texts are made of: plain letters, characters of every width, and broken pieces.
const std::vector<std::string> kPieces = {
    "a",
    "Z",
    " ",
    std::string(1, '\0'),
    "plain text of some length",
    "\xc3\xa9",
    "\xe2\x82\xac",
    "\xe3\x81\x82",
    "\xf0\x9f\x98\x80",
    "\xc2\xbc",
    "\xa4\xa2",
    "\x8f\xb0\xa1",
    "\x8e\xb1",
    "\xe9",
    "\xff",
    "\x80",
    "\xc3",
    "\xe2\x82",
    "\xed\xa0\x80",
    "\xf4\x90\x80\x80",
    "\xc0\x80",
    "\xef\xbf\xbf",
    "\xfd\xbf\xbf\xbf\xbf\xbf",
};

constexpr unsigned kSeeds[] = {1, 22, 333, 4444, 55555};

// A text of pieces from the first `choices`; a small number makes well-formed texts only.
std::string makeText(std::mt19937& random, std::size_t pieces, std::size_t choices)
{
    std::string text;
    for (std::size_t i = 0; i < pieces; ++i)
        text += kPieces[random() % choices];
    return text;
}

TEST_P(qzStringUtilsAgainstPlain, ConvertsRandomTextsAlike)
{
    for (const unsigned seed : kSeeds) {
        EXPECT_EQ(findDifferences([seed](Comparison& comparison) {
                      std::mt19937 random(seed);
                      for (int i = 0; i < 500; ++i) {
                          const std::size_t pieces = random() % (i % 10 == 0 ? 600 : 12);
                          const std::size_t choices = i % 3 == 0 ? 9 : kPieces.size();
                          const std::string text = makeText(random, pieces, choices);
                          for (int from = 0; from < 3; ++from) {
                              for (int to = 0; to < 3; ++to)
                                  comparison.compare(text, from, to);
                          }
                      }
                  }),
                  "")
            << "seed " << seed;
    }
}

TEST_P(qzStringUtilsAgainstPlain, ConvertsRandomWideTextsAlike)
{
    for (const unsigned seed : kSeeds) {
        EXPECT_EQ(findDifferences([seed](Comparison& comparison) {
                      constexpr unsigned kCharacters[] = {0,      'a',    0xe9,    0x20ac,
                                                          0x3042, 0xd800, 0x1f600, 0x110000};
                      std::mt19937 random(seed);
                      for (int i = 0; i < 800; ++i) {
                          std::wstring text(random() % 40, L'x');
                          for (wchar_t& character : text) {
                              character = static_cast<wchar_t>(kCharacters[random() % 8]);
                          }
                          for (int to = 0; to < 3; ++to)
                              comparison.compareWide(text, to);
                      }
                  }),
                  "")
            << "seed " << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(Locales, qzStringUtilsAgainstPlain, ::testing::ValuesIn(kSettings),
                         [](const auto& row) { return std::string(row.param.name); });

// --- Threads

TEST(qzStringUtilsThreads, ConvertSideBySide)
{
    const LocalSet local("ja_JP.EUC-JP");
    constexpr int kThreads = 8;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&wrong, i] {
            const std::string utf8 = repeat("\xe3\x81\x82", i + 1);
            const std::string eucJp = repeat("\xa4\xa2", i + 1);
            for (int round = 0; round < 2000; ++round) {
                wrong += convert(utf8, kUtf8, kLocal) == eucJp ? 0 : 1;
                wrong += convert(eucJp, kLocal, kUtf8) == utf8 ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace qz
