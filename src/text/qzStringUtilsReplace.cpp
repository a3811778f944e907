#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#include <qz/qzStringUtils.h>

#include "ByteSearch.h"
#include "ByteVectors.h"

namespace qz {

namespace {

using Places = std::vector<std::size_t>;

char* appendBytes(char* out, const char* bytes, std::size_t size)
{
    std::memcpy(out, bytes, size);
    return out + size;
}

// Makes a text of `size` bytes from another one, in which `getPiece(byte)` stands for the
// `replaced` bytes that begin with `byte` at each place.
template <typename GetPiece>
std::string rebuild(std::string_view text, const Places& places, std::size_t replaced,
                    std::size_t size, const GetPiece& getPiece)
{
    std::string result(size, '\0');
    char* out = result.data();
    const char* in = text.data();
    for (const std::size_t place : places) {
        const char* const found = text.data() + place;
        out = appendBytes(out, in, static_cast<std::size_t>(found - in));
        const std::string_view piece = getPiece(*found);
        out = appendBytes(out, piece.data(), piece.size());
        in = found + replaced;
    }
    appendBytes(out, in, static_cast<std::size_t>(text.data() + text.size() - in));
    return result;
}

// --- Replacement

// What is not longer goes into the text itself, whose search is always ahead of what was written.
unsigned int replaceInPlace(std::string& text, std::string_view from, std::string_view to)
{
    constexpr std::size_t kRoom = 256;
    std::size_t places[kRoom];
    text::MatchFinder finder(text, from);
    char* const begin = text.data();
    char* out = begin;
    const char* in = begin;
    std::size_t total = 0;
    const auto moveUpTo = [&](const char* end) {
        const auto size = static_cast<std::size_t>(end - in);
        if (out != in) std::memmove(out, in, size);
        out += size;
    };
    for (std::size_t count = kRoom; count == kRoom;) {
        count = finder.next(places, kRoom);
        total += count;
        for (std::size_t i = 0; i < count; ++i) {
            const char* const found = begin + places[i];
            moveUpTo(found);
            std::memmove(out, to.data(), to.size());
            out += to.size();
            in = found + from.size();
        }
    }
    moveUpTo(begin + text.size());
    text.resize(static_cast<std::size_t>(out - begin));
    return static_cast<unsigned int>(total);
}

Places findAll(std::string_view text, std::string_view needle)
{
    constexpr std::size_t kRoom = 256;
    std::size_t found[kRoom];
    text::MatchFinder finder(text, needle);
    Places places;
    for (std::size_t count = kRoom; count == kRoom;) {
        count = finder.next(found, kRoom);
        places.insert(places.end(), found, found + count);
    }
    return places;
}

std::size_t addGrowth(std::size_t size, std::size_t places, std::size_t growth)
{
    std::size_t grown = 0;
    if (__builtin_mul_overflow(places, growth, &grown) ||
        __builtin_add_overflow(grown, size, &grown)) {
        return static_cast<std::size_t>(-1);  // which no text can have
    }
    return grown;
}

unsigned int replaceWithLonger(std::string& text, std::string_view from, std::string_view to)
{
    const Places places = findAll(text, from);
    if (places.empty()) return 0;
    const std::size_t size = addGrowth(text.size(), places.size(), to.size() - from.size());
    text = rebuild(text, places, from.size(), size, [to](char) { return to; });
    return static_cast<unsigned int>(places.size());
}

// --- XML

std::string_view getEntity(char byte)
{
    switch (byte) {
        case '"':
            return "&quot;";
        case '\'':
            return "&apos;";
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        default:
            return {};
    }
}

// The bytes of a vector that have an entity. Ampersand and apostrophe differ in one bit only, as do
// the two angle signs.
std::uint64_t findEntityBytes(const char* bytes)
{
    using text::Vector16;
    const Vector16 vector = Vector16::load(bytes);
    return ((vector == Vector16::fill('"')) |
            ((vector | Vector16::fill('&' ^ '\'')) == Vector16::fill('\'')) |
            ((vector | Vector16::fill('<' ^ '>')) == Vector16::fill('>')))
        .highBits();
}

// Collects the bytes that have an entity. @return how much longer the entities are.
std::size_t findEntities(std::string_view text, Places& places)
{
    constexpr std::size_t kBlock = text::Vector16::kSize;
    std::size_t growth = 0;
    const auto take = [&](std::size_t place) {
        const std::size_t size = getEntity(text[place]).size();
        if (size == 0) return;
        growth += size - 1;
        places.push_back(place);
    };
    std::size_t base = 0;
    for (; text.size() - base >= kBlock; base += kBlock) {
        for (std::uint64_t bits = findEntityBytes(text.data() + base); bits != 0; bits &= bits - 1)
            take(base + static_cast<std::size_t>(__builtin_ctzll(bits)));
    }
    for (; base < text.size(); ++base)
        take(base);
    return growth;
}

}  // namespace

unsigned int qzStringUtils::ReplaceAllOccurrences(std::string& text, const std::string& from,
                                                  const std::string& to)
{
    if (from.empty()) throw std::length_error("An empty text can't be replaced");
    return to.size() <= from.size() ? replaceInPlace(text, from, to)
                                    : replaceWithLonger(text, from, to);
}

void qzStringUtils::EscapeXmlString(std::string& text)
{
    Places places;
    const std::size_t growth = findEntities(text, places);
    if (growth == 0) return;
    text = rebuild(text, places, 1, text.size() + growth, getEntity);
}

}  // namespace qz
