// SPDX-License-Identifier: MIT
#include "LineReader.h"

#include <algorithm>
#include <cstring>

namespace recorder {

bool LineReader::readLine(std::string& line)
{
    line.clear();
    while (mNext < mEnd || fill()) {
        const char* const begin = mBlock.data() + mNext;
        const unsigned long left = std::min(mEnd - mNext, kLargestLine - line.size());
        const auto* const lineFeed = static_cast<const char*>(std::memchr(begin, '\n', left));
        const unsigned long size =
            lineFeed != nullptr ? static_cast<unsigned long>(lineFeed - begin) + 1 : left;
        line.append(begin, size);
        mNext += size;
        if (lineFeed != nullptr || line.size() == kLargestLine) return true;
    }
    return !line.empty() && mDevice.good();
}

bool LineReader::fill()
{
    mNext = 0;
    mEnd = mDevice.readBytes(mBlock.data(), mBlock.size());
    return mEnd != 0;
}

}  // namespace recorder
