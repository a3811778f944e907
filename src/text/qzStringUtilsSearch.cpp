#include <algorithm>
#include <string>

#include <qz/qzStringUtils.h>

#include "ByteSearch.h"

namespace qz {

namespace {

std::string_view makeView(const char* begin, const char* end)
{
    return {begin, static_cast<std::size_t>(end - begin)};
}

// Finds a place that begins in the first buffer and ends in the second. What is joined for that is
// so short on both sides of the seam that no place can lie on one side alone.
std::size_t findAtSeam(std::string_view first, std::string_view second, std::string_view what)
{
    const std::size_t before = std::min(first.size(), what.size() - 1);
    std::string seam(first.substr(first.size() - before));
    seam += second.substr(0, what.size() - 1);
    const std::size_t found = text::find(seam, what);
    return found != std::string::npos ? first.size() - before + found : found;
}

}  // namespace

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

}  // namespace qz
