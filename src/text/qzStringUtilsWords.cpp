#include <algorithm>
#include <cctype>
#include <charconv>
#include <iterator>
#include <utility>

#include <qz/qzStringUtils.h>

#include "LowerCase.h"

namespace qz {

namespace {

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

bool isBlank(char byte)
{
    return std::isspace(static_cast<unsigned char>(byte)) != 0;
}

// The number's own digits and sign, filled up in front.
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

bool qzStringUtils::parseBool(const std::string_view& text, bool& value)
{
    value = false;
    if (findBoolWord(text, value)) return true;
    std::string lowered(text);
    text::makeLowerCase(lowered);
    const auto begin = std::find_if_not(lowered.begin(), lowered.end(), isBlank);
    const auto end = std::find_if_not(lowered.rbegin(), std::make_reverse_iterator(begin), isBlank);
    return findBoolWord(
        std::string_view(lowered).substr(static_cast<std::size_t>(begin - lowered.begin()),
                                         static_cast<std::size_t>(end.base() - begin)),
        value);
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
