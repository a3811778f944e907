#pragma once

namespace qz {

/// The code behind a number in the table of an object's virtual functions. Programs that were built
/// earlier call by these numbers, so none may ever change.
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

}  // namespace qz
