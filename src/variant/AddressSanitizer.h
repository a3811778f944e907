// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#if defined(__has_feature)  // clang
#if __has_feature(address_sanitizer)
#define QZ_HAS_ADDRESS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)  // g++
#define QZ_HAS_ADDRESS_SANITIZER
#endif

#ifdef QZ_HAS_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

/// @file
/// Lets the address sanitizer see the memory that the pools here manage themselves.

namespace qz::variant {

#ifdef QZ_HAS_ADDRESS_SANITIZER
constexpr bool kHasAddressSanitizer = true;
#else
constexpr bool kHasAddressSanitizer = false;
#endif

/// Makes each use of the memory an error.
inline void poisonMemory([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size)
{
#ifdef QZ_HAS_ADDRESS_SANITIZER
    ASAN_POISON_MEMORY_REGION(memory, size);
#endif
}

/// Allows the use of the memory again.
inline void unpoisonMemory([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size)
{
#ifdef QZ_HAS_ADDRESS_SANITIZER
    ASAN_UNPOISON_MEMORY_REGION(memory, size);
#endif
}

}  // namespace qz::variant
