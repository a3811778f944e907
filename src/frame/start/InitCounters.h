// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzSystem.h>

namespace qz {

/// Counts every start, light or full.
extern impl::LibInitCounter gLightCounter;
/// Counts the full starts only.
extern impl::LibInitCounter gFullCounter;

}  // namespace qz
