#pragma once

#include <string>

#include <qz/qzIoDevice.h>

namespace qz {

/// Adds the text of a device behind the present one, if that is in error.
void appendErrorOf(const qzIoDevice& device, std::string& text);

}  // namespace qz
