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
    /// @param sixteenBytes the identifier.
    /// @param out receives the text.
    template <Format F>
    static void BinaryToString(const unsigned char* sixteenBytes, std::string& out);
};

/// Writes an identifier as 32 lower-case hexadecimal digits.
template <>
QZ_API void UUID::BinaryToString<UUID::FormatHex>(const unsigned char* sixteenBytes,
                                                  std::string& out);

}  // namespace qz
