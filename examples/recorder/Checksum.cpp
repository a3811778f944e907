// SPDX-License-Identifier: MIT
#include "Checksum.h"

namespace recorder {

unsigned long Checksum::writeBytes(const char* src, unsigned long size)
{
    for (unsigned long i = 0; i < size; ++i) {
        mValue = (mValue ^ static_cast<unsigned char>(src[i])) * 0x100000001b3;
    }
    return size;
}

}  // namespace recorder
