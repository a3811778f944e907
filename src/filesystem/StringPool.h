// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qz::filesystem {

/// Distinct strings, each stored once and known by its number, which is 0 for the first one.
class StringPool {
public:
    using Id = std::uint32_t;
    static constexpr Id kNone = ~Id(0);

    std::size_t size() const { return mEnds.size(); }
    /// A string of the pool, with a zero byte after it. Valid until the next one is added.
    std::string_view get(Id id) const
    {
        const std::size_t start = id == 0 ? 0 : mEnds[id - 1];
        return {mBytes.data() + start, mEnds[id] - start - 1};
    }
    /// @return kNone if the pool doesn't have the string.
    Id find(std::string_view text) const;
    /// Adds a string unless the pool has it. An exception leaves the pool as it was.
    /// @param text must not be one of this pool.
    Id add(std::string_view text);
    /// Frees the memory that is reserved for more strings.
    void shrink();

private:
    std::size_t findSlot(std::string_view text, std::size_t hash) const;
    void growTable();

    std::string mBytes;
    std::vector<std::size_t> mEnds;     // in `mBytes`, each after the zero byte
    std::vector<std::uint64_t> mTable;  // 0, or the number plus 1 below the upper half of the hash
};

}  // namespace qz::filesystem
