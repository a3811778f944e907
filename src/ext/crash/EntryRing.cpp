// SPDX-License-Identifier: MIT
#include "EntryRing.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace qz::ext::crash {

namespace {

constexpr char kZero = '\0';
constexpr std::string_view kEnd(&kZero, 1);

// Limits the memory for a file from elsewhere, whose entries may have a byte each.
constexpr long kMostEntries = 1'000'000;

}  // namespace

EntryRing::EntryRing(void* memory, std::size_t size)
    : mHead(static_cast<RingHead*>(memory)),
      mBytes(static_cast<char*>(memory) + sizeof(RingHead)),
      mSize(size - sizeof(RingHead))
{
}

void EntryRing::append(std::string_view prefix, std::string_view message)
{
    prefix = prefix.substr(0, mSize / 8);
    message = message.substr(0, mSize / 8);
    const std::size_t size = prefix.size() + message.size() + 1;
    const std::uint64_t end = mHead->done.load(std::memory_order_relaxed) + size;
    mHead->begun.store(end, std::memory_order_relaxed);
    // The kernel keeps the memory as the processor has left it, so only the compiler must be kept
    // from another order.
    std::atomic_signal_fence(std::memory_order_seq_cst);
    copy(prefix);
    copy(message);
    copy(kEnd);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    mHead->done.store(end, std::memory_order_relaxed);
}

// A zero byte of an entry would split it.
void EntryRing::copy(std::string_view bytes)
{
    const bool isEnd = bytes == kEnd;
    while (!bytes.empty()) {
        const std::size_t size = std::min(bytes.size(), mSize - mPosition);
        char* const begin = mBytes + mPosition;
        std::memcpy(begin, bytes.data(), size);
        if (!isEnd) std::replace(begin, begin + size, '\0', ' ');
        mPosition = (mPosition + size) % mSize;
        bytes.remove_prefix(size);
    }
}

std::vector<std::string> readRing(std::string_view ring)
{
    std::uint64_t counts[2];
    if (ring.size() <= sizeof counts) return {};
    std::memcpy(counts, ring.data(), sizeof counts);
    const auto [begun, done] = counts;
    const std::string_view bytes = ring.substr(sizeof counts);
    const std::uint64_t replaced = begun > bytes.size() ? begun - bytes.size() : 0;
    if (begun < done || done <= replaced) return {};

    std::string text(bytes.substr(replaced % bytes.size(), done - replaced));
    text += bytes.substr(0, done - replaced - text.size());
    std::vector<std::string> entries;
    // The first one has lost its beginning, unless it is the first of all.
    std::size_t at = replaced == 0 ? 0 : text.find('\0') + 1;
    if (at == 0 && replaced != 0) return {};
    for (std::size_t end = 0; (end = text.find('\0', at)) != std::string::npos; at = end + 1) {
        if (end == at) continue;  // only a file from elsewhere has such
        entries.push_back(text.substr(at, end - at));
        if (entries.size() == 2 * kMostEntries)
            entries.erase(entries.begin(), entries.begin() + kMostEntries);
    }
    return entries;
}

}  // namespace qz::ext::crash
