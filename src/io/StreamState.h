// SPDX-License-Identifier: MIT
#pragma once

#include <ios>
#include <istream>

#include <qz/qzIoDevice.h>

namespace qz {

/// The result of a read from a standard stream.
enum class ReadOutcome { Moved, Ended, Broken };

/// Classifies a read of `size` bytes that returned `count`, and corrects the stream's state: a
/// short read at the end is no failure, and an empty one sets the end-of-file bit.
ReadOutcome settleAfterRead(std::istream& stream, unsigned long count, unsigned long size);

/// Whether a read has met the end, or the next one would; never true after a read error. Sets the
/// end-of-file bit of the stream.
bool isAtEnd(std::istream& stream);

/// Converts a seek start. @return false for a value outside the enumeration.
bool toSeekDirection(qzIoDeviceRandomAccess::SeekStart start, std::ios_base::seekdir& direction);

}  // namespace qz
