#pragma once

#include <cstddef>
#include <locale>
#include <string>
#include <string_view>

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

    /// What `compareSoftwareVersion` finds.
    enum VersionCompare : int {
        VersionCompareInvalid = 1,  ///< A text isn't a version, or there was nothing to compare.
        VersionCompareEqual = 2,    ///< Equal in the components that were compared.
        VersionCompareLower = 3,    ///< The first version is the lower one.
        VersionCompareHigher = 4,   ///< The first version is the higher one.
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

    // --- Search

    /// Tells whether `text` begins with `prefix`, byte for byte; every text begins with "".
    static bool StartsWith(const std::string& text, const std::string& prefix);
    /// The same for views.
    static bool StartsWith(const std::string_view& text, const std::string_view& prefix);
    /// The same for literals, which would suit both others alike.
    static bool StartsWith(const char* text, const char* prefix)
    {
        return StartsWith(std::string_view(text), std::string_view(prefix));
    }

    /// Finds the first place of `what` at or after the byte `pos`, in time linear in both texts.
    ///
    /// An empty `what` is found at `pos`, as long as that isn't past the end.
    /// @return an index into `text`; `std::string::npos` when there is none.
    static std::size_t FindCaseSensitive(const std::string& text, const std::string& what,
                                         std::size_t pos);
    /// The same, where bytes are equal that the C library's `tolower` makes equal: in the calling
    /// thread's locale, and one by one, so that letters of several bytes keep their case.
    static std::size_t FindCaseInsensitive(const std::string& text, const std::string& what,
                                           std::size_t pos);
    /// Tells whether `what` occurs in `text`; an empty `what` always does. Without
    /// `caseSensitive`, bytes compare as in `FindCaseInsensitive`.
    static bool Contains(const std::string& text, const std::string& what, bool caseSensitive);

    /// Finds the first place of a pattern in two buffers that are one text, the second following
    /// the first: for callers that stream through double buffers.
    /// @param whatBegin the pattern, up to `whatEnd`; it must not be empty.
    /// @param found becomes the start of the place; null when there is none.
    /// @return 0 when there is none, 1 when it lies wholly in the first buffer, 2 when it lies
    ///     wholly in the second one, 3 when it starts in the first and ends in the second.
    static int FindFirstAstrideBuffers(const char* begin1, const char* end1, const char* begin2,
                                       const char* end2, const char* whatBegin, const char* whatEnd,
                                       const char*& found);

    // --- UTF-8

    /// Tells whether the bytes are well-formed UTF-8: no overlong form, no surrogate, nothing past
    /// U+10FFFF, no sequence cut short. An empty text is.
    static bool IsUtf8String(const std::string& text);
    /// Counts the code points.
    /// @return 0 for a text that isn't well formed, as for an empty one.
    static std::size_t CountUtf8Char(const std::string& text);
    /// Makes UTF-8 of a text that may be UTF-8 already, or else is in the local character set.
    ///
    /// A text that can't be converted, as every broken UTF-8 where the local set is UTF-8, gives an
    /// empty one. Needs the text services.
    /// @param replacement stands for each byte beyond ASCII where the conversion's own result isn't
    ///     UTF-8 either.
    static std::string UnknownEncodingToUtf8(const std::string& text, char replacement);

    // --- Clean texts

    /// Tells whether there is a control byte below 0x20 other than tab, line feed and carriage
    /// return. 0x7F and all bytes beyond ASCII count as printable.
    static bool ContainsAsciiNonPrintableChar(const char* data, std::size_t length);
    /// The same for a text.
    static bool ContainsAsciiNonPrintableChar(const std::string& text);
    /// Appends the bytes that `ContainsAsciiNonPrintableChar` calls printable to `out`, which must
    /// not hold `data` itself.
    static void RemoveAsciiNonPrintableChar(const char* data, std::size_t length, std::string& out);
    /// Writes the entities of XML for quotes, apostrophes, ampersands, less-than and greater-than
    /// signs in place. What is an entity already is escaped once more: `&amp;` to `&amp;amp;`.
    static void EscapeXmlString(std::string& text);

    /// Replaces all places of `from`, left to right; what `to` brings in is not looked at again.
    /// Takes time linear in the text and the result.
    /// @param from must not be empty: std::length_error is thrown, as no text would be long enough.
    /// @return how many there were.
    static unsigned int ReplaceAllOccurrences(std::string& text, const std::string& from,
                                              const std::string& to);

    // --- Words and plain numbers

    /// Reads "t", "true", "1", "on" as true and "f", "false", "0", "off" as false, in any case and
    /// with blanks around them.
    /// @param value becomes false where no such word stands.
    /// @return whether `text` is such a word.
    static bool parseBool(const std::string_view& text, bool& value);
    /// The same for `length` bytes; `data` may be null when there are none.
    static bool parseBool(const char* data, std::size_t length, bool& value);

    /// Writes a number in decimal digits, filled with "0" in front up to `width` bytes. The sign of
    /// a negative one comes after the filling: -5 in 4 bytes is "00-5".
    static std::string fromInt(int value, int width);
    /// The same for a number without a sign.
    static std::string fromUInt64(unsigned long value, int width);

    // --- Order and versions

    /// Tells whether `a` comes before `b`, by bytes: "a10" comes before "a2". The name and the flag
    /// are those of a platform with an order of its own; callers rely on the plain one here.
    /// @param caseSensitive changes nothing.
    /// @return 1 if it does, otherwise 0; never a negative number.
    static int CompareUTF8Natural(const std::string& a, const std::string& b, bool caseSensitive);
    /// The same by wide characters. A null text with a length throws std::logic_error.
    /// @param lengthA in characters, as `lengthB`.
    static int CompareUTF16Natural(const wchar_t* a, unsigned long lengthA, const wchar_t* b,
                                   unsigned long lengthB, bool caseSensitive);
    /// Is false for every pair, as it waits for a -1 that `CompareUTF8Natural` never returns. A
    /// sort with it takes all texts for equal and orders nothing; callers are used to that.
    static bool UTF8NaturalSortFunction(const std::string& a, const std::string& b);
    /// Is false for every pair, as `UTF8NaturalSortFunction`.
    static bool UTF8NaturalSortFunctionCaseInsensitive(const std::string& a, const std::string& b);

    /// Compares versions such as "1.2.3", component by component, as numbers of 32 bits.
    ///
    /// Blanks around a version and all from the first space in it on don't count: "1.2 beta" is
    /// "1.2". Components are decimal, "0x10" is hexadecimal and "010" octal; an empty one is 0.
    /// As many components are compared as `b` has: "1.2.3" equals "1.2", while "1.2" is lower than
    /// "1.2.3".
    /// @param maxComponents how many are looked at, at most.
    /// @return one of `VersionCompare`.
    static int compareSoftwareVersion(const std::string& a, const std::string& b,
                                      unsigned long maxComponents);

    // --- Character sets

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
