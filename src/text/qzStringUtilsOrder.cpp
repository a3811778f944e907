// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <stdlib.h>

#include <qz/qzStringUtils.h>

#include "Characters.h"
#include "TextServices.h"

namespace qz {

namespace {

using Components = std::vector<std::uint32_t>;

// Without white space at the ends, and up to the first space.
std::string cutVersion(const std::string& text)
{
    const std::string_view trimmed = text::trim(text);
    return std::string(trimmed.substr(0, trimmed.find(' ')));
}

// An empty component is 0: the parser stops at once, at the end of the component.
bool parseComponent(const char* begin, const char* end, std::uint32_t& value)
{
    char* parsedEnd = nullptr;
    const long long parsed = ::strtoll_l(begin, &parsedEnd, 0, text::getCLocale());
    if (parsedEnd != end) return false;
    value = static_cast<std::uint32_t>(parsed);
    return parsed >= 0 && parsed <= std::numeric_limits<std::uint32_t>::max();
}

// The list is empty if a component isn't a number, and if `maxComponents` is 0.
Components parseVersion(const std::string& text, unsigned long maxComponents)
{
    // The parser stops at a point, so the components needn't be copied.
    const std::string version = cutVersion(text);
    const char* const textEnd = version.data() + version.size();
    Components components;
    const char* begin = version.data();
    while (components.size() < maxComponents) {
        const char* const end = std::find(begin, textEnd, '.');
        if (!parseComponent(begin, end, components.emplace_back())) return {};
        if (end == textEnd) break;
        begin = end + 1;
    }
    return components;
}

}  // namespace

int qzStringUtils::CompareUTF8Natural(const std::string& a, const std::string& b,
                                      bool /*caseSensitive*/)
{
    return a < b ? 1 : 0;
}

int qzStringUtils::CompareUTF16Natural(const wchar_t* a, unsigned long lengthA, const wchar_t* b,
                                       unsigned long lengthB, bool /*caseSensitive*/)
{
    return std::wstring(a, lengthA) < std::wstring(b, lengthB) ? 1 : 0;
}

bool qzStringUtils::UTF8NaturalSortFunction(const std::string& a, const std::string& b)
{
    return CompareUTF8Natural(a, b, /*caseSensitive=*/true) == -1;
}

bool qzStringUtils::UTF8NaturalSortFunctionCaseInsensitive(const std::string& a,
                                                           const std::string& b)
{
    return CompareUTF8Natural(a, b, /*caseSensitive=*/false) == -1;
}

int qzStringUtils::compareSoftwareVersion(const std::string& a, const std::string& b,
                                          unsigned long maxComponents)
{
    Components ofA = parseVersion(a, maxComponents);
    const Components ofB = parseVersion(b, maxComponents);
    if (ofA.empty() || ofB.empty()) return VersionCompareInvalid;
    ofA.resize(ofB.size());
    if (ofA == ofB) return VersionCompareEqual;
    return ofA < ofB ? VersionCompareLower : VersionCompareHigher;
}

}  // namespace qz
