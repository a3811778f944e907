// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzIoDevice.h>

namespace qz {

/// Appends the error text of a device that another one points to, if it is in error.
void appendErrorOf(const qzIoDevice& device, std::string& text);

}  // namespace qz
