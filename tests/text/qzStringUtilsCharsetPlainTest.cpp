// SPDX-License-Identifier: MIT
#include <locale.h>
#include <stdlib.h>

#include <clocale>
#include <iostream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "text/PlainCharset.h"
#include "text/TextServices.h"

namespace qz {

using support::ChildResult;
using support::EnvironmentLocale;
using support::runInChild;
using namespace std::string_view_literals;

namespace {

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

}  // namespace qz
