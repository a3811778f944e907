// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The rows of the buffer program, for any kind of buffer.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "../support.h"

namespace bench {

constexpr std::size_t kBlockSize = 4096;
constexpr std::size_t kPieceSize = 16;

/// How much is written to memory in blocks, and in pieces.
inline std::size_t getBulkSize()
{
    return sized(std::size_t{1} << 30U, std::size_t{1} << 20U);
}
inline std::size_t getPiecesSize()
{
    return sized(std::size_t{64} << 20U, std::size_t{256} << 10U);
}

/// Appends `total` bytes in writes of `Size`. @return whether all were taken.
template <std::size_t Size, typename Buffer>
bool fill(Buffer& buffer, std::size_t total)
{
    char piece[Size];
    std::memset(piece, 'x', Size);
    for (std::size_t done = 0; done < total; done += Size) {
        std::memcpy(piece, &done, sizeof done);
        if (!buffer.write(piece, Size)) return false;
    }
    return true;
}

/// Reads to the end in blocks. @return the bytes read.
template <typename Buffer>
std::size_t drain(Buffer& buffer)
{
    char block[kBlockSize];
    std::size_t total = 0;
    while (const std::size_t got = buffer.read(block, kBlockSize)) {
        keep(block);
        total += got;
    }
    return total;
}

inline void setBytesProcessed(benchmark::State& state, std::size_t size)
{
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

/// `Make` makes a buffer, which has `bool write(const char*, size)`, `std::size_t read(char*,
/// size)`, `rewind()` and `restart()`, which forgets the bytes and keeps the memory.
template <typename Make>
bool readsWhatItWrote()
{
    auto buffer = Make::make();
    constexpr std::size_t kSize = 100 * kBlockSize;
    for (int i = 0; i < 2; ++i) {
        if (!fill<kPieceSize>(buffer, kSize)) return false;
        buffer.rewind();
        char piece[kPieceSize];
        for (std::size_t done = 0; done < kSize; done += kPieceSize) {
            if (buffer.read(piece, kPieceSize) != kPieceSize) return false;
            if (std::memcmp(piece, &done, sizeof done) != 0) return false;
        }
        if (buffer.read(piece, kPieceSize) != 0) return false;
        buffer.restart();
    }
    return true;
}

/// Makes a buffer and fills it. @return whether it took all bytes.
template <std::size_t Size, typename Make>
bool fillNew(std::size_t total)
{
    auto buffer = Make::make();
    return fill<Size>(buffer, total);
}

/// The first buffer isn't timed. In a virtual machine the host may have reclaimed the memory that
/// the guest doesn't use, two seconds after it became free (free page reporting). The next program
/// that takes it waits for the host, 2 s for 1 GB, whatever buffer it uses. Huge pages come from
/// that memory each time, small ones only after the rest is used up.
template <std::size_t Size, typename Make>
void measureAppend(benchmark::State& state, std::size_t total)
{
    bool isFilled = fillNew<Size, Make>(total);
    for (auto _ : state)
        isFilled = fillNew<Size, Make>(total) && isFilled;
    if (!isFilled) state.SkipWithError("a write failed");
    setBytesProcessed(state, total);
}

template <typename Make>
void measureBulk(benchmark::State& state)
{
    measureAppend<kBlockSize, Make>(state, getBulkSize());
}

template <typename Make>
void measurePieces(benchmark::State& state)
{
    measureAppend<kPieceSize, Make>(state, getPiecesSize());
}

template <typename Make>
void measureAgain(benchmark::State& state)
{
    auto buffer = Make::make();
    fill<kBlockSize>(buffer, getBulkSize());
    for (auto _ : state) {
        buffer.restart();
        if (!fill<kBlockSize>(buffer, getBulkSize())) state.SkipWithError("a write failed");
    }
    setBytesProcessed(state, getBulkSize());
}

template <typename Make>
void measureRead(benchmark::State& state)
{
    auto buffer = Make::make();
    fill<kBlockSize>(buffer, getBulkSize());
    for (auto _ : state) {
        buffer.rewind();
        if (drain(buffer) != getBulkSize()) state.SkipWithError("a read failed");
    }
    setBytesProcessed(state, getBulkSize());
}

}  // namespace bench
