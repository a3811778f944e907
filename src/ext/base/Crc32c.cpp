// SPDX-License-Identifier: MIT
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

// The instruction takes three cycles and can begin in each, so three parts of the bytes, the lanes,
// go through it in turn: 64 KiB take a third of the time.
constexpr std::size_t kLaneBytes = 1024;
constexpr std::size_t kWordBytes = sizeof(std::uint64_t);

// What a lane of zero bytes makes of a CRC, for each value of each of its bytes; the exclusive or
// of the four is that of the whole CRC.
using LaneTables = std::array<std::array<std::uint32_t, 256>, 4>;

// What some zero bytes make of a CRC, for each of its bits.
using ZeroBytes = std::array<std::uint32_t, 32>;

constexpr std::uint32_t appendZeros(const ZeroBytes& ofBit, std::uint32_t crc)
{
    std::uint32_t result = 0;
    for (std::uint32_t bit = 0; bit < ofBit.size(); ++bit) {
        if ((crc >> bit & 1U) != 0) result ^= ofBit[bit];
    }
    return result;
}

// By doubling, as compilers limit the steps of a constant.
constexpr ZeroBytes makeLane()
{
    ZeroBytes ofBit = {};
    for (std::uint32_t bit = 0; bit < ofBit.size(); ++bit)
        ofBit[bit] = (1U << bit >> 8U) ^ kTable[1U << bit & 0xFFU];
    for (std::size_t bytes = 1; bytes < kLaneBytes; bytes *= 2) {
        const ZeroBytes half = ofBit;
        for (std::uint32_t& crc : ofBit)
            crc = appendZeros(half, crc);
    }
    return ofBit;
}
static_assert((kLaneBytes & (kLaneBytes - 1)) == 0);

constexpr LaneTables makeLaneTables()
{
    const ZeroBytes ofBit = makeLane();
    LaneTables tables = {};
    for (std::uint32_t bit = 0; bit < ofBit.size(); ++bit) {
        for (std::uint32_t byte = 0; byte < 256; ++byte) {
            if ((byte >> bit % 8 & 1U) != 0) tables[bit / 8][byte] ^= ofBit[bit];
        }
    }
    return tables;
}

constexpr LaneTables kLaneTables = makeLaneTables();

std::uint32_t appendLane(std::uint64_t crc, std::uint64_t lane)
{
    const std::uint32_t moved = kLaneTables[0][crc & 0xFFU] ^ kLaneTables[1][crc >> 8U & 0xFFU] ^
                                kLaneTables[2][crc >> 16U & 0xFFU] ^ kLaneTables[3][crc >> 24U];
    return moved ^ static_cast<std::uint32_t>(lane);
}

__attribute__((target("sse4.2"))) std::uint64_t addWord(std::uint64_t crc,
                                                        const unsigned char* bytes)
{
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return _mm_crc32_u64(crc, word);
}

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
    for (; size >= 3 * kLaneBytes; size -= 3 * kLaneBytes) {
        std::uint64_t second = 0;
        std::uint64_t third = 0;
        for (const unsigned char* const end = begin + kLaneBytes; begin != end;
             begin += kWordBytes) {
            rest = addWord(rest, begin);
            second = addWord(second, begin + kLaneBytes);
            third = addWord(third, begin + 2 * kLaneBytes);
        }
        rest = appendLane(appendLane(rest, second), third);
        begin += 2 * kLaneBytes;
    }
    for (; size >= kWordBytes; size -= kWordBytes) {
        rest = addWord(rest, begin);
        begin += kWordBytes;
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
