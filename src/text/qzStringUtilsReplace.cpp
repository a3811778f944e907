#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#include <qz/qzStringUtils.h>

#include "ByteSearch.h"

namespace qz {

namespace {

using Places = std::vector<std::size_t>;

// Two words that may overlap each other make any number of bytes between one word and two.
template <typename Word>
void copyWords(char* out, const char* bytes, std::size_t size)
{
    Word first;
    Word last;
    std::memcpy(&first, bytes, sizeof first);
    std::memcpy(&last, bytes + size - sizeof last, sizeof last);
    std::memcpy(out, &first, sizeof first);
    std::memcpy(out + size - sizeof last, &last, sizeof last);
}

// What is copied again and again is short mostly, and then the call of a function costs more than
// the copy. `bytes` may overlap `out`.
char* appendBytes(char* out, const char* bytes, std::size_t size)
{
    if (size > 2 * sizeof(std::uint64_t))
        std::memmove(out, bytes, size);
    else if (size >= sizeof(std::uint64_t))
        copyWords<std::uint64_t>(out, bytes, size);
    else if (size >= sizeof(std::uint32_t))
        copyWords<std::uint32_t>(out, bytes, size);
    else if (size >= sizeof(std::uint16_t))
        copyWords<std::uint16_t>(out, bytes, size);
    else if (size != 0)
        *out = *bytes;
    return out + size;
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
            out = appendBytes(out, to.data(), to.size());
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
    std::string result(size, '\0');
    char* out = result.data();
    const char* in = text.data();
    for (const std::size_t place : places) {
        const char* const found = text.data() + place;
        out = appendBytes(out, in, static_cast<std::size_t>(found - in));
        out = appendBytes(out, to.data(), to.size());
        in = found + from.size();
    }
    appendBytes(out, in, static_cast<std::size_t>(text.data() + text.size() - in));
    text = std::move(result);
    return static_cast<unsigned int>(places.size());
}

}  // namespace

unsigned int qzStringUtils::ReplaceAllOccurrences(std::string& text, const std::string& from,
                                                  const std::string& to)
{
    if (from.empty()) throw std::length_error("An empty text can't be replaced");
    return to.size() <= from.size() ? replaceInPlace(text, from, to)
                                    : replaceWithLonger(text, from, to);
}

}  // namespace qz
