// SPDX-License-Identifier: MIT
#include "documents.h"

#include <charconv>
#include <iterator>
#include <random>
#include <string_view>

#include <qz/ext/Json.h>

namespace bench {

namespace {

constexpr unsigned kSeed = 20'265;
constexpr std::size_t kDocumentSize = 1'000'000;

using Random = std::mt19937_64;

std::string makeWord(Random& random)
{
    std::string word(2 + random() % 8, ' ');
    for (char& c : word)
        c = static_cast<char>('a' + random() % 26);
    return word;
}

std::string quote(const std::string& text)
{
    return '"' + text + '"';
}

// A number from 0.001 on, in the shortest form.
std::string toText(double value)
{
    char text[32];
    const std::string shortest(text, std::to_chars(text, text + sizeof text, value).ptr);
    return shortest.find('.') == std::string::npos ? shortest + ".0" : shortest;
}

// From 1 up to `limit`, with as many decimals at most as the scale has zeros.
std::string makeReal(Random& random, std::uint64_t limit, std::uint64_t scale)
{
    return toText(static_cast<double>(scale + random() % (limit * scale)) /
                  static_cast<double>(scale));
}

std::string makeLongReal(Random& random)
{
    return toText(1 + static_cast<double>(random() >> 11U) * 0x1p-53);
}

std::string makeRecord(Random& random)
{
    const std::string first = makeWord(random);
    const std::string last = makeWord(random);
    std::string tags;
    for (std::size_t count = random() % 4; count != 0; --count)
        tags += (tags.empty() ? "" : ",") + quote(makeWord(random));
    return R"({"active":)" + std::string(random() % 2 == 0 ? "true" : "false") +
           R"(,"address":{"city":)" + quote("K\xc3\xb6ln") + R"(,"street":)" +
           quote(makeWord(random) + ' ' + std::to_string(random() % 200)) + R"(,"zip":)" +
           std::to_string(10000 + random() % 90000) + R"(},"balance":)" +
           makeReal(random, 10'000, 100) + R"(,"created":)" +
           quote("2026-0" + std::to_string(1 + random() % 9) + "-11T10:20:30Z") + R"(,"email":)" +
           quote(first + '.' + last + "@example.org") + R"(,"id":)" +
           std::to_string(random() % 100'000'000) + R"(,"manager":null,"name":)" +
           quote(first + ' ' + last) + R"(,"position":[)" + makeReal(random, 90, 1'000'000) + ',' +
           makeReal(random, 180, 1'000'000) + R"(],"tags":[)" + tags + "]}";
}

std::string makeRow(Random& random)
{
    std::string row;
    const bool isOfReals = random() % 4 != 0;
    for (int i = 0; i != 1000; ++i) {
        row += i == 0 ? '[' : ',';
        row += isOfReals ? makeLongReal(random) : std::to_string(random() >> (random() % 60 + 2));
    }
    return row + ']';
}

std::string makeText(Random& random)
{
    static constexpr std::string_view parts[] = {", ", ". ", "\\n", " \\\"so\\\" ",
                                                 " gr\xc3\xbc\xc3\x9f"
                                                 "e "};
    static constexpr std::string_view cjk = "\xe6\x9d\xb1\xe4\xba\xac\xe3\x81\xaf";
    const std::size_t size = 500 + random() % 1000;
    const bool isCjk = random() % 8 == 0;
    std::string text;
    while (text.size() < size) {
        text += isCjk ? std::string(cjk) : makeWord(random);
        text += random() % 12 == 0 ? parts[random() % std::size(parts)] : " ";
    }
    return quote(text);
}

std::string makeNesting(Random& random)
{
    std::string open;
    std::string close;
    for (int level = 0; level != 44; ++level) {
        open += R"([{"a":)" + std::to_string(random() % 1000) + R"(,"b":)";
        close += "}]";
    }
    return open + "[]" + close;
}

// An array of so many elements that it has the size of a document.
std::string makeArray(std::string (*makeElement)(Random&))
{
    Random random(kSeed);
    std::string text;
    while (text.size() < sized(kDocumentSize, 20'000)) {
        text += text.empty() ? '[' : ',';
        text += makeElement(random);
    }
    return text + ']';
}

}  // namespace

const Documents& getDocuments()
{
    static const Documents documents = {makeArray(makeRecord), makeArray(makeRow),
                                        makeArray(makeText), makeArray(makeNesting)};
    return documents;
}

bool isSameDocument(const std::string& text, const std::string& expected)
{
    const qz::ext::JsonReadResult result = qz::ext::readJson(text);
    return result.isSuccess() && result.value == qz::ext::readJson(expected).value;
}

}  // namespace bench
