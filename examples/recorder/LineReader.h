// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/qzIoDevice.h>

namespace recorder {

/// Cuts the bytes of a device into lines, each with its line feed. The last one may have none, and
/// a line that is longer than the limit is cut into pieces, so that it needs no more memory.
class LineReader {
public:
    /// The most bytes that a line has.
    static constexpr unsigned long kLargestLine = 1024UL * 1024;

    explicit LineReader(qz::qzIoDevice& device) : mDevice(device), mBlock(kBlockSize) {}

    /// Reads the next line. @return false at the end, and for a device in error.
    bool readLine(std::string& line);

private:
    static constexpr unsigned long kBlockSize = 65536;

    bool fill();

    qz::qzIoDevice& mDevice;
    std::vector<char> mBlock;
    unsigned long mNext = 0;
    unsigned long mEnd = 0;
};

}  // namespace recorder
