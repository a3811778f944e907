#include <qz/qzStringUtils.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "ByteSearch.h"
#include "ByteVectors.h"

namespace qz {

namespace {

// --- Occurrences of a text

// Two words that may overlap copy any number of bytes between the size of one word and of two.
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

// Most pieces are short, and then the call of a function costs more than the copy. `bytes` may
// overlap `out`.
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

// Calls `visit` with each place of `needle`. The search has always passed the place that is
// visited, so the text up to the end of that place may be overwritten.
template <typename Visit>
std::size_t visitPlaces(std::string_view text, std::string_view needle, Visit visit)
{
    constexpr std::size_t kPlaces = 256;
    std::size_t places[kPlaces];
    text::MatchFinder finder(text, needle);
    std::size_t total = 0;
    for (std::size_t count = kPlaces; count == kPlaces;) {
        count = finder.next(places, kPlaces);
        total += count;
        for (std::size_t i = 0; i < count; ++i)
            visit(places[i]);
    }
    return total;
}

// Writes the text with its replacements to `out`, which may be the text's own memory if `to` is not
// longer than `from`. Returns the end.
char* writeReplaced(char* out, std::string_view text, std::string_view from, std::string_view to,
                    std::size_t& count)
{
    const char* in = text.data();
    const auto copyUpTo = [&](const char* end) {
        const auto size = static_cast<std::size_t>(end - in);
        out = out != in ? appendBytes(out, in, size) : out + size;
    };
    count = visitPlaces(text, from, [&](std::size_t place) {
        copyUpTo(text.data() + place);
        out = appendBytes(out, to.data(), to.size());
        in = text.data() + place + from.size();
    });
    copyUpTo(text.data() + text.size());
    return out;
}

std::size_t replaceInPlace(std::string& text, std::string_view from, std::string_view to)
{
    std::size_t count = 0;
    const char* const end = writeReplaced(text.data(), text, from, to, count);
    text.resize(static_cast<std::size_t>(end - text.data()));
    return count;
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

// Searches twice: a list of the places could need more memory than the text.
std::size_t replaceWithLonger(std::string& text, std::string_view from, std::string_view to)
{
    std::size_t count = visitPlaces(text, from, [](std::size_t /*place*/) {});
    if (count == 0) return 0;
    std::string result(addGrowth(text.size(), count, to.size() - from.size()), '\0');
    writeReplaced(result.data(), text, from, to, count);
    text = std::move(result);
    return count;
}

// --- XML entities

using text::Vector16;
constexpr std::size_t kBlock = Vector16::kSize;

// Always eight bytes, so that all of them are copied at once.
struct Entity {
    char text[8];
    std::size_t size;
};

constexpr Entity kQuote = {"&quot;", 6};
constexpr Entity kApostrophe = {"&apos;", 6};
constexpr Entity kAmpersand = {"&amp;", 5};
constexpr Entity kLess = {"&lt;", 4};
constexpr Entity kGreater = {"&gt;", 4};

const Entity* findEntity(char byte)
{
    switch (byte) {
        case '"':
            return &kQuote;
        case '\'':
            return &kApostrophe;
        case '&':
            return &kAmpersand;
        case '<':
            return &kLess;
        case '>':
            return &kGreater;
        default:
            return nullptr;
    }
}

// A vector for each class of characters, with 0xFF at their bytes. The two angle signs differ in
// one bit only.
struct EntityBytes {
    explicit EntityBytes(Vector16 bytes)
        : quotes((bytes == Vector16::fill('"')) | (bytes == Vector16::fill('\''))),
          ampersands(bytes == Vector16::fill('&')),
          angles((bytes | Vector16::fill('<' ^ '>')) == Vector16::fill('>'))
    {
    }
    std::uint64_t bits() const { return (quotes | ampersands | angles).highBits(); }
    // The bytes that the entities need in addition.
    std::size_t growth() const
    {
        return ((quotes & Vector16::fill(5)) | (ampersands & Vector16::fill(4)) |
                (angles & Vector16::fill(3)))
            .sum();
    }

    Vector16 quotes;
    Vector16 ampersands;
    Vector16 angles;
};

std::size_t measureGrowth(const std::string& text)
{
    const char* in = text.data();
    const char* const end = in + text.size();
    std::size_t growth = 0;
    for (; end - in >= std::ptrdiff_t{kBlock}; in += kBlock)
        growth += EntityBytes(Vector16::load(in)).growth();
    for (; in != end; ++in) {
        if (const Entity* const entity = findEntity(*in)) growth += entity->size - 1;
    }
    return growth;
}

char* appendEntity(char* out, const Entity& entity)
{
    std::memcpy(out, entity.text, sizeof entity.text);
    return out + entity.size;
}

// Writes up to one block beyond the end of the escaped text.
void escapeTo(char* out, const std::string& text)
{
    const char* in = text.data();
    const char* const end = in + text.size();
    while (end - in >= std::ptrdiff_t{kBlock}) {
        const Vector16 bytes = Vector16::load(in);
        bytes.store(out);
        const std::uint64_t bits = EntityBytes(bytes).bits();
        const std::size_t plain =
            bits != 0 ? static_cast<std::size_t>(__builtin_ctzll(bits)) : kBlock;
        in += plain;
        out += plain;
        if (bits != 0) out = appendEntity(out, *findEntity(*in++));
    }
    for (; in != end; ++in) {
        const Entity* const entity = findEntity(*in);
        if (entity != nullptr)
            out = appendEntity(out, *entity);
        else
            *out++ = *in;
    }
}

}  // namespace

unsigned int qzStringUtils::ReplaceAllOccurrences(std::string& text, const std::string& from,
                                                  const std::string& to)
{
    if (from.empty()) throw std::length_error("An empty text can't be replaced");
    const std::size_t count = to.size() <= from.size() ? replaceInPlace(text, from, to)
                                                       : replaceWithLonger(text, from, to);
    return static_cast<unsigned int>(count);
}

void qzStringUtils::EscapeXmlString(std::string& text)
{
    const std::size_t growth = measureGrowth(text);
    if (growth == 0) return;
    const std::size_t size = text.size() + growth;
    std::string result(size + kBlock, '\0');
    escapeTo(result.data(), text);
    result.resize(size);
    text = std::move(result);
}

}  // namespace qz
