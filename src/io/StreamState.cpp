// SPDX-License-Identifier: MIT
#include "StreamState.h"

namespace qz {

ReadOutcome settleAfterRead(std::istream& stream, unsigned long count, unsigned long size)
{
    if (stream.bad()) return ReadOutcome::Broken;
    if (count == 0 && size != 0) {
        stream.clear(stream.rdstate() | std::ios_base::eofbit);
        return ReadOutcome::Ended;
    }
    if (stream.fail() && stream.eof()) stream.clear(std::ios_base::eofbit);
    return ReadOutcome::Moved;
}

bool isAtEnd(std::istream& stream)
{
    const bool isEnd = stream.eof() || stream.peek() == std::istream::traits_type::eof();
    return isEnd && !stream.bad();
}

bool toSeekDirection(qzIoDeviceRandomAccess::SeekStart start, std::ios_base::seekdir& direction)
{
    switch (start) {
        case qzIoDeviceRandomAccess::SeekFromBegin:
            direction = std::ios_base::beg;
            return true;
        case qzIoDeviceRandomAccess::SeekFromCurrent:
            direction = std::ios_base::cur;
            return true;
        case qzIoDeviceRandomAccess::SeekFromEnd:
            direction = std::ios_base::end;
            return true;
        default:
            return false;
    }
}

}  // namespace qz
