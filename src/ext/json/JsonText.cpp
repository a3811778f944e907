// SPDX-License-Identifier: MIT
#include "JsonText.h"

#include "JsonCharacters.h"

namespace qz::ext {

JsonPlace JsonPlaces::get(const char* at)
{
    for (; mAt < at; ++mAt) {
        if (*mAt == '\n') {
            ++mLine;
            mColumn = 1;
        } else if ((toByte(*mAt) & 0xC0U) != 0x80) {
            ++mColumn;
        }
    }
    return {static_cast<std::size_t>(at - mText), mLine, mColumn};
}

}  // namespace qz::ext
