// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <new>
#include <string>
#include <utility>

namespace qz::variant {

/// Returns memory for a variant's string object, which was free or is new. Tables make and destroy
/// thousands of strings at a time, and malloc would take three times as long.
void* allocateString();
/// Frees the memory of a string object, which may be from another thread.
void freeString(void* memory) noexcept;

/// Makes the string of a variant.
template <typename... Arguments>
std::string* makeString(Arguments&&... arguments)
{
    struct Free {
        void operator()(void* memory) const { freeString(memory); }
    };
    std::unique_ptr<void, Free> memory(allocateString());
    auto* const string = ::new (memory.get()) std::string(std::forward<Arguments>(arguments)...);
    static_cast<void>(memory.release());
    return string;
}

/// Destroys the string of a variant.
inline void destroyString(std::string* string) noexcept
{
    std::destroy_at(string);
    freeString(string);
}

}  // namespace qz::variant
