// SPDX-License-Identifier: MIT
#include "records.h"

#include <climits>
#include <cstdint>

#include <malloc.h>

namespace bench {

namespace {

// The process keeps the memory that a pass gives back. By itself malloc returns the large blocks of
// some passes to the system, and the price of fresh pages, which is half of the whole and the same
// for everyone, would come and go with the order of the cases.
bool keepMemory()
{
    return ::mallopt(M_MMAP_MAX, 0) == 1 && ::mallopt(M_TRIM_THRESHOLD, INT_MAX) == 1;
}

const Check kKeepsMemory("malloc keeps its memory", keepMemory);

std::vector<Record> makeRecords()
{
    std::vector<Record> records(sized(1'000'000, 1'000));
    std::uint64_t seed = 1;
    for (Record& record : records) {
        seed = seed * 6364136223846793005U + 1442695040888963407U;
        const auto high = static_cast<std::uint32_t>(seed >> 32U);
        // Numbers of all magnitudes: a format that packs small ones is to meet some.
        record.number = static_cast<int>(high >> (seed >> 16U) % 32U);
        if ((seed & 0x10000U) != 0) record.number = -record.number;
        // Always with a fraction: msgpack writes a whole double as an integer.
        record.real = static_cast<double>(seed >> 24U) + 0.375;
        record.text = "text" + std::to_string(10'000'000U + high % 90'000'000U);
    }
    return records;
}

}  // namespace

const std::vector<Record>& getRecords()
{
    static const std::vector<Record> records = makeRecords();
    return records;
}

void setRecordsProcessed(benchmark::State& state)
{
    const auto count = static_cast<std::int64_t>(getRecords().size());
    state.SetItemsProcessed(state.iterations() * count);
}

}  // namespace bench
