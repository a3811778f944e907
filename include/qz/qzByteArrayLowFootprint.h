#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

/// Bytes of its own in the space of one pointer, for large collections whose members are mostly
/// empty or short. Nothing is allocated for one without bytes.
///
/// One without bytes is null or empty, which compare as different. The bytes are followed by a zero
/// byte, so that they may be read as a text. Failed allocations throw std::bad_alloc and leave the
/// array as it was.
///
/// Threads: one at a time for each object.
class QZ_API qzByteArrayLowFootprint {
public:
    /// A null array.
    static const qzByteArrayLowFootprint sNull;
    /// An empty array.
    static const qzByteArrayLowFootprint sEmpty;

    /// Makes an empty array.
    constexpr qzByteArrayLowFootprint() noexcept = default;
    /// Makes an array of a text's bytes; an empty text makes an empty one.
    // Conversion is the wish: texts are handed to functions that take such arrays.
    qzByteArrayLowFootprint(const std::string& text);  // NOLINT(google-explicit-constructor)
    /// Makes a copy with bytes of its own; of a null array a null one.
    qzByteArrayLowFootprint(const qzByteArrayLowFootprint& other);
    /// Takes the bytes over; `other` is empty then.
    qzByteArrayLowFootprint(qzByteArrayLowFootprint&& other) noexcept;
    /// Makes it a copy with bytes of its own; of a null array a null one.
    qzByteArrayLowFootprint& operator=(const qzByteArrayLowFootprint& other);
    /// Takes the bytes over; `other` is empty then, unless it is the same object.
    qzByteArrayLowFootprint& operator=(qzByteArrayLowFootprint&& other) noexcept;
    /// Frees the bytes.
    ~qzByteArrayLowFootprint();

    /// Replaces the bytes by a copy of `size` others, which may be some of its own. Makes the array
    /// empty when `data` is null or `size` is 0.
    /// @param size below 4 GiB: of a larger size only the lower 32 bits are kept.
    void setData(const char* data, unsigned long size);
    /// Makes the array empty, also a null one.
    void clear();
    /// Makes the array null.
    void setToNull();
    /// Makes all bytes `fill`, `size` of them. A null array that is given no bytes stays null.
    /// @param size below 4 GiB, as with `setData`.
    void resizeAndClear(unsigned long size, char fill);
    /// Exchanges the bytes, without a copy.
    void swap(qzByteArrayLowFootprint& other) noexcept;

    /// The number of bytes; 0 for null.
    unsigned long size() const;
    /// Tells whether there are no bytes; null is without.
    bool empty() const;
    /// Tells the same as `empty`.
    bool isEmpty() const;
    /// Tells whether the array is null.
    bool isNull() const;

    /// The bytes, to be changed in place; a null pointer for an array without bytes. Valid until
    /// the array changes.
    char* editRawData();
    /// The bytes and a zero byte behind them; never a null pointer. Valid until the array changes.
    const char* rawData() const;
    /// The same as `rawData`.
    const char* constRawData() const;
    /// The bytes as a view. Valid until the array changes.
    std::string_view toStringView() const;
    /// Replaces the content of `out` by the bytes.
    void toByteVector(std::vector<char>& out) const;

    /// Null comes first, then empty, then the others by their number of bytes, and only among equal
    /// numbers by the bytes: "b" is less than "aa".
    bool operator<(const qzByteArrayLowFootprint& other) const;
    /// The order of `operator<`, or equal.
    bool operator<=(const qzByteArrayLowFootprint& other) const;
    /// The reverse of `operator<`.
    bool operator>(const qzByteArrayLowFootprint& other) const;
    /// The reverse of `operator<`, or equal.
    bool operator>=(const qzByteArrayLowFootprint& other) const;
    /// Tells whether both are null, both empty, or both of the same bytes.
    bool operator==(const qzByteArrayLowFootprint& other) const;
    /// The contrary of `operator==`.
    bool operator!=(const qzByteArrayLowFootprint& other) const;

private:
    static constexpr std::uintptr_t kEmpty = 0;
    static constexpr std::uintptr_t kNull = UINTPTR_MAX;

    explicit constexpr qzByteArrayLowFootprint(std::uintptr_t word) noexcept : mWord(word) {}

    std::uintptr_t mWord = kEmpty;  // kEmpty, kNull, or the address of a block
};

}  // namespace qz
