// SPDX-License-Identifier: MIT
#pragma once

#include "LogFile.h"
#include "Options.h"

namespace qzlog {

/// Moves a file on to its next entry that a filter lets through. @return false at the end.
bool findNext(LogFile& file, const Filter& filter);

}  // namespace qzlog
