// SPDX-License-Identifier: MIT
// Checks, searches, replaces and escapes in a text of chance, and compares with the plain forms.
// The first two bytes are the sizes of the texts that follow, one to search for and one to put in
// its place; the third one is where the search begins and where the text is cut in two.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <qz/qzStringUtils.h>

#include "../tests/text/PlainText.h"
#include "support/FuzzInput.h"

namespace {

using qz::qzStringUtils;
using qz::fuzz::expectSame;
using qz::fuzz::FuzzInput;
namespace plain = qz::plain;

void checkUtf8(const std::string& text)
{
    const std::size_t count = plain::countUtf8(text);
    const bool isUtf8 = count != plain::kNone;
    expectSame(qzStringUtils::IsUtf8String(text) == isUtf8, "IsUtf8String");
    expectSame(qzStringUtils::CountUtf8Char(text) == (isUtf8 ? count : 0), "CountUtf8Char");
    const std::string known = qzStringUtils::UnknownEncodingToUtf8(text, '?');
    expectSame(plain::countUtf8(known) != plain::kNone, "UnknownEncodingToUtf8");
    expectSame(!isUtf8 || known == text, "UnknownEncodingToUtf8 of UTF-8");
}

void checkSearch(const std::string& text, const std::string& what, std::size_t from)
{
    const std::size_t caseless = plain::findIgnoringCase(text, what, from);
    expectSame(qzStringUtils::FindCaseSensitive(text, what, from) == text.find(what, from),
               "FindCaseSensitive");
    expectSame(qzStringUtils::FindCaseInsensitive(text, what, from) == caseless,
               "FindCaseInsensitive");
    expectSame(qzStringUtils::Contains(text, what, true) == (text.find(what) != plain::kNone),
               "Contains");
}

void checkAstride(const std::string& text, const std::string& what, std::size_t cut)
{
    if (what.empty() || cut > text.size()) return;
    const std::string first = text.substr(0, cut);
    const std::string second = text.substr(cut);
    const char* found = nullptr;
    const int where = qzStringUtils::FindFirstAstrideBuffers(
        first.data(), first.data() + first.size(), second.data(), second.data() + second.size(),
        what.data(), what.data() + what.size(), found);
    const std::size_t place = text.find(what);
    if (place == plain::kNone) {
        expectSame(where == 0 && found == nullptr, "FindFirstAstrideBuffers of nothing");
    } else if (place >= cut) {
        expectSame(where == 2 && found == second.data() + (place - cut), "in the second buffer");
    } else {
        expectSame(where == (place + what.size() <= cut ? 1 : 3) && found == first.data() + place,
                   "in the first buffer");
    }
}

void checkChanges(const std::string& text, const std::string& from, const std::string& to)
{
    std::string escaped = text;
    qzStringUtils::EscapeXmlString(escaped);
    expectSame(escaped == plain::escapeXml(text), "EscapeXmlString");

    std::string clean;
    qzStringUtils::RemoveAsciiNonPrintableChar(text.data(), text.size(), clean);
    expectSame(qzStringUtils::ContainsAsciiNonPrintableChar(text) == (clean != text),
               "RemoveAsciiNonPrintableChar");
    expectSame(!qzStringUtils::ContainsAsciiNonPrintableChar(clean), "what is left");

    if (from.empty()) return;
    std::string replaced = text;
    std::string expected = text;
    const unsigned count = qzStringUtils::ReplaceAllOccurrences(replaced, from, to);
    expectSame(count == plain::replaceAll(expected, from, to), "the count of replacements");
    expectSame(replaced == expected, "ReplaceAllOccurrences");
}

void checkBool(const std::string& text)
{
    const int expected = plain::parseBool(text);
    bool value = true;
    expectSame(qzStringUtils::parseBool(text, value) == (expected >= 0), "parseBool");
    expectSame(value == (expected == 1), "the value of parseBool");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool isUp = qzStringUtils::InitializeStringUtils();
    expectSame(isUp, "the start of the services");
    FuzzInput input(data, size);
    const std::size_t whatSize = input.takeByte();
    const std::size_t toSize = input.takeByte();
    const std::size_t from = input.takeByte();
    const std::string what = input.takeBytes(whatSize);
    const std::string to = input.takeBytes(toSize);
    const std::string text = input.takeRest();
    checkUtf8(text);
    checkSearch(text, what, from);
    checkAstride(text, what, from);
    checkChanges(text, what, to);
    checkBool(text);
    return 0;
}
