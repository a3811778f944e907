// SPDX-License-Identifier: MIT
#include <qz/qzStringUtils.h>

#include "rows.h"

namespace bench {

namespace {

using qz::qzStringUtils;

struct Library {
    using Text = std::string;

    static bool isValid(const std::string& text) { return qzStringUtils::IsUtf8String(text); }
    static std::size_t count(const std::string& text) { return qzStringUtils::CountUtf8Char(text); }
    static std::size_t find(const std::string& text, const std::string& needle)
    {
        return qzStringUtils::FindCaseSensitive(text, needle, 0);
    }
    static std::size_t findCaseless(const std::string& text, const std::string& needle)
    {
        return qzStringUtils::FindCaseInsensitive(text, needle, 0);
    }
    static void replace(Text& text, const std::string& from, const std::string& to)
    {
        qzStringUtils::ReplaceAllOccurrences(text, from, to);
    }
    static std::size_t escape(const std::string& text)
    {
        std::string escaped = text;
        qzStringUtils::EscapeXmlString(escaped);
        return escaped.size();
    }
};

const char* const kName = "qz";
const ValidateRows<Library> kValidate(kName);
const CountRows<Library> kCount(kName);
const FindRows<Library> kFind(kName);
const FindCaselessRows<Library> kFindCaseless(kName);
const ReplaceRows<Library> kReplace(kName);
const EscapeRows<Library> kEscape(kName);

// How the time grows with the size: these have no contender.

template <std::size_t Tenths>
void measureCount(benchmark::State& state)
{
    const std::string& text = getText(TextKind::Mixed, getMegabyte() / 10 * Tenths);
    impl::measure(state, text.size(), [&text] { return Library::count(text); });
}

template <std::size_t Tenths>
void measureFind(benchmark::State& state)
{
    const Haystack& haystack = getCommonHaystack(getMegabyte() / 10 * Tenths);
    impl::measure(state, haystack.text.size(),
                  [&haystack] { return Library::find(haystack.text, haystack.needle); });
}

template <std::size_t Tenths>
void measureReplace(benchmark::State& state)
{
    const std::string& lines = getLines(getMegabyte() / 10 * Tenths);
    impl::measure(state, lines.size(), [&lines] {
        std::string text = lines;
        Library::replace(text, kWord, kLongerWord);
        return text;
    });
}

const Case kGrowth[] = {
    {"count 0.1 MB, mixed", kName, measureCount<1>},
    {"count 10 MB, mixed", kName, measureCount<100>},
    {"find in 0.1 MB", kName, measureFind<1>},
    {"find in 10 MB", kName, measureFind<100>},
    {"replace in 0.1 MB", kName, measureReplace<1>},
    {"replace in 10 MB", kName, measureReplace<100>},
};

}  // namespace

}  // namespace bench
