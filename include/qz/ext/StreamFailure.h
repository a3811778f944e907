// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace qz::ext {

/// The first thing that was wrong with bytes that were read, and where.
struct StreamFailure {
    /// What was wrong.
    enum Reason : int {
        None = 0,          ///< Nothing.
        NoFrame = 1,       ///< The input has ended, and the last frame was whole.
        Ended = 2,         ///< The input ends inside a value or frame.
        TrailingData = 3,  ///< The input goes on where it must end.
        TextLimit = 4,     ///< A text or byte vector is longer than allowed.
        ListLimit = 5,     ///< A list has more items than allowed.
        DepthLimit = 6,    ///< Lists in lists are nested deeper than allowed.
        TotalLimit = 7,    ///< All values together take more than allowed.
        EmptyItem = 8,     ///< An item of a list took no byte, so a count could claim any number.
        PayloadLimit = 9,  ///< The payload of a frame is longer than allowed.
        Foreign = 10,      ///< Something else than a frame of this format.
        Newer = 11,        ///< A frame of a later version than this program knows.
        OtherLayout = 12,  ///< A frame whose header has another form than this library knows.
        Damaged = 13,      ///< A checksum is wrong.
        Rejected = 14,     ///< The program has rejected a value, or not read a list to its end.
        DeviceError = 15,  ///< The device has failed.
        Exception = 16,    ///< An exception has ended a read, such as lack of memory.
    };

    /// What was wrong.
    Reason reason = None;
    /// Where the value begins that could not be read, in bytes from the start of the stream. A text
    /// begins with its length, and a list with its count.
    unsigned long offset = 0;
    /// The value, its offset, and which limit or end was met, for example "text at offset 12: 70000
    /// bytes exceed the limit of 65536"; empty if nothing was wrong.
    std::string text;

    /// Whether something was wrong.
    explicit operator bool() const { return reason != None; }
};

}  // namespace qz::ext
