// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

/// An array of bytes with the size of one pointer, for large collections of arrays that are mostly
/// empty or short. An array without bytes allocates nothing.
///
/// An array without bytes is null or empty, which compare as different. The bytes are followed by a
/// zero byte, so that they can be read as a text. A failed allocation throws `std::bad_alloc` and
/// leaves the array unchanged.
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
    // A conversion is intended: texts are passed to functions that take such arrays.
    qzByteArrayLowFootprint(const std::string& text);  // NOLINT(google-explicit-constructor)
    /// Copies the bytes. The copy of a null array is null.
    qzByteArrayLowFootprint(const qzByteArrayLowFootprint& other);
    /// Takes over the bytes; `other` is then empty.
    qzByteArrayLowFootprint(qzByteArrayLowFootprint&& other) noexcept;
    /// Copies the bytes. The copy of a null array is null.
    qzByteArrayLowFootprint& operator=(const qzByteArrayLowFootprint& other);
    /// Takes over the bytes; `other` is then empty, unless it is the same object.
    qzByteArrayLowFootprint& operator=(qzByteArrayLowFootprint&& other) noexcept;
    /// Frees the bytes.
    ~qzByteArrayLowFootprint();

    /// Replaces the bytes by a copy of `data`, which may be in this array. Makes the array empty if
    /// `data` is null or `size` is 0.
    /// @param size must be below 4 GiB; only the lower 32 bits are used.
    void setData(const char* data, unsigned long size);
    /// Makes the array empty, even if it is null.
    void clear();
    /// Makes the array null.
    void setToNull();
    /// Replaces the bytes by `size` times `fill`. A null array stays null if `size` is 0.
    /// @param size must be below 4 GiB, as for `setData`.
    void resizeAndClear(unsigned long size, char fill);
    /// Exchanges the bytes without copying them.
    void swap(qzByteArrayLowFootprint& other) noexcept;

    /// The number of bytes; 0 for null.
    unsigned long size() const;
    /// Whether there are no bytes, as in a null array.
    bool empty() const;
    /// The same as `empty`.
    bool isEmpty() const;
    /// Whether the array is null.
    bool isNull() const;

    /// The bytes for changes in place; a null pointer if there are none. Valid until the array
    /// changes.
    char* editRawData();
    /// The bytes, followed by a zero byte; never a null pointer. Valid until the array changes.
    const char* rawData() const;
    /// The same as `rawData`.
    const char* constRawData() const;
    /// The bytes as a view. Valid until the array changes.
    std::string_view toStringView() const;
    /// Replaces the content of `out` by the bytes.
    void toByteVector(std::vector<char>& out) const;

    /// The order: null, empty, then by the number of bytes, and for equal numbers by the bytes. So
    /// "b" is less than "aa".
    bool operator<(const qzByteArrayLowFootprint& other) const;
    /// The order of `operator<`, or equal.
    bool operator<=(const qzByteArrayLowFootprint& other) const;
    /// The reverse of `operator<`.
    bool operator>(const qzByteArrayLowFootprint& other) const;
    /// The reverse of `operator<`, or equal.
    bool operator>=(const qzByteArrayLowFootprint& other) const;
    /// Whether both are null, both are empty, or both have the same bytes.
    bool operator==(const qzByteArrayLowFootprint& other) const;
    /// The opposite of `operator==`.
    bool operator!=(const qzByteArrayLowFootprint& other) const;

private:
    static constexpr std::uintptr_t kEmpty = 0;
    static constexpr std::uintptr_t kNull = UINTPTR_MAX;

    explicit constexpr qzByteArrayLowFootprint(std::uintptr_t word) noexcept : mWord(word) {}

    std::uintptr_t mWord = kEmpty;  // kEmpty, kNull, or the address of a block
};

}  // namespace qz
