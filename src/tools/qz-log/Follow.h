// SPDX-License-Identifier: MIT
#pragma once

#include "Options.h"
#include "Output.h"
#include "Problems.h"

namespace qzlog {

/// Shows the entries of the files, and those that are added to them or to the files that follow
/// them by a rotation. Returns when nobody reads the output any more.
void follow(const Options& options, Style style, Output& output, Problems& problems);

}  // namespace qzlog
