// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

namespace qz::ext {

/// The CRC-32C (Castagnoli) of bytes that follow others.
/// @param crc that of the bytes before; 0 for none.
std::uint32_t computeCrc32c(std::uint32_t crc, const void* bytes, std::size_t size);

namespace impl {

/// By a table, on every processor.
std::uint32_t computeCrc32cByTable(std::uint32_t crc, const void* bytes, std::size_t size);

/// Whether the processor has the instruction of SSE 4.2.
bool hasCrc32cInstruction();
/// By that instruction.
std::uint32_t computeCrc32cByInstruction(std::uint32_t crc, const void* bytes, std::size_t size);

}  // namespace impl

}  // namespace qz::ext
