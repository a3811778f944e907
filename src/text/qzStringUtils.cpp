// SPDX-License-Identifier: MIT
#include <qz/qzStringUtils.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "ByteSearch.h"
#include "Characters.h"
#include "Utf8Scan.h"

namespace qz {

namespace {

constexpr std::size_t kSeamOnStack = 1024;  // enough for a pattern of 513 bytes

std::string_view makeView(const char* begin, const char* end)
{
    return {begin, static_cast<std::size_t>(end - begin)};
}

// Finds a place that begins in the first buffer and ends in the second. The joined text is so short
// on both sides of the seam that no place is on one side alone.
std::size_t findAtSeam(std::string_view first, std::string_view second, std::string_view what)
{
    const std::size_t before = std::min(first.size(), what.size() - 1);
    const std::size_t after = std::min(second.size(), what.size() - 1);
    if (before + after < what.size()) return std::string_view::npos;
    char onStack[kSeamOnStack];
    std::string onHeap;
    char* seam = onStack;
    if (before + after > sizeof onStack) {
        onHeap.resize(before + after);
        seam = onHeap.data();
    }
    first.copy(seam, before, first.size() - before);
    second.copy(seam + before, after);
    const std::size_t found = text::find({seam, before + after}, what);
    return found != std::string_view::npos ? first.size() - before + found : found;
}

bool isNonPrintable(char byte)
{
    return static_cast<unsigned char>(byte) < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
}

constexpr std::pair<std::string_view, bool> kBoolWords[] = {
    {"f", false}, {"false", false}, {"0", false}, {"off", false},
    {"t", true},  {"true", true},   {"1", true},  {"on", true},
};

bool findBoolWord(std::string_view text, bool& value)
{
    for (const auto& [word, meaning] : kBoolWords) {
        if (text != word) continue;
        value = meaning;
        return true;
    }
    return false;
}

// The digits and the sign of a number, with leading zeros.
template <typename Number>
std::string writePadded(Number value, int width)
{
    char digits[24];
    const char* const end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
    const auto size = static_cast<std::size_t>(end - digits);
    const std::size_t wanted = width > 0 ? static_cast<std::size_t>(width) : 0;
    std::string text(std::max(size, wanted), '0');
    text.replace(text.size() - size, size, digits, size);
    return text;
}

}  // namespace

// --- Search

bool qzStringUtils::StartsWith(const std::string& text, const std::string& prefix)
{
    return StartsWith(std::string_view(text), std::string_view(prefix));
}

bool qzStringUtils::StartsWith(const std::string_view& text, const std::string_view& prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

std::size_t qzStringUtils::FindCaseSensitive(const std::string& text, const std::string& what,
                                             std::size_t pos)
{
    return text::find(text, what, pos);
}

std::size_t qzStringUtils::FindCaseInsensitive(const std::string& text, const std::string& what,
                                               std::size_t pos)
{
    return text::findIgnoringCase(text, what, pos);
}

bool qzStringUtils::Contains(const std::string& text, const std::string& what, bool caseSensitive)
{
    const std::size_t found =
        caseSensitive ? text::find(text, what) : text::findIgnoringCase(text, what);
    return found != std::string::npos;
}

int qzStringUtils::FindFirstAstrideBuffers(const char* begin1, const char* end1, const char* begin2,
                                           const char* end2, const char* whatBegin,
                                           const char* whatEnd, const char*& found)
{
    found = nullptr;
    const std::string_view first = makeView(begin1, end1);
    const std::string_view second = makeView(begin2, end2);
    const std::string_view what = makeView(whatBegin, whatEnd);
    if (what.empty()) return 0;

    std::size_t place = text::find(first, what);
    if (place != std::string_view::npos) {
        found = begin1 + place;
        return 1;
    }
    place = findAtSeam(first, second, what);
    if (place != std::string_view::npos) {
        found = begin1 + place;
        return 3;
    }
    place = text::find(second, what);
    if (place == std::string_view::npos) return 0;
    found = begin2 + place;
    return 2;
}

// --- Bytes and characters

bool qzStringUtils::IsUtf8String(const std::string& text)
{
    return text::isUtf8(text);
}

std::size_t qzStringUtils::CountUtf8Char(const std::string& text)
{
    return text::countUtf8(text);
}

bool qzStringUtils::ContainsAsciiNonPrintableChar(const char* data, std::size_t length)
{
    return std::any_of(data, data + length, isNonPrintable);
}

bool qzStringUtils::ContainsAsciiNonPrintableChar(const std::string& text)
{
    return ContainsAsciiNonPrintableChar(text.data(), text.size());
}

void qzStringUtils::RemoveAsciiNonPrintableChar(const char* data, std::size_t length,
                                                std::string& out)
{
    out.reserve(out.size() + length);
    const char* const end = data + length;
    while (data != end) {
        const char* const runEnd = std::find_if(data, end, isNonPrintable);
        out.append(data, runEnd);
        data = std::find_if_not(runEnd, end, isNonPrintable);
    }
}

// --- Words and numbers

bool qzStringUtils::parseBool(const std::string_view& text, bool& value)
{
    value = false;
    if (findBoolWord(text, value)) return true;
    std::string lowered(text);
    text::makeLowerCase(lowered);
    return findBoolWord(text::trim(lowered), value);
}

bool qzStringUtils::parseBool(const char* data, std::size_t length, bool& value)
{
    return parseBool(std::string_view(data, length), value);
}

std::string qzStringUtils::fromInt(int value, int width)
{
    return writePadded(value, width);
}

std::string qzStringUtils::fromUInt64(unsigned long value, int width)
{
    return writePadded(value, width);
}

}  // namespace qz
