// SPDX-License-Identifier: MIT
#include "rows.h"

#include <map>
#include <random>
#include <utility>

#include <malloc.h>

namespace bench {

namespace {

// Freed memory stays with the process, as in one that works on large texts all the time. Otherwise
// the rows that make a new text would mostly measure the page faults for it.
[[maybe_unused]] const bool kKeepsMemory =
    ::mallopt(M_MMAP_THRESHOLD, 32 << 20) != 0 && ::mallopt(M_TRIM_THRESHOLD, 1 << 30) != 0;

const char* const kWords[] = {
    "the",   "of",     "and",   "to",      "a",     "in",   "is",      "that",  "was",   "for",
    "it",    "with",   "as",    "his",     "on",    "be",   "at",      "by",    "had",   "not",
    "are",   "but",    "from",  "or",      "have",  "an",   "they",    "which", "one",   "you",
    "were",  "system", "time",  "value",   "these", "line", "process", "file",  "there", "other",
    "entry", "thread", "would", "without", "being", "more", "before",  "state", "text",  "number",
};

const char* const kMixed[] = {
    "a",      "e",      "n",      "r",      " ",      "t",      "\u00e9",
    "\u00fc", "\u03bb", "\u0436", "\u20ac", "\u65e5", "\u672c", "\U0001F600",
};
const char* const kCjk[] = {"\u65e5", "\u672c", "\u8a9e", "\u6f22", "\u5b57", "\u3042", "\u30ab"};

template <std::size_t Count>
const char* choose(std::mt19937& random, const char* const (&texts)[Count])
{
    return texts[random() % Count];
}

const char* makeCodePoint(std::mt19937& random, TextKind kind)
{
    return kind == TextKind::Mixed ? choose(random, kMixed) : choose(random, kCjk);
}

std::string makeProse(std::size_t size)
{
    std::mt19937 random(1);
    std::string text;
    while (text.size() < size) {
        text += choose(random, kWords);
        text += random() % 12 == 0 ? ",\n" : " ";
    }
    text.resize(size);
    return text;
}

std::string makeText(TextKind kind, std::size_t size)
{
    if (kind == TextKind::Ascii) return makeProse(size);
    std::mt19937 random(2);
    std::string text;
    for (;;) {
        const std::string next = makeCodePoint(random, kind);
        if (text.size() + next.size() > size) return text;
        text += next;
    }
}

Haystack makeHaystack(std::string text, const std::string& needle, const std::string& asked)
{
    text.replace(text.size() - needle.size(), needle.size(), needle);
    return {std::move(text), asked};
}

}  // namespace

const std::string kWord = "{name}";
const std::string kLongerWord = "Alexandra";
const std::string kOtherWord = "Robert";

std::size_t getMegabyte()
{
    return sized(1000000, 1000);
}

const std::string& getText(TextKind kind, std::size_t size)
{
    static std::map<std::pair<TextKind, std::size_t>, std::string> texts;
    std::string& text = texts[{kind, size}];
    if (text.empty()) text = makeText(kind, size);
    return text;
}

std::size_t getCodePoints(TextKind kind, std::size_t size)
{
    std::size_t count = 0;
    for (const char byte : getText(kind, size))
        count += (byte & 0xC0) != 0x80;
    return count;
}

const Haystack& getRareHaystack()
{
    static const Haystack haystack = makeHaystack(makeProse(getMegabyte()), "Quixote", "Quixote");
    return haystack;
}

const Haystack& getCommonHaystack(std::size_t size)
{
    static std::map<std::size_t, Haystack> haystacks;
    Haystack& haystack = haystacks[size];
    if (haystack.text.empty()) haystack = makeHaystack(makeProse(size), "thesaurus", "thesaurus");
    return haystack;
}

const Haystack& getRunHaystack()
{
    const std::string needle = std::string(15, '-') + "|";
    static const Haystack haystack = makeHaystack(std::string(getMegabyte(), '-'), needle, needle);
    return haystack;
}

const Haystack& getCaselessHaystack()
{
    static const Haystack haystack =
        makeHaystack(makeProse(getMegabyte()), "Thesaurus", "tHESAURUS");
    return haystack;
}

const std::string& getLines(std::size_t size)
{
    static std::map<std::size_t, std::string> texts;
    std::string& text = texts[size];
    if (!text.empty()) return text;
    text = makeProse(size);
    std::mt19937 random(3);
    for (std::size_t place = 20; place + kWord.size() <= size; place += 35 + random() % 36)
        text.replace(place, kWord.size(), kWord);
    return text;
}

std::string replaceWord(const std::string& lines, const std::string& by)
{
    std::string text;
    for (std::size_t i = 0; i < lines.size();) {
        const bool isWord = lines.compare(i, kWord.size(), kWord) == 0;
        text += isWord ? by : lines.substr(i, 1);
        i += isWord ? kWord.size() : 1;
    }
    return text;
}

const std::string& getXmlText()
{
    static const std::string text = [] {
        std::string made = makeProse(getMegabyte());
        std::mt19937 random(4);
        for (std::size_t place = 5; place < made.size(); place += 1 + random() % 39)
            made[place] = "<>&\""[random() % 4];
        return made;
    }();
    return text;
}

}  // namespace bench
