// SPDX-License-Identifier: MIT
#include "StringPool.h"

#include <algorithm>
#include <functional>
#include <new>

namespace qz::filesystem {

namespace {

constexpr std::size_t kSmallestTable = 64;
constexpr std::uint64_t kIdMask = 0xffffffff;

std::size_t computeHash(std::string_view text)
{
    return std::hash<std::string_view>()(text);
}

// Never 0.
std::uint64_t makeSlot(std::size_t hash, std::size_t id)
{
    return (hash & ~kIdMask) | (id + 1);
}

StringPool::Id getId(std::uint64_t slot)
{
    return static_cast<StringPool::Id>((slot & kIdMask) - 1);  // kNone for a free slot
}

}  // namespace

StringPool::Id StringPool::find(std::string_view text) const
{
    return mTable.empty() ? kNone : getId(mTable[findSlot(text, computeHash(text))]);
}

StringPool::Id StringPool::add(std::string_view text)
{
    if (mTable.size() <= 2 * size()) growTable();
    const std::size_t hash = computeHash(text);
    std::uint64_t& slot = mTable[findSlot(text, hash)];
    if (slot != 0) return getId(slot);
    if (size() == kNone) throw std::bad_alloc();  // no number is left
    // What may throw comes first.
    if (mEnds.size() == mEnds.capacity()) mEnds.reserve(std::max<std::size_t>(8, 2 * size()));
    const std::size_t end = mBytes.size() + text.size() + 1;
    if (end > mBytes.capacity()) mBytes.reserve(std::max(end, 2 * mBytes.capacity()));
    mBytes.append(text).push_back('\0');
    mEnds.push_back(end);
    slot = makeSlot(hash, size() - 1);
    return getId(slot);
}

void StringPool::shrink()
{
    mBytes.shrink_to_fit();
    mEnds.shrink_to_fit();
}

// The slot that has the string, or the free one for it. There always is a free one.
std::size_t StringPool::findSlot(std::string_view text, std::size_t hash) const
{
    const std::size_t mask = mTable.size() - 1;
    for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
        const std::uint64_t found = mTable[i];
        if (found == 0) return i;
        const bool hasSameUpperHalf = ((found ^ hash) & ~kIdMask) == 0;
        if (hasSameUpperHalf && get(getId(found)) == text) return i;
    }
}

void StringPool::growTable()
{
    std::vector<std::uint64_t> table(std::max(kSmallestTable, mTable.size() * 2));
    table.swap(mTable);
    for (std::size_t id = 0; id != size(); ++id) {
        const std::string_view text = get(static_cast<Id>(id));
        const std::size_t hash = computeHash(text);
        mTable[findSlot(text, hash)] = makeSlot(hash, id);
    }
}

}  // namespace qz::filesystem
