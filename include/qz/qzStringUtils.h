// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <locale>
#include <string>
#include <string_view>

#include <qz/qzExport.h>

struct __locale_struct;

namespace qz {

/// Functions for texts and numbers. Strings are bytes, UTF-8 by convention.
///
/// @code
/// std::string path = "C:\\temp\\log";
/// qzStringUtils::ReplaceAllOccurrences(path, "\\", "/");                      // "C:/temp/log"
/// qzStringUtils::humanizeNumberGeneric(1536L, 3, 2, true, true, false);      // "1.5k"
/// // 4, VersionCompareHigher:
/// qzStringUtils::compareSoftwareVersion("1.10", "1.9", 2);
/// @endcode
class QZ_API qzStringUtils {
public:
    /// The character sets that texts are converted between.
    enum qzCharSet : int {
        /// That of the thread's own locale if it has one (`uselocale`), otherwise of the
        /// environment, or of the process's locale if the environment names an unknown one. Each
        /// thread reads it when it first converts a text, the starting thread at the start.
        CharSetLocal = 0,
        CharSetUtf8 = 1,   ///< UTF-8.
        CharSetAscii = 2,  ///< US-ASCII.
    };

    /// The results of `compareSoftwareVersion`.
    enum VersionCompare : int {
        VersionCompareInvalid = 1,  ///< A text isn't a version, or there was nothing to compare.
        VersionCompareEqual = 2,    ///< Equal in the components that were compared.
        VersionCompareLower = 3,    ///< The first version is the lower one.
        VersionCompareHigher = 4,   ///< The first version is the higher one.
    };

    qzStringUtils() = delete;

    /// The address of the system's handle of the C locale, for parsing numbers. Null while the text
    /// services are stopped.
    static __locale_struct** msCLocale;
    /// The C locale of the standard streams, for formatting numbers. Null while the text services
    /// are stopped.
    static std::locale* msCplusLocale;
    /// The address of the key of each thread's converters. Null while the text services are
    /// stopped. For the library's own use.
    static unsigned int* msThreadContent;

    /// Starts the text services and prepares the calling thread. The library's start calls it.
    /// @return false if they are started already, and if they can't be started because there is no
    ///     memory for the locale or the system has no thread key left.
    static bool InitializeStringUtils();
    /// Stops the text services and frees the converters of all threads, also of those that still
    /// run. The library's stop calls it.
    ///
    /// Any thread may call it. No other thread may convert a text meanwhile; a thread may end.
    /// @return false if they are stopped already.
    static bool TerminateStringUtils();
    /// Opens the converters of the calling thread, which its first conversion would do otherwise.
    ///
    /// Reads the character set of the environment; the process's locale stays as it is. Does
    /// nothing while the text services are stopped.
    static void InitializeForThread();

    // --- Search

    /// Whether `text` begins with the bytes of `prefix`. Every text begins with "".
    static bool StartsWith(const std::string& text, const std::string& prefix);
    /// The same for views.
    static bool StartsWith(const std::string_view& text, const std::string_view& prefix);
    /// The same for literals, for which the other two would be ambiguous.
    static bool StartsWith(const char* text, const char* prefix)
    {
        return StartsWith(std::string_view(text), std::string_view(prefix));
    }

    /// Finds the first place of `what` at or after the byte `pos`, in time linear in both texts.
    ///
    /// An empty `what` is found at `pos`, unless that is past the end.
    /// @return an index into `text`; `std::string::npos` if there is none.
    static std::size_t FindCaseSensitive(const std::string& text, const std::string& what,
                                         std::size_t pos);
    /// The same without case: two bytes are equal if the C library's `tolower` makes them equal in
    /// the calling thread's locale. Letters of several bytes are therefore compared with their
    /// case.
    static std::size_t FindCaseInsensitive(const std::string& text, const std::string& what,
                                           std::size_t pos);
    /// Whether `what` occurs in `text`; an empty `what` always does. Without `caseSensitive`, bytes
    /// are compared as in `FindCaseInsensitive`.
    static bool Contains(const std::string& text, const std::string& what, bool caseSensitive);

    /// Finds the first place of a pattern in a text that consists of two buffers, for callers that
    /// stream through double buffers.
    /// @param whatBegin the pattern, up to `whatEnd`; an empty one is not found.
    /// @param found receives the start of the place; null if there is none.
    /// @return 0 if there is none, 1 if it is in the first buffer, 2 if it is in the second, 3 if
    ///     it starts in the first and ends in the second.
    /// @throws std::bad_alloc for a pattern of more than 513 bytes, which needs memory of up to
    ///     twice its size.
    static int FindFirstAstrideBuffers(const char* begin1, const char* end1, const char* begin2,
                                       const char* end2, const char* whatBegin, const char* whatEnd,
                                       const char*& found);

    // --- UTF-8

    /// Whether the bytes are well-formed UTF-8: no overlong form, no surrogate, nothing beyond
    /// U+10FFFF, no incomplete sequence. An empty text is well formed.
    static bool IsUtf8String(const std::string& text);
    /// Counts the code points.
    /// @return 0 for an empty text and for one that isn't well formed.
    static std::size_t CountUtf8Char(const std::string& text);
    /// Makes UTF-8 of a text that is UTF-8 already, or else in the local character set.
    ///
    /// A text that can't be converted gives an empty one; if the local set is UTF-8, that is any
    /// malformed text. The text services must be started.
    /// @param replacement replaces each byte beyond ASCII if the result of the conversion isn't
    ///     UTF-8 either.
    static std::string UnknownEncodingToUtf8(const std::string& text, char replacement);

    // --- Clean texts

    /// Whether there is a control byte below 0x20 other than tab, line feed and carriage return.
    /// 0x7F and all bytes beyond ASCII count as printable.
    static bool ContainsAsciiNonPrintableChar(const char* data, std::size_t length);
    /// The same for a text.
    static bool ContainsAsciiNonPrintableChar(const std::string& text);
    /// Appends the bytes that are printable for `ContainsAsciiNonPrintableChar` to `out`, which
    /// must not contain `data` itself.
    static void RemoveAsciiNonPrintableChar(const char* data, std::size_t length, std::string& out);
    /// Replaces quotes, apostrophes, ampersands, less-than and greater-than signs by the entities
    /// of XML. Existing entities are escaped once more: `&amp;` to `&amp;amp;`.
    static void EscapeXmlString(std::string& text);

    /// Replaces all occurrences of `from`, from left to right; the inserted texts are not searched.
    /// Takes time linear in the text and the result. If `to` is longer than `from`, memory for the
    /// result is allocated, otherwise none.
    /// @param from must not be empty; an empty one throws `std::length_error`.
    /// @return the number of occurrences.
    static unsigned int ReplaceAllOccurrences(std::string& text, const std::string& from,
                                              const std::string& to);

    // --- Words and plain numbers

    /// Reads "t", "true", "1", "on" as true and "f", "false", "0", "off" as false, in any case and
    /// with white space around them.
    /// @param value receives the result; false if `text` is no such word.
    /// @return whether `text` is such a word.
    static bool parseBool(const std::string_view& text, bool& value);
    /// The same for `length` bytes; `data` may be null if `length` is 0.
    static bool parseBool(const char* data, std::size_t length, bool& value);

    /// Writes a number in decimal digits, with leading zeros up to `width` bytes. The sign of a
    /// negative number comes after the zeros: -5 in 4 bytes is "00-5".
    static std::string fromInt(int value, int width);
    /// The same for a number without a sign.
    static std::string fromUInt64(unsigned long value, int width);

    // --- Order and versions

    /// Whether `a` comes before `b`, byte by byte: "a10" comes before "a2". Compatibility: the name
    /// and the flag come from a platform with a natural order.
    /// @param caseSensitive has no effect.
    /// @return 1 if it does, otherwise 0; never a negative number.
    static int CompareUTF8Natural(const std::string& a, const std::string& b, bool caseSensitive);
    /// The same for wide characters. A null text with a length throws `std::logic_error`.
    /// @param lengthA in characters, as is `lengthB`.
    static int CompareUTF16Natural(const wchar_t* a, unsigned long lengthA, const wchar_t* b,
                                   unsigned long lengthB, bool caseSensitive);
    /// Always false: a sort that uses it takes all texts for equal. `std::stable_sort` then keeps
    /// their order, `std::sort` leaves them in any order. Compatibility: it compares the result of
    /// `CompareUTF8Natural`, which is 0 or 1, with -1.
    static bool UTF8NaturalSortFunction(const std::string& a, const std::string& b);
    /// Always false, as `UTF8NaturalSortFunction`.
    static bool UTF8NaturalSortFunctionCaseInsensitive(const std::string& a, const std::string& b);

    /// Compares versions such as "1.2.3", component by component, as numbers of 32 bits.
    ///
    /// White space around a version is ignored, and so is everything from the first space in it on:
    /// "1.2 beta" is "1.2". Components are decimal, "0x10" is hexadecimal and "010" octal; an empty
    /// one is 0. The comparison ends with the last component of `b`: "1.2.3" equals "1.2", but
    /// "1.2" is lower than "1.2.3".
    /// @param maxComponents the largest number of components that are read.
    /// @return one of `VersionCompare`.
    static int compareSoftwareVersion(const std::string& a, const std::string& b,
                                      unsigned long maxComponents);

    // --- Character sets

    /// Converts a text between two character sets. It may contain NUL bytes.
    ///
    /// A character that the target set lacks is transliterated as the system does it for the
    /// LC_CTYPE category of the process's locale: "é" to "?" in one, to "e" in another. There is no
    /// partial result, and the reason of a failure is not reported.
    /// Threads: any; each has its own converters. A conversion in a forked child never waits for a
    /// thread of the parent.
    /// @return the converted text. It is empty if `from` equals `to`, if `text` is not well formed
    ///     in `from`, if a character had to be dropped, if the result has more than 2 * size + 2
    ///     bytes, and while the text services are stopped.
    static std::string convertCharset(const std::string& text, qzCharSet from, qzCharSet to);

    /// Converts the first quarter of a wide text: (`length` + 1) / 4 of `length` characters.
    ///
    /// Compatibility: the converter reads `length` + 1 bytes instead of characters. If `length` + 1
    /// isn't a multiple of 4, the result is empty; otherwise its last byte is missing: "abcdefg"
    /// gives "a".
    static std::string convertTo8Bits(const std::wstring& text, qzCharSet to);

    /// Returns an empty wide text for every `text`. Compatibility: its buffer was always too small.
    static std::wstring convertToUnicode(const std::string& text, qzCharSet from);

    /// Writes a number for people: few digits, followed by the letter of a unit prefix, such as
    /// "1.54k" for 1536.
    ///
    /// Trailing zeros of the decimals are omitted. A half is rounded towards zero: 2.5 gives "2"
    /// and 3.5 gives "3". Rounding doesn't change the prefix: 999.6 with three digits gives "1000",
    /// not "1k". A negative number that is rounded to zero, or is too small for "y", keeps its
    /// sign: "-0". Numbers beyond 64 bits have all their digits. The text for NaN and infinities is
    /// unspecified. Threads: any.
    /// @tparam T `long`, `unsigned long` or `double`. Integers are converted to `double` first,
    ///     which is inexact from 2^53 on.
    /// @param significantDigits the largest number of digits. All digits before the point are
    ///     written, even if there are more.
    /// @param maxDecimals the largest number of digits after the point.
    /// @param binaryPrefixes uses powers of 1024 instead of 1000, with the same letters.
    /// @param largePrefixes allows "k", "M", "G", "T", "P", "E", "Z" and "Y".
    /// @param smallPrefixes allows "m", "µ", "n", "p", "f", "a", "z" and "y" for a magnitude below
    ///     1; a magnitude too small for "y" becomes 0.
    template <typename T>
    static std::string humanizeNumberGeneric(T value, int significantDigits, int maxDecimals,
                                             bool binaryPrefixes, bool largePrefixes,
                                             bool smallPrefixes);

    /// Writes a duration in days, hours, minutes, seconds and milliseconds, from the largest unit
    /// that isn't zero to the smallest one that isn't: 3605000 gives "1h 0m 5s", 0 gives "0ms".
    ///
    /// Each unit of a negative duration is negative: "-1s -500ms".
    /// Threads: any.
    /// @tparam T `long`.
    /// @param detail 1 omits milliseconds from a minute on, and seconds from an hour on. 2 omits
    ///     everything below a minute, so that less than a minute gives just "0ms". Any other value
    ///     omits nothing.
    /// @param showMilliseconds adds the whole duration in milliseconds to a duration of a second or
    ///     more: "1s (1000ms)". A negative one is written as the unsigned number with the same
    ///     bits.
    template <typename T>
    static std::string humanizeDuration(const T& milliseconds, int detail, bool showMilliseconds);

    /// Rounds a number to a multiple of a granule, a half away from zero, and writes it with
    /// exactly the decimals that multiples of the granule have: `roundNumber(2.37, 4, 0, false, 2)`
    /// gives "2.25".
    ///
    /// With a granule below 1, a result of zero has no sign; with `showPlus` it has the sign of
    /// `value`, as in "-0.0". If `maxDecimals` is 0, it is the number before the decimals are
    /// omitted that has the sign: -0.5 in halves gives "-0".
    /// With a granule of 1, a result of zero is "0", or "+0" with `showPlus`. Such numbers are
    /// written in the global C++ locale, with its grouping; all others in the C locale.
    /// Numbers beyond 64 bits have all their digits. NaN gives "nan", infinities give "inf" and
    /// "-inf". Threads: any.
    /// @param step the granule is 1 / `step` for 1, 2, 4, 5, 8 and 16. Any other value rounds to
    ///     whole numbers; if it is below 16, `extraDecimals` must then be 0.
    /// @param extraDecimals divides the granule by this power of ten. A negative value and one
    ///     above 16 round to whole numbers. It must be below 16 if `step` is 16.
    /// @param showPlus writes "+" before a number that isn't negative.
    /// @param maxDecimals 0 omits the decimals after the rounding. Any other value has no effect:
    ///     all decimals of the granule are written.
    static std::string roundNumber(double value, unsigned char step, char extraDecimals,
                                   bool showPlus, unsigned char maxDecimals);

    /// Finds the fraction closest to `value` among those with a bounded denominator: 3.14159265
    /// with at most 100 gives 311 / 99.
    ///
    /// Either of the two numbers may have the sign of a negative value. A value whose whole part
    /// doesn't fit into 64 bits, NaN, and a bound below 1 give 1 / 0.
    /// Threads: any.
    static void computeFractionnalRepresentation(double value, long& numerator, long& denominator,
                                                 long maxDenominator);
};

}  // namespace qz
