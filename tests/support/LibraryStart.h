// SPDX-License-Identifier: MIT
#pragma once

#include <qz/ext/LibraryStart.h>

namespace qz::support {

using ext::LibraryStart;

}  // namespace qz::support
