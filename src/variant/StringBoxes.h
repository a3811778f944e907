#pragma once

#include <memory>
#include <new>
#include <string>
#include <utility>

namespace qz::variant {

/// The memory of a variant's string object: one that this thread let go of, or a new one. Tables
/// come and go in batches of thousands, and malloc takes three times as long.
void* takeStringBox();
/// Lets go of it; it may come from another thread.
void giveStringBox(void* box) noexcept;

/// Makes the string of a variant.
template <typename... Arguments>
std::string* makeString(Arguments&&... arguments)
{
    struct GiveBack {
        void operator()(void* box) const { giveStringBox(box); }
    };
    std::unique_ptr<void, GiveBack> box(takeStringBox());
    auto* const string = ::new (box.get()) std::string(std::forward<Arguments>(arguments)...);
    static_cast<void>(box.release());
    return string;
}

/// Ends the string of a variant.
inline void dropString(std::string* string) noexcept
{
    std::destroy_at(string);
    giveStringBox(string);
}

}  // namespace qz::variant
