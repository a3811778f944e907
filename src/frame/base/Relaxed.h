// SPDX-License-Identifier: MIT
#pragma once

namespace qz {

// For plain variables that one thread writes and others poll without a lock. A poll may see a
// change late, and in another order than changes of other variables, but never half of it.

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
