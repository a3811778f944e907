// SPDX-License-Identifier: MIT
#pragma once

#include "Options.h"
#include "Output.h"
#include "Problems.h"

namespace qzlog {

/// Shows the entries of the files, and those that are added to them or to the files that follow
/// them by a rotation. Returns when the output has ended, or when there is nothing to follow.
void follow(const Options& options, Style style, Output& output, Problems& problems);

}  // namespace qzlog
