// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

namespace qz {

using Offsets = std::vector<std::ptrdiff_t>;

/// How many bytes after the start of an object one of its fields stands.
template <typename Object, typename Field>
std::ptrdiff_t findOffset(const Object& object, const Field& field)
{
    return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&object);
}

/// The field that stands `offset` bytes after the start of an object.
template <typename T>
T readField(const void* object, std::size_t offset)
{
    T value;
    std::memcpy(&value, static_cast<const char*>(object) + offset, sizeof value);
    return value;
}

/// The code that a number selects in the table of an object's virtual functions. Programs that were
/// built earlier call by these numbers, so none may ever change.
inline void* getSlot(const void* object, int number)
{
    return (*static_cast<void* const* const*>(object))[number];
}

/// Calls a virtual function by its number, as such a program does.
template <typename Result, typename... Arguments>
Result callSlot(void* object, int number, Arguments... arguments)
{
    using Function = Result (*)(void*, Arguments...);
    return reinterpret_cast<Function>(getSlot(object, number))(object, arguments...);
}

/// Whether an object is destroyed and freed by the function that a number selects.
template <typename Base, typename... Arguments>
bool isEndedBySlot(int number, Arguments... arguments)
{
    class Ended : public Base {
    public:
        explicit Ended(bool* ended, Arguments... arguments) : Base(arguments...), mEnded(ended) {}
        ~Ended() override { *mEnded = true; }

    private:
        bool* mEnded;
    };
    bool ended = false;
    callSlot<void>(std::make_unique<Ended>(&ended, arguments...).release(), number);
    return ended;
}

}  // namespace qz
