// SPDX-License-Identifier: MIT
#pragma once

#include <iconv.h>

#include <string>
#include <utility>

#include <qz/qzStringUtils.h>

namespace qz::text {

/// Owns a descriptor of the system's converter, or none.
class Converter {
public:
    Converter() = default;
    /// Opens the conversion from one character set to another. A failure leaves it closed.
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

    /// Converts in one call.
    /// @param written receives the size of the output in bytes.
    /// @return whether all of the input was converted.
    bool convert(const char* input, std::size_t inputSize, char* output, std::size_t outputSize,
                 std::size_t& written) const;
    bool isOpen() const { return mDescriptor != kClosed; }

private:
    static inline const iconv_t kClosed = reinterpret_cast<iconv_t>(-1);

    iconv_t mDescriptor = kClosed;
};

/// A converter between two 8-bit sets. It knows which texts the conversion would not change; these
/// are not converted.
struct ByteConverter {
    Converter converter;
    bool keepsAscii = false;
    bool keepsUtf8 = false;
    bool isLatin1 = false;  // from UTF-8 to ISO-8859-1

    /// Whether the conversion would return `text` as it is.
    bool keeps(const std::string& text) const;
    /// Converts a text if all its characters are in Latin-1.
    /// @return false if the converter is needed; `result` is then unspecified.
    bool tryLatin1(const std::string& text, std::string& result) const;
};

/// The converters of one thread. A descriptor has a state, so threads can't share it.
class ThreadContent {
public:
    static constexpr int kSetCount = 3;

    /// Opens all twelve converters, so that no conversion has to open one.
    /// @param ownerVariable the variable in which the owner keeps the address of this object.
    explicit ThreadContent(ThreadContent*& ownerVariable);

    /// The next two return null if there is no open converter, as for two equal sets.
    const ByteConverter* getBetween(int from, int to) const
    {
        if (!isSet(from) || !isSet(to)) return nullptr;
        const ByteConverter& between = mBetween[from][to];
        return between.converter.isOpen() ? &between : nullptr;
    }
    const Converter* getFromWide(int to) const;

    // For the list of all objects, see TextServices.cpp.
    ThreadContent** const owner;
    ThreadContent* previous = nullptr;
    ThreadContent* next = nullptr;

private:
    static bool isSet(int set) { return static_cast<unsigned>(set) < kSetCount; }

    Converter mToWide[kSetCount];  // opened with the others, but unused: convertToUnicode
    Converter mFromWide[kSetCount];
    ByteConverter mBetween[kSetCount][kSetCount];  // [from][to], none on the diagonal
};

}  // namespace qz::text
