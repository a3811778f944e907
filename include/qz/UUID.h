// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz {

/// Texts of identifiers of 16 bytes.
class UUID {
public:
    UUID() = delete;

    /// The form of the text.
    enum Format {
        FormatHex = 1,  ///< 32 lower-case hexadecimal digits, without dashes and braces.
    };

    /// Writes an identifier as text.
    /// @tparam F `FormatHex`; no other format links.
    /// @param sixteenBytes points to the 16 bytes of the identifier.
    /// @param out receives the 32 characters, whatever it held before.
    template <Format F>
    static void BinaryToString(const unsigned char* sixteenBytes, std::string& out);
};

/// Writes an identifier as 32 lower-case hexadecimal digits.
template <>
QZ_API void UUID::BinaryToString<UUID::FormatHex>(const unsigned char* sixteenBytes,
                                                  std::string& out);

}  // namespace qz
