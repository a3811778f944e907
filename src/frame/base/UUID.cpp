// SPDX-License-Identifier: MIT
#include <qz/UUID.h>

#include "HexDigits.h"

namespace qz {

template <>
void UUID::BinaryToString<UUID::FormatHex>(const unsigned char* sixteenBytes, std::string& out)
{
    writeHexDigits(sixteenBytes, 16, out);
}

}  // namespace qz
