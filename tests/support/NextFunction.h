// SPDX-License-Identifier: MIT
#pragma once

#include <dlfcn.h>

namespace qz::support {

/// The function of the system that one of this program stands in for.
template <typename Function>
Function* findNext(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace qz::support
