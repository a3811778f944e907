#pragma once

#include <fstream>
#include <istream>

#include <qz/qzIoDevice.h>

namespace qz {

/// The state of a standard stream after a read, as the devices over streams see it.
enum class ReadOutcome { Moved, Ended, Broken };

/// Judges a read that asked for `size` bytes and got `count`, and puts the state in order: a short
/// read at the end is no failure, and an empty one marks the end.
ReadOutcome settleAfterRead(std::istream& stream, unsigned long count, unsigned long size);

/// Whether a read has met the end, or would by the next byte. Marks the end in the stream's state.
bool isAtEnd(std::istream& stream);

/// Gives the standard's name of a seek start, or false for a value outside the enumeration.
bool toSeekDirection(qzIoDeviceRandomAccess::SeekStart start, std::ios_base::seekdir& direction);

}  // namespace qz
