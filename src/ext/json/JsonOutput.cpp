// SPDX-License-Identifier: MIT
#include "JsonOutput.h"

#include <algorithm>

#include <qz/qzIoDevice.h>

namespace qz::ext {

void JsonOutput::put(std::size_t count, char c)
{
    for (; count != 0; --count)
        put(c);
}

void JsonOutput::putLong(std::string_view text)
{
    flush();
    if (text.size() > kBlockBytes)
        passOn(text);
    else
        put(text);
}

void JsonOutput::flush()
{
    if (mUsed != 0) passOn({mBlock.data(), mUsed});
    mUsed = 0;
}

void JsonOutput::passOn(std::string_view text)
{
    if (mString != nullptr)
        mString->append(text);
    else if (mDevice != nullptr && !mHasFailed)
        mHasFailed = mDevice->writeBytes(text.data(), text.size()) != text.size();
}

}  // namespace qz::ext
