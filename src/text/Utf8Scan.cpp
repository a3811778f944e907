// SPDX-License-Identifier: MIT
#include "Utf8Scan.h"

#include <cstdint>
#include <cstring>

#include <utf8.h>

#include "ByteVectors.h"
#include "SimdLevel.h"
#include "Utf8Levels.h"

namespace qz::text {

namespace {

bool isAsciiWord(const char* bytes)
{
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return (word & 0x8080808080808080) == 0;
}

// For fewer than 16 bytes. The second word overlaps the first.
bool isAsciiRest(const char* begin, const char* end)
{
    if (end - begin >= 8) return isAsciiWord(begin) && isAsciiWord(end - 8);
    for (; begin != end; ++begin) {
        if (static_cast<unsigned char>(*begin) >= 0x80) return false;
    }
    return true;
}

std::size_t countChecked(std::string_view text)
{
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    switch (getSimdLevel()) {
        case SimdLevel::Avx2:
            return countUtf8Avx2(begin, end);
        case SimdLevel::Ssse3:
            return countUtf8Ssse3(begin, end);
        case SimdLevel::Sse2:
            break;
    }
    return countUtf8Plain(begin, end);
}

// Most short texts are ASCII, which is found faster without the tables.
bool isShortAscii(std::string_view text)
{
    return text.size() <= 64 && isAscii(text);
}

}  // namespace

bool isAscii(std::string_view text)
{
    const char* begin = text.data();
    const char* const end = begin + text.size();
    if (text.size() < Vector16::kSize) return isAsciiRest(begin, end);
    for (; end - begin > std::ptrdiff_t{Vector16::kSize}; begin += Vector16::kSize) {
        if (Vector16::load(begin).highBits() != 0) return false;
    }
    // The last vector overlaps the one before, so that no byte is checked alone.
    return Vector16::load(end - Vector16::kSize).highBits() == 0;
}

bool isUtf8(std::string_view text)
{
    return isShortAscii(text) || countChecked(text) != kNotUtf8;
}

std::size_t countUtf8(std::string_view text)
{
    if (isShortAscii(text)) return text.size();
    const std::size_t count = countChecked(text);
    return count != kNotUtf8 ? count : 0;
}

std::size_t countUtf8Plain(const char* begin, const char* end)
{
    std::size_t count = 0;
    try {
        for (; begin != end; ++count) {
            // Whole vectors of ASCII need no decoding.
            while (end - begin >= std::ptrdiff_t{Vector16::kSize} &&
                   Vector16::load(begin).highBits() == 0) {
                begin += Vector16::kSize;
                count += Vector16::kSize;
            }
            if (begin == end) break;
            utf8::next(begin, end);
        }
    } catch (const utf8::exception&) {
        return kNotUtf8;
    }
    return count;
}

}  // namespace qz::text
