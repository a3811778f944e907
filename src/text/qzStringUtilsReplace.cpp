// SPDX-License-Identifier: MIT
#include <qz/qzStringUtils.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
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

// Calls `visit` with each place that the finder has not found yet. The search has always passed the
// place that is visited, so the text up to the end of that place may be overwritten.
template <typename Visit>
std::size_t visitPlaces(text::MatchFinder finder, Visit visit)
{
    constexpr std::size_t kPlaces = 256;
    std::size_t places[kPlaces];
    std::size_t total = 0;
    for (std::size_t count = kPlaces; count == kPlaces;) {
        count = finder.next(places, kPlaces);
        total += count;
        for (std::size_t i = 0; i < count; ++i)
            visit(places[i]);
    }
    return total;
}

// Writes a text with its replacements to `out`, which may be the text's own memory if `to` is not
// longer than `from`.
class ReplacedText {
public:
    ReplacedText(char* out, std::string_view text, std::string_view from, std::string_view to)
        : mOut(out), mIn(text.data()), mText(text), mFromSize(from.size()), mTo(to)
    {
    }

    void replace(std::size_t place)
    {
        copyUpTo(place);
        mOut = appendBytes(mOut, mTo.data(), mTo.size());
        mIn += mFromSize;
    }

    // Returns the end of what is written.
    const char* finish()
    {
        copyUpTo(mText.size());
        return mOut;
    }

private:
    void copyUpTo(std::size_t place)
    {
        const char* const end = mText.data() + place;
        const auto size = static_cast<std::size_t>(end - mIn);
        mOut = mOut != mIn ? appendBytes(mOut, mIn, size) : mOut + size;
        mIn = end;
    }

    char* mOut;
    const char* mIn;
    std::string_view mText;
    std::size_t mFromSize;
    std::string_view mTo;
};

std::size_t replaceInPlace(std::string& text, std::string_view from, std::string_view to)
{
    ReplacedText result(text.data(), text, from, to);
    const std::size_t count = visitPlaces(text::MatchFinder(text, from),
                                          [&](std::size_t place) { result.replace(place); });
    text.resize(static_cast<std::size_t>(result.finish() - text.data()));
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

// A list of places that needs a quarter of the text's memory at the most, and none for short texts.
class PlaceList {
public:
    explicit PlaceList(std::size_t textSize) : mRoom(std::max(kShortList, textSize / kTextPerPlace))
    {
        if (mRoom > kShortList) mLong = std::make_unique_for_overwrite<std::size_t[]>(mRoom);
    }
    // Finds as many places as it has room for. Returns whether there may be more.
    bool fill(text::MatchFinder& finder)
    {
        std::size_t* const places = mLong ? mLong.get() : mShort;
        mPlaces = {places, finder.next(places, mRoom)};
        return mPlaces.size() == mRoom;
    }
    std::span<const std::size_t> get() const { return mPlaces; }

private:
    static constexpr std::size_t kShortList = 256;
    static constexpr std::size_t kTextPerPlace = 4 * sizeof(std::size_t);

    std::size_t mRoom;
    std::unique_ptr<std::size_t[]> mLong;
    std::size_t mShort[kShortList];
    std::span<const std::size_t> mPlaces;
};

// Places that the list has no room for are searched twice, to count and to write.
std::size_t replaceWithLonger(std::string& text, std::string_view from, std::string_view to)
{
    text::MatchFinder finder(text, from);
    PlaceList places(text.size());
    const bool hasMore = places.fill(finder);
    std::size_t count = places.get().size();
    if (hasMore) count += visitPlaces(finder, [](std::size_t /*place*/) {});
    if (count == 0) return 0;
    std::string memory(addGrowth(text.size(), count, to.size() - from.size()), '\0');
    ReplacedText result(memory.data(), text, from, to);
    for (const std::size_t place : places.get())
        result.replace(place);
    if (hasMore) visitPlaces(finder, [&](std::size_t place) { result.replace(place); });
    result.finish();
    text = std::move(memory);
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
