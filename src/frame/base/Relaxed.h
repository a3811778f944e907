#pragma once

namespace qz {

// Plain variables that the start, the stop or a setting writes and other threads poll without a
// lock. No order goes with them: a poll may see a change late, but never half of it.

template <typename T>
T relaxedLoad(const T& variable)
{
    return __atomic_load_n(&variable, __ATOMIC_RELAXED);
}

template <typename T>
void relaxedStore(T& variable, T value)
{
    __atomic_store_n(&variable, value, __ATOMIC_RELAXED);
}

}  // namespace qz
