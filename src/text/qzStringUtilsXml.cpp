#include <cstring>
#include <utility>

#include <qz/qzStringUtils.h>

#include "ByteVectors.h"

namespace qz {

namespace {

using text::Vector16;
constexpr std::size_t kBlock = Vector16::kSize;

// Filled up with NULs, so that it can be copied without a look at its size.
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

// Each class as a vector with 0xFF at its bytes. The two angle signs differ in one bit only.
struct EntityBytes {
    explicit EntityBytes(Vector16 bytes)
        : quotes((bytes == Vector16::fill('"')) | (bytes == Vector16::fill('\''))),
          ampersands(bytes == Vector16::fill('&')),
          angles((bytes | Vector16::fill('<' ^ '>')) == Vector16::fill('>'))
    {
    }
    std::uint64_t bits() const { return (quotes | ampersands | angles).highBits(); }
    // How much longer the entities are.
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

// Writes up to a block more than the escaped text has.
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
