#pragma once

#include <iconv.h>

#include <string>
#include <utility>

#include <qz/qzStringUtils.h>

namespace qz::text {

/// A descriptor of the system's converter, or none.
class Converter {
public:
    Converter() = default;
    /// Opens the way from one character set to another; a failure is not tried again.
    Converter(const std::string& to, const std::string& from);
    ~Converter();
    Converter(Converter&& other) noexcept : mDescriptor(std::exchange(other.mDescriptor, kClosed))
    {
    }
    Converter& operator=(Converter&& other) noexcept
    {
        std::swap(mDescriptor, other.mDescriptor);
        return *this;
    }

    /// Converts in one call. @return whether all of the input went through; `written` is in bytes.
    bool convert(const char* input, std::size_t inputSize, char* output, std::size_t outputSize,
                 std::size_t& written) const;
    bool isOpen() const { return mDescriptor != kClosed; }

private:
    static inline const iconv_t kClosed = reinterpret_cast<iconv_t>(-1);

    iconv_t mDescriptor = kClosed;
};

/// A converter between two 8-bit sets, with what is known of texts that it would give back as they
/// are: these need no call of it.
struct ByteConverter {
    Converter converter;
    bool keepsAscii = false;
    bool keepsUtf8 = false;
    bool isLatin1 = false;  // from UTF-8 to ISO-8859-1

    bool keeps(const std::string& text) const;
    /// Converts a text all of whose characters are in Latin-1, in `result`. @return false for any
    /// other, which is the converter's business.
    bool tryLatin1(const std::string& text, std::string& result) const;
};

/// The converters of one thread. A descriptor holds state, so threads can't share them.
class ThreadContent {
public:
    static constexpr int kSetCount = 3;

    /// Opens all twelve converters, so that no conversion has to.
    ThreadContent();

    /// Each gives null where there is no open converter, as for two equal sets.
    const ByteConverter* getBetween(int from, int to) const
    {
        if (!isSet(from) || !isSet(to)) return nullptr;
        const ByteConverter& between = mBetween[from][to];
        return between.converter.isOpen() ? &between : nullptr;
    }
    const Converter* getFromWide(int to) const;

    /// The neighbours in the list of all contents, which whoever made this one keeps.
    ThreadContent* previous = nullptr;
    ThreadContent* next = nullptr;

private:
    static bool isSet(int set) { return static_cast<unsigned>(set) < kSetCount; }

    Converter mToWide[kSetCount];  // opened with the rest; no conversion gets as far as to use it
    Converter mFromWide[kSetCount];
    ByteConverter mBetween[kSetCount][kSetCount];  // [from][to], none on the diagonal
};

}  // namespace qz::text
