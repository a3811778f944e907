#pragma once

#include <locale>
#include <string>

#include <qz/qzExport.h>

struct __locale_struct;

namespace qz {

/// Text helpers. Strings are bytes, UTF-8 by convention.
class QZ_API qzStringUtils {
public:
    /// The character sets that texts are converted between.
    enum qzCharSet : int {
        CharSetLocal = 0,  ///< That of the process's environment, as a thread first saw it.
        CharSetUtf8 = 1,   ///< UTF-8.
        CharSetAscii = 2,  ///< US-ASCII.
    };

    qzStringUtils() = delete;

    /// A cell with the system's handle of the C locale, for parsing numbers; null while the text
    /// services are down.
    static __locale_struct** msCLocale;
    /// The C locale of the standard streams, for formatting numbers; null while the text services
    /// are down.
    static std::locale* msCplusLocale;
    /// A cell with the key of each thread's conversion state; null while the text services are
    /// down. For the library's own use.
    static unsigned int* msThreadContent;

    /// Brings the text services up and prepares the calling thread. The library's start calls it.
    /// @return false when they are up already, or when there is no memory for the locale's cell.
    static bool InitializeStringUtils();
    /// Takes the text services down. The library's stop calls it.
    ///
    /// The conversion state of other threads that still live is not reclaimed.
    /// @return false when they are down already.
    static bool TerminateStringUtils();
    /// Prepares the calling thread for conversions, which the first one would do by itself.
    ///
    /// Reads the character set of the environment by way of `setlocale`, so it must not run beside
    /// another call of that. Does nothing while the text services are down.
    static void InitializeForThread();

    /// Converts a text between two character sets; NUL bytes inside pass.
    ///
    /// A character that the target lacks is transliterated ("é" to "?" or "e", as the system has
    /// it). There is no partial result, and no word about the reason of a failure.
    /// Threads: any; each has its own converters.
    /// @return the converted text; empty when `from` equals `to`, when `text` is not well formed in
    ///     `from`, when a character had to be dropped, when the result has more than twice the
    ///     bytes of `text` and two, and while the text services are down.
    static std::string convertCharset(const std::string& text, qzCharSet from, qzCharSet to);

    /// Converts the first quarter of a wide text: of `length` characters, (`length` + 1) / 4.
    ///
    /// The converter is given `length` + 1 bytes, not characters, and callers rely on what comes of
    /// it: a `length` + 1 that isn't a multiple of 4 gives an empty text, and otherwise the last
    /// byte of the result is missing: "abcdefg" gives "a".
    static std::string convertTo8Bits(const std::wstring& text, qzCharSet to);

    /// Gives an empty wide text, whatever `text` is: the converter never gets room enough.
    static std::wstring convertToUnicode(const std::string& text, qzCharSet from);
};

}  // namespace qz
