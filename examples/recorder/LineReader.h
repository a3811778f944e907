#pragma once

#include <string>
#include <vector>

#include <qz/qzIoDevice.h>

namespace recorder {

/// Cuts what a device gives into lines, each with its line feed; the last one may have none.
class LineReader {
public:
    explicit LineReader(qz::qzIoDevice& device) : mDevice(device), mBlock(kBlockSize) {}

    /// Reads the next line. @return false at the end, and for a device in error: ask it.
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
