// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string_view>

#include <qz/qzIoDevice.h>

namespace qz::ext {

/// Makes a device that reads bytes in memory, which it doesn't own.
std::unique_ptr<qzIoDevice> makeMemoryDevice(std::string_view bytes);

}  // namespace qz::ext
