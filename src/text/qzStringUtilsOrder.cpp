#include <algorithm>
#include <cctype>
#include <cstdint>
#include <iterator>
#include <limits>
#include <vector>

#include <stdlib.h>

#include <qz/qzStringUtils.h>

#include "TextServices.h"

namespace qz {

namespace {

using Components = std::vector<std::uint32_t>;

bool isBlank(char byte)
{
    return std::isspace(static_cast<unsigned char>(byte)) != 0;
}

// Without blanks around, and without what follows a space.
std::string cutVersion(const std::string& text)
{
    const auto begin = std::find_if_not(text.begin(), text.end(), isBlank);
    const auto end = std::find_if_not(text.rbegin(), std::make_reverse_iterator(begin), isBlank);
    return {begin, std::find(begin, end.base(), ' ')};
}

// An empty component is 0: nothing is parsed, and the parser ends where the component does.
bool parseComponent(const char* begin, const char* end, std::uint32_t& value)
{
    char* parsedEnd = nullptr;
    const long long parsed = ::strtoll_l(begin, &parsedEnd, 0, text::getCLocale());
    if (parsedEnd != end) return false;
    value = static_cast<std::uint32_t>(parsed);
    return parsed >= 0 && parsed <= std::numeric_limits<std::uint32_t>::max();
}

// No component leaves the list empty, as do a component that isn't a number and a bound of 0.
Components parseVersion(const std::string& text, unsigned long maxComponents)
{
    // A number ends at a point as at the end of the text, so the components need no copies.
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
