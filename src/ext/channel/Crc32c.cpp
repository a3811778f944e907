#include "Crc32c.h"

#include <array>
#include <cstring>

#include <nmmintrin.h>

namespace qz::ext {

namespace {

constexpr std::uint32_t kPolynomial = 0x82F63B78;  // with its bits reversed

constexpr std::array<std::uint32_t, 256> makeTable()
{
    std::array<std::uint32_t, 256> table = {};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t rest = byte;
        for (int bit = 0; bit < 8; ++bit)
            rest = (rest >> 1U) ^ ((rest & 1U) != 0 ? kPolynomial : 0);
        table[byte] = rest;
    }
    return table;
}

constexpr std::array<std::uint32_t, 256> kTable = makeTable();

}  // namespace

namespace impl {

std::uint32_t computeCrc32cByTable(std::uint32_t crc, const void* bytes, std::size_t size)
{
    const auto* const begin = static_cast<const unsigned char*>(bytes);
    crc = ~crc;
    for (std::size_t i = 0; i < size; ++i)
        crc = (crc >> 8U) ^ kTable[(crc ^ begin[i]) & 0xFFU];
    return ~crc;
}

bool hasCrc32cInstruction()
{
    return __builtin_cpu_supports("sse4.2") != 0;
}

__attribute__((target("sse4.2"))) std::uint32_t computeCrc32cByInstruction(std::uint32_t crc,
                                                                           const void* bytes,
                                                                           std::size_t size)
{
    const auto* begin = static_cast<const unsigned char*>(bytes);
    std::uint64_t rest = static_cast<std::uint32_t>(~crc);
    for (; size >= sizeof(std::uint64_t); size -= sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, begin, sizeof word);
        rest = _mm_crc32_u64(rest, word);
        begin += sizeof word;
    }
    auto result = static_cast<std::uint32_t>(rest);
    for (; size > 0; --size)
        result = _mm_crc32_u8(result, *begin++);
    return ~result;
}

}  // namespace impl

std::uint32_t computeCrc32c(std::uint32_t crc, const void* bytes, std::size_t size)
{
    static const bool hasInstruction = impl::hasCrc32cInstruction();
    return hasInstruction ? impl::computeCrc32cByInstruction(crc, bytes, size)
                          : impl::computeCrc32cByTable(crc, bytes, size);
}

}  // namespace qz::ext
