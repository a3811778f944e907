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

    /// Writes a number for people: few digits, and the letter of a unit prefix right behind them,
    /// such as "1.54k" for 1536.
    ///
    /// Zeros at the end of the decimals are left out. A half goes towards zero: 2.5 gives "2" and
    /// 3.5 gives "3". Rounding doesn't change the prefix: 999.6 in three digits gives "1000" and
    /// not "1k". A negative number keeps its sign when it becomes zero: "-0". What is 2^63 or more
    /// behind its prefix, and takes no decimals, gives "-9223372036854775808". The text for NaN
    /// and infinities isn't fixed.
    /// Threads: any.
    /// @tparam T `long`, `unsigned long` or `double`.
    /// @param significantDigits how many digits there may be in all; those ahead of the point are
    ///     written even beyond it.
    /// @param maxDecimals how many digits there may be behind the point.
    /// @param binaryPrefixes makes the prefixes powers of 1024 instead of 1000, with the same
    ///     letters.
    /// @param largePrefixes allows "k", "M", "G", "T", "P", "E", "Z" and "Y".
    /// @param smallPrefixes allows "m", "µ", "n", "p", "f", "a", "z" and "y" for a magnitude below
    ///     1; one too small for the last of them becomes 0.
    template <typename T>
    static std::string humanizeNumberGeneric(T value, int significantDigits, int maxDecimals,
                                             bool binaryPrefixes, bool largePrefixes,
                                             bool smallPrefixes);

    /// Writes a duration in days, hours, minutes, seconds and milliseconds, from the largest unit
    /// that isn't zero to the smallest one that isn't: 3605000 gives "1h 0m 5s", 0 gives "0ms".
    ///
    /// The units of a negative duration are negative each: "-1s -500ms".
    /// Threads: any.
    /// @tparam T `long`.
    /// @param detail 1 leaves out milliseconds from a minute on, and seconds from an hour on. 2
    ///     leaves out everything below a minute, so that less than one reads "0ms" and no more.
    ///     Any other value leaves out nothing.
    /// @param showMilliseconds adds the whole duration to a text of a second or more: "1s
    ///     (1000ms)"; a negative one shows as the unsigned number of the same bits.
    template <typename T>
    static std::string humanizeDuration(const T& milliseconds, int detail, bool showMilliseconds);

    /// Rounds a number to a multiple of a granule, a half away from zero, and writes it with
    /// exactly the decimals that multiples of the granule have: `roundNumber(2.37, 4, 0, false, 2)`
    /// gives "2.25".
    ///
    /// A result of zero has no sign, unless `showPlus` is set: then a negative number that was
    /// rounded to zero keeps its "-". NaN gives "nan", infinities give "inf" and "-inf".
    /// Threads: any.
    /// @param step the granule is one `step`th: 1, 2, 4, 5, 8 and 16 are known. Another one up to
    ///     16 rounds to whole numbers, and is not supported together with extra decimals. One
    ///     above 16 rounds to whole numbers.
    /// @param extraDecimals divides the granule by this power of ten; a negative one, or one above
    ///     16, rounds to whole numbers. Not supported: 16 together with a step of 16.
    /// @param showPlus puts "+" in front of a number that isn't negative.
    /// @param maxDecimals 0 leaves out the decimals after the rounding. Any other value has no
    ///     effect: the decimals of the granule appear all or not at all.
    static std::string roundNumber(double value, unsigned char step, char extraDecimals,
                                   bool showPlus, unsigned char maxDecimals);

    /// Finds the fraction closest to `value` among those with a bounded denominator: 3.14159265
    /// with at most 100 gives 311 / 99.
    ///
    /// The sign of a negative value may stand in either of the two numbers. A value whose whole
    /// part doesn't fit 64 bits, NaN, and a bound below 1 give 1 / 0.
    /// Threads: any.
    static void computeFractionnalRepresentation(double value, long& numerator, long& denominator,
                                                 long maxDenominator);
};

}  // namespace qz
